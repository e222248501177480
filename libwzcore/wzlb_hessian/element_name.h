// The name of an element with its tags ready made: "<name>\n" and "\n</name>\n", each padded so
// that it is copied without a look at its length.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace wz::hessian {

class ElementName {
 public:
  // Bytes that each function below may write, whatever it returns.
  static constexpr std::size_t kTagRoom = 48;

  consteval explicit ElementName(std::string_view name) : size_(name.size()) {
    char* const start = write(start_.data(), "<", name);
    write(start, ">\n", {});
    char* const end = write(end_.data(), "\n</", name);
    write(end, ">\n", {});
  }

  [[nodiscard]] constexpr std::string_view text() const noexcept {
    return {start_.data() + 1, size_};
  }

  // The tags with the line ends that they have: a value's stand on one line.
  [[nodiscard]] std::string_view inline_start() const noexcept {
    return {start_.data(), size_ + 2};
  }
  [[nodiscard]] std::string_view container_start() const noexcept {
    return {start_.data(), size_ + 3};
  }
  [[nodiscard]] std::string_view inline_end() const noexcept {
    return {end_.data() + 1, size_ + 4};
  }
  [[nodiscard]] std::string_view container_end() const noexcept { return {end_.data(), size_ + 5}; }

 private:
  static consteval char* write(char* to, std::string_view first, std::string_view second) {
    return std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), to));
  }

  std::array<char, kTagRoom> start_{};
  std::array<char, kTagRoom + 1> end_{};
  std::size_t size_;
};

// Copies one of an element's tags to where there is room for kTagRoom bytes; the byte behind it.
inline char* put_tag(char* to, std::string_view tag) noexcept {
  std::memcpy(to, tag.data(), ElementName::kTagRoom);
  return to + tag.size();
}

}  // namespace wz::hessian
