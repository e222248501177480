// The text of the Date header, formatted once a second.
#pragma once

#include <array>
#include <ctime>
#include <string_view>

namespace vsd::http {

class HttpDate {
 public:
  HttpDate() noexcept { format(0); }

  // `now` in seconds since 1970.
  void update(std::time_t now) noexcept {
    if (now != second_) {
      format(now);
    }
  }

  [[nodiscard]] std::string_view text() const noexcept { return {text_.data(), text_.size()}; }

 private:
  static constexpr std::size_t kLength = 29;  // "Sun, 06 Nov 1994 08:49:37 GMT"

  void format(std::time_t now) noexcept;

  std::time_t second_ = 0;
  std::array<char, kLength> text_{};
};

}  // namespace vsd::http
