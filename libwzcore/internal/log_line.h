// One line of a log, built in place on the caller's stack so that logging never allocates: a head
// of separated fields, then the caller's message, cut where the bound is reached.
#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace wz {

template <std::size_t Bound>
class LogLine {
 public:
  __attribute__((format(printf, 2, 3))) void set_head(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int printed = std::vsnprintf(text_, Bound + 1, format, arguments);
    va_end(arguments);
    head_length_ = length_ = kept(printed, 0);
  }

  __attribute__((format(printf, 2, 0))) void append_message(const char* format, va_list arguments) {
    const int printed =
        std::vsnprintf(text_ + head_length_, Bound + 1 - head_length_, format, arguments);
    text_[Bound] = '\0';
    length_ = head_length_ + kept(printed, head_length_);
  }

  const char* text() const { return text_; }
  std::size_t length() const { return length_; }

 private:
  // How much of what vsnprintf reports is in the buffer; a conversion error keeps what it wrote.
  std::size_t kept(int printed, std::size_t start) const {
    const std::size_t length =
        printed < 0 ? std::strlen(text_ + start) : static_cast<std::size_t>(printed);
    return std::min(length, Bound - start);
  }

  char text_[Bound + 1];
  std::size_t head_length_ = 0;
  std::size_t length_ = 0;
};

}  // namespace wz
