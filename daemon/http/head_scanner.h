// Finds the end of a request's head as its bytes arrive, each byte looked at once.
#pragma once

#include <cstddef>
#include <string_view>

namespace vsd::http {

class HeadScanner {
 public:
  enum class Result {
    need_more,
    complete,
    malformed,  // a line feed without carriage return, or a line that continues the one before
  };

  // `bytes` is everything from the first byte of the request on; it grows from call to call.
  Result scan(std::string_view bytes) noexcept;

  // From the request line through the blank line; after `complete`.
  [[nodiscard]] std::size_t head_size() const noexcept { return line_start_; }

  // The request line with its CR LF; 0 until it has arrived.
  [[nodiscard]] std::size_t request_line_size() const noexcept { return request_line_size_; }

 private:
  std::size_t scanned_ = 0;
  std::size_t line_start_ = 0;
  std::size_t request_line_size_ = 0;
};

}  // namespace vsd::http
