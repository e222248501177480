// Finds what crashes again and again: more often than a number of times within a span of time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>

namespace vsd {

class CrashLimit {
 public:
  using Clock = std::chrono::steady_clock;

  // Counts a crash of `service`. True when it makes the `limit`-th within `window`; a limit of 0 is
  // never reached.
  [[nodiscard]] bool reached(std::uint32_t service, Clock::time_point now, std::size_t limit,
                             Clock::duration window) {
    std::deque<Clock::time_point>& times = crashes_[service];
    times.push_back(now);
    while (times.front() < now - window) {
      times.pop_front();
    }
    return limit != 0 && times.size() >= limit;
  }

 private:
  std::unordered_map<std::uint32_t, std::deque<Clock::time_point>> crashes_;
};

}  // namespace vsd
