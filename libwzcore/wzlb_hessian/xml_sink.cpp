#include "libwzcore/wzlb_hessian/xml_sink.h"

#include <wz/wzlb_hessian.h>

#include <algorithm>
#include <cstdarg>
#include <ctime>

namespace wz::hessian {
namespace {

// The last `digits` decimal digits of `value` and the separator behind them; the byte after that.
char* put_digits(char* to, int value, int digits, char separator) noexcept {
  for (int i = digits - 1; i >= 0; --i) {
    to[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  to[digits] = separator;
  return to + digits + 1;
}

// The length of "%Y-%m-%d %H:%M:%S", 0 when there is no such text.
std::size_t write_time(const tm& local, char (&text)[kDateTextSize]) noexcept {
  constexpr int kFirstYear = 1900;
  const int year = local.tm_year + kFirstYear;
  if (year < 1000 || year > 9999) {
    return std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  }
  char* end = put_digits(text, year, 4, '-');
  end = put_digits(end, local.tm_mon + 1, 2, '-');
  end = put_digits(end, local.tm_mday, 2, ' ');
  end = put_digits(end, local.tm_hour, 2, ':');
  end = put_digits(end, local.tm_min, 2, ':');
  end = put_digits(end, local.tm_sec, 2, '\0');
  return static_cast<std::size_t>(end - text) - 1;
}

}  // namespace

void XmlSink::select(int capacity, void* out) noexcept {
  file_ = capacity == 0 ? static_cast<std::FILE*>(out) : nullptr;
  text_ = capacity > 0 ? static_cast<char*>(out) : nullptr;
  limit_ = text_ != nullptr ? static_cast<std::size_t>(capacity) - 1 : 0;
  length_ = 0;
  terminate();
}

void XmlSink::append_or_drop(std::string_view text) noexcept {
  if (file_ != nullptr) {
    std::fwrite(text.data(), 1, text.size(), file_);
  } else if (text_ != nullptr) {
    const std::size_t length = std::min(text.size(), room());
    std::memcpy(text_ + length_, text.data(), length);
    length_ += length;
  }
}

XmlSink& sink() noexcept {
  static constinit XmlSink the_sink;
  return the_sink;
}

std::size_t convert_date(long long milliseconds, char (&text)[kDateTextSize]) noexcept {
  constexpr long long kPerSecond = 1000;
  time_t seconds = milliseconds / kPerSecond;
  long long rest = milliseconds % kPerSecond;
  if (rest < 0) {
    rest += kPerSecond;
    --seconds;
  }
  tm local{};
  if (localtime_r(&seconds, &local) == nullptr) {
    return 0;
  }
  const std::size_t length = write_time(local, text);
  if (length == 0) {
    return 0;
  }
  text[length] = '.';
  return static_cast<std::size_t>(put_digits(text + length + 1, static_cast<int>(rest), 3, '\0') -
                                  text - 1);
}

}  // namespace wz::hessian

void hessian_append_to_xml(char* format, ...) {
  char text[40960];
  va_list arguments;
  va_start(arguments, format);
  const int printed = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  std::size_t length = printed < 0 ? std::strlen(text) : static_cast<std::size_t>(printed);
  if (length >= sizeof text) {
    length = sizeof text - 1;  // its NUL would hide what is appended later
  }
  wz::hessian::sink().append({text, length});
  wz::hessian::sink().terminate();
}
