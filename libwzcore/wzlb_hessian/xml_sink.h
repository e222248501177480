// Where decoded text goes: a bounded buffer or an open file. There is one sink a process, the last
// one that a decoding chose.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace wz::hessian {

class XmlSink {
 public:
  // `capacity` 0 means that `out` is an open FILE.
  void select(int capacity, void* out) noexcept;

  // Memory: what fits in front of the last byte is kept, the rest dropped; a NUL follows.
  void append(std::string_view text) noexcept {
    if (file_ != nullptr) {
      std::fwrite(text.data(), 1, text.size(), file_);
      return;
    }
    const std::size_t length = text.size() < room() ? text.size() : room();
    if (length > 0) {
      std::memcpy(text_ + length_, text.data(), length);
      length_ += length;
      text_[length_] = '\0';
    }
  }
  void append(char c) noexcept { append(std::string_view(&c, 1)); }

  // Bytes that a memory sink still takes.
  [[nodiscard]] std::size_t room() const noexcept { return limit_ - length_; }
  [[nodiscard]] std::size_t length() const noexcept { return length_; }

  // "<name>", "</name>\n" and, for containers, with a line of their own.
  void open_inline(std::string_view name) noexcept { tag("<", name, ">"); }
  void close_inline(std::string_view name) noexcept { tag("</", name, ">\n"); }
  void open_container(std::string_view name) noexcept { tag("<", name, ">\n"); }
  void close_container(std::string_view name) noexcept { tag("\n</", name, ">\n"); }
  void scalar(std::string_view name, std::string_view value) noexcept {
    open_inline(name);
    append(value);
    close_inline(name);
  }

 private:
  void tag(std::string_view before, std::string_view name, std::string_view behind) noexcept {
    append(before);
    append(name);
    append(behind);
  }

  std::FILE* file_ = nullptr;
  char* text_ = nullptr;
  std::size_t limit_ = 0;  // most bytes of text: one less than the capacity
  std::size_t length_ = 0;
};

XmlSink& sink() noexcept;

constexpr std::string_view kDocumentStart = "<hessian>";
constexpr std::string_view kDocumentEnd = "\n</hessian>";

// Room for "2038-01-19 03:14:07.000" in any year that a date can have.
constexpr std::size_t kDateTextSize = 40;

// Local time of `milliseconds` since 1970 as "%Y-%m-%d %H:%M:%S" and ".%3.3d"; the length, 0 when
// the time has no such text.
std::size_t convert_date(long long milliseconds, char (&text)[kDateTextSize]) noexcept;

}  // namespace wz::hessian
