#include "libwzcore/wzlb_hessian/xml_sink.h"

#include <wz/wzlb_hessian.h>

#include <cstdarg>
#include <ctime>

namespace wz::hessian {

void XmlSink::select(int capacity, void* out) noexcept {
  file_ = capacity == 0 ? static_cast<std::FILE*>(out) : nullptr;
  text_ = capacity > 0 ? static_cast<char*>(out) : nullptr;
  limit_ = text_ != nullptr ? static_cast<std::size_t>(capacity) - 1 : 0;
  length_ = 0;
  if (text_ != nullptr) {
    text_[0] = '\0';
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
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  if (length == 0) {
    return 0;
  }
  return length + static_cast<std::size_t>(std::snprintf(text + length, sizeof text - length,
                                                         ".%3.3d", static_cast<int>(rest)));
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
}
