// Whoever wants to know what passes through the connections of an event loop.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "daemon/http/message.h"

namespace vsd::http {

// Called for every request: costs no system call, allocates nothing and does not fail.
class TrafficObserver {
 public:
  using Duration = std::chrono::steady_clock::duration;

  TrafficObserver() = default;
  TrafficObserver(const TrafficObserver&) = delete;
  TrafficObserver& operator=(const TrafficObserver&) = delete;

  // A request has its answer, `duration` after it was read; it will be sent when its service time
  // has passed. Of a request that was refused unread only `head` is set, to what there is of it.
  virtual void answered(const Request& request, const Response& response,
                        Duration duration) noexcept = 0;
  // An answer of `service` with a service time has been let out, `duration` after the request.
  virtual void released(std::uint32_t service, Duration duration) noexcept = 0;
  // How many connections there are, and how many of them wait for a service time.
  virtual void connections(std::size_t count, std::size_t waiting) noexcept = 0;

 protected:
  ~TrafficObserver() = default;
};

}  // namespace vsd::http
