// How many requests came in during the last second.
#pragma once

#include <chrono>

namespace vsd {

// Counts by whole seconds and takes of the second before the current one the share that is not a
// second ago yet; so the figure follows the load within a second and costs no memory.
class LoadMeter {
 public:
  using Clock = std::chrono::steady_clock;

  // Counts one request and returns the requests of the last second, this one included.
  unsigned long long count(Clock::time_point now) noexcept {
    const auto since_epoch = now.time_since_epoch();
    const auto second = std::chrono::floor<std::chrono::seconds>(since_epoch);
    if (second != second_) {
      before_ = second == second_ + std::chrono::seconds(1) ? current_ : 0;
      current_ = 0;
      second_ = second;
    }
    ++current_;
    const double passed = std::chrono::duration<double>(since_epoch - second).count();
    return current_ + static_cast<unsigned long long>((1.0 - passed) * before_);
  }

 private:
  std::chrono::seconds second_{0};  // the one that current_ counts
  unsigned current_ = 0;
  unsigned before_ = 0;
};

}  // namespace vsd
