// Where a service of another protocol than HTTP gets its messages from.
#pragma once

#include <wz/vsd_host.h>

#include <string>
#include <string_view>

#include "daemon/config.h"
#include "daemon/http/message.h"
#include "daemon/process/listener.h"
#include "daemon/raw/framing.h"

namespace vsd::raw {

// As it is declared. Several services may share an endpoint; the matcher chooses among them.
struct Declaration {
  Transport transport = Transport::tcp;
  ListenAddress listen;
  Framing framing;  // of TCP; every datagram is a message

  // What services that share the endpoint have in common: "tcp 127.0.0.1:8090". With port 0 each
  // service has an endpoint of its own.
  [[nodiscard]] std::string key(std::string_view service) const {
    const std::string key = std::string(to_string(transport)) + " " + to_string(listen);
    return listen.port != 0 ? key : key + " " + std::string(service);
  }
};

// The name that messages are matched by, in the place of a path. No HTTP request has it, because
// there is a blank in it, and no method of HTTP is written in small letters.
[[nodiscard]] inline std::string path_of_key(const std::string& key) {
  return "/" + key;
}

// As a worker serves it.
struct Endpoint {
  Transport transport = Transport::tcp;
  Framing framing;
  std::string path;    // see path_of_key
  std::string target;  // "tcp://127.0.0.1:8090": what scripts, journal and logs see as the URL

  // A message of this endpoint.
  [[nodiscard]] http::Request request(std::string_view message) const noexcept {
    http::Request request;
    request.method = to_string(transport);
    request.target = target;
    request.path = path;
    request.body = message;
    request.protocol = transport == Transport::udp ? VSD_PROTO_UDP : VSD_PROTO_TCP;
    return request;
  }
};

}  // namespace vsd::raw
