// The ports of services of other protocols than HTTP.
#pragma once

#include <string>
#include <vector>

#include "daemon/ports.h"
#include "daemon/raw/endpoint.h"
#include "daemon/service/check.h"

namespace vsd {

struct ServicePort {
  PortPtr port;
  raw::Endpoint endpoint;
  std::string service;  // the first one that is there
};

// The ports that `prepared` needs, opened as far as they are not: those that are declared, or free
// ones instead. A service whose port cannot be had is taken out of `prepared`, with an error.
[[nodiscard]] std::vector<ServicePort> open_service_ports(Ports& ports, PreparedServices& prepared,
                                                          bool free_ports);

// ", quotes on tcp 127.0.0.1:8090, ..."
[[nodiscard]] std::string list_of(const std::vector<ServicePort>& ports);

}  // namespace vsd
