// What a service manager such as systemd wants of the daemon and gives to it.
#pragma once

#include <cstddef>
#include <string_view>

namespace vsd {

// Sends "READY=1" and the like to the socket that NOTIFY_SOCKET names; does nothing without one.
void notify_service_manager(std::string_view state) noexcept;

// Raises the limit of open descriptors as far as this process may. Returns the limit.
std::size_t raise_descriptor_limit() noexcept;

// How many connections that limit allows a process, with descriptors left for everything else.
[[nodiscard]] std::size_t most_connections() noexcept;

}  // namespace vsd
