// The parts of answers that go wrong on purpose.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vsd::http {

// How a slow answer is let out: `bytes` at a time, `interval` apart.
struct Pace {
  std::size_t bytes = 0;
  std::chrono::microseconds interval{0};
};

// `bytes_per_second` above 0.
[[nodiscard]] Pace pace_of(std::uint32_t bytes_per_second) noexcept;

// Appends bytes that no client can take for the start of an answer; different ones each time.
void append_garbage(std::string& out);

}  // namespace vsd::http
