#include "daemon/http/http_date.h"

#include <cstring>

namespace vsd::http {

// By hand, because strftime follows the locale that a script may have set.
void HttpDate::format(std::time_t now) noexcept {
  second_ = now;
  std::tm utc{};
  gmtime_r(&now, &utc);
  char* out = text_.data();
  const auto put_text = [&out](const char* text, std::size_t size) {
    std::memcpy(out, text, size);
    out += size;
  };
  const auto put_number = [&out](int value, int divisor) {
    for (; divisor > 0; divisor /= 10) {
      *out++ = static_cast<char>('0' + value / divisor % 10);
    }
  };
  put_text(&"SunMonTueWedThuFriSat"[utc.tm_wday * 3], 3);
  put_text(", ", 2);
  put_number(utc.tm_mday, 10);
  put_text(" ", 1);
  put_text(&"JanFebMarAprMayJunJulAugSepOctNovDec"[utc.tm_mon * 3], 3);
  put_text(" ", 1);
  put_number(utc.tm_year + 1900, 1000);
  put_text(" ", 1);
  put_number(utc.tm_hour, 10);
  put_text(":", 1);
  put_number(utc.tm_min, 10);
  put_text(":", 1);
  put_number(utc.tm_sec, 10);
  put_text(" GMT", 4);
}

}  // namespace vsd::http
