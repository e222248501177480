// How long to wait before something that failed is tried again: not at all at first, then longer
// and longer, until it has held for a while.
#pragma once

#include <algorithm>
#include <chrono>

namespace vsd {

class BackOff {
 public:
  using Clock = std::chrono::steady_clock;

  // When to start what failed at `now` after it had run since `started`.
  [[nodiscard]] Clock::time_point next(Clock::time_point started, Clock::time_point now) noexcept {
    if (now - started > kStableAfter) {
      pause_ = std::chrono::milliseconds{0};
    }
    const auto due = now + pause_;
    pause_ = std::clamp(pause_ * 2, kFirst, kLongest);
    return due;
  }

 private:
  static constexpr std::chrono::milliseconds kFirst{100};
  static constexpr std::chrono::milliseconds kLongest{10000};
  static constexpr std::chrono::seconds kStableAfter{10};

  std::chrono::milliseconds pause_{0};
};

}  // namespace vsd
