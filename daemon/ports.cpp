#include "daemon/ports.h"

#include <algorithm>
#include <utility>

namespace vsd {

PortPtr Ports::open(std::string_view key, const ListenAddress& address, Transport transport) {
  std::erase_if(ports_, [](const std::weak_ptr<Port>& port) { return port.expired(); });
  for (const std::weak_ptr<Port>& known : ports_) {
    if (PortPtr port = known.lock(); port->key == key) {
      return port;
    }
  }
  auto port = std::make_shared<Port>();
  port->key = key;
  port->address = address;
  for (int i = 0; i < workers_; ++i) {
    WorkerPort& worker = port->workers.emplace_back();
    worker.listener =
        i == 0 ? open_listener(port->address, transport) : join_listener(port->address, transport);
    port->address.port = worker.listener.port;  // the others join the one that the first one got
  }
  ports_.push_back(port);
  return port;
}

void Ports::close_all() noexcept {
  for (const std::weak_ptr<Port>& known : ports_) {
    if (const PortPtr port = known.lock()) {
      port->workers.clear();
    }
  }
}

std::string list_of(const std::vector<ListenAddress>& addresses) {
  std::string list;
  for (const ListenAddress& address : addresses) {
    list.append(list.empty() ? "" : ", ").append(to_string(address));
  }
  return list;
}

}  // namespace vsd
