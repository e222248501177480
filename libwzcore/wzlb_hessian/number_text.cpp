#include "libwzcore/wzlb_hessian/number_text.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

namespace wz::hessian {

std::int64_t integer_from(std::string_view text) noexcept {
  while (!text.empty() && (text[0] == ' ' || (text[0] >= '\t' && text[0] <= '\r'))) {
    text.remove_prefix(1);
  }
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) {
      return 0;
    }
  }
  std::int64_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    return text.starts_with('-') ? std::numeric_limits<std::int64_t>::min()
                                 : std::numeric_limits<std::int64_t>::max();
  }
  return value;
}

double double_from(std::string_view text) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec == std::errc() && result.ptr == end && std::isfinite(value)) {
    return value;
  }
  return std::strtod(std::string(text).c_str(), nullptr);
}

}  // namespace wz::hessian
