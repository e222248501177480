// Listening sockets: one per worker on the same address, so that the kernel spreads connections.
#pragma once

#include <cstdint>
#include <string>

#include "daemon/config.h"
#include "daemon/file_descriptor.h"

namespace vsd {

struct Listener {
  FileDescriptor socket;
  std::uint16_t port = 0;  // the bound port, also when the system chose it
};

// Opens a non-blocking listener on `address`. Throws std::runtime_error with a message for the
// operator (address in use, no permission, unknown host).
[[nodiscard]] Listener open_listener(const ListenAddress& address);

// One more listener on an address that open_listener has taken.
[[nodiscard]] Listener join_listener(const ListenAddress& address);

// "127.0.0.1:8080", "[::1]:8080", or "*:8080" for every address.
[[nodiscard]] std::string to_string(const ListenAddress& address);

}  // namespace vsd
