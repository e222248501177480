#include "daemon/service_ports.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vsd {
namespace {

ServicePort open_port(Ports& ports, const ServiceDefinition& service, bool free_ports) {
  const raw::Declaration& declared = *service.raw;
  ServicePort opened;
  ListenAddress wanted = declared.listen;
  wanted.port = free_ports ? 0 : wanted.port;
  opened.port = ports.open(declared.key(service.name), wanted, declared.transport);
  opened.service = service.name;
  opened.endpoint = {
      declared.transport, declared.framing, service.url,
      std::string(to_string(declared.transport)) + "://" + to_string(opened.port->address)};
  return opened;
}

}  // namespace

std::vector<ServicePort> open_service_ports(Ports& ports, PreparedServices& prepared,
                                            bool free_ports) {
  std::vector<ServicePort> opened;
  for (std::size_t i = 0; i < prepared.services.size();) {
    const ServiceDefinition& service = prepared.services[i];
    const bool needs_none =
        !service.raw || std::any_of(opened.begin(), opened.end(), [&](const ServicePort& port) {
          return port.endpoint.path == service.url;
        });
    try {
      if (!needs_none) {
        opened.push_back(open_port(ports, service, free_ports));
      }
      ++i;
    } catch (const std::runtime_error& error) {
      prepared.errors.push_back({service.file, service.line, error.what()});
      const auto place = static_cast<std::ptrdiff_t>(i);
      prepared.services.erase(prepared.services.begin() + place);
      prepared.objects.erase(prepared.objects.begin() + place);
    }
  }
  return opened;
}

std::string list_of(const std::vector<ServicePort>& ports) {
  std::string list;
  for (const ServicePort& port : ports) {
    list += ", " + port.service + " on " + to_string(port.endpoint.transport) + " " +
            to_string(port.port->address);
  }
  return list;
}

}  // namespace vsd
