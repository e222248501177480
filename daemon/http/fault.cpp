#include "daemon/http/fault.h"

#include <algorithm>
#include <random>

namespace vsd::http {

// Ten pieces a second look like a slow line; fewer only where a piece would be less than a byte.
Pace pace_of(std::uint32_t bytes_per_second) noexcept {
  const std::uint32_t bytes = std::max<std::uint32_t>(bytes_per_second / 10, 1);
  return {bytes, std::chrono::microseconds(1000000ULL * bytes / bytes_per_second)};
}

void append_garbage(std::string& out) {
  constexpr std::size_t kBytes = 256;
  static thread_local std::minstd_rand random{std::random_device{}()};
  out += '\xFF';  // neither a letter of "HTTP/" nor a line end that a client may skip
  for (std::size_t i = 1; i < kBytes; ++i) {
    out += static_cast<char>(random() >> 8U);
  }
}

}  // namespace vsd::http
