// Listening sockets: one per worker on the same address, so that the kernel spreads clients.
#pragma once

#include <cstdint>
#include <string>

#include "daemon/config.h"
#include "daemon/file_descriptor.h"

namespace vsd {

enum class Transport : std::uint8_t { tcp, udp };

[[nodiscard]] const char* to_string(Transport transport) noexcept;

struct Listener {
  FileDescriptor socket;
  std::uint16_t port = 0;  // the bound port, also when the system chose it
};

// Opens a non-blocking listener on `address`, for UDP a bound socket. Throws std::runtime_error
// with a message for the operator (address in use, no permission, unknown host).
[[nodiscard]] Listener open_listener(const ListenAddress& address,
                                     Transport transport = Transport::tcp);

// One more listener on an address that open_listener has taken.
[[nodiscard]] Listener join_listener(const ListenAddress& address,
                                     Transport transport = Transport::tcp);

// "127.0.0.1:8080", "[::1]:8080", or "*:8080" for every address.
[[nodiscard]] std::string to_string(const ListenAddress& address);

}  // namespace vsd
