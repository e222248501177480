#include "libwzcore/parameters/integer_format.h"

#include <cstdio>

namespace wz {
namespace {

constexpr std::string_view kEnds = ", \t";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kPlainTypes = "doxX";
constexpr std::string_view kSizedTypes = "udxXo";  // behind l or h

// The length of the conversion at the start of `text`, which begins behind its `%`; npos when the
// text ends first and 0 when it is none of ours.
std::size_t conversion_length(std::string_view text) {
  const std::size_t type = text.find_first_not_of(kDigits);
  if (type == std::string_view::npos) {
    return type;
  }
  if (kPlainTypes.find(text[type]) != std::string_view::npos) {
    return type + 1;
  }
  if (text[type] != 'l' && text[type] != 'h') {
    return 0;
  }
  if (type + 1 == text.size()) {
    return std::string_view::npos;
  }
  return kSizedTypes.find(text[type + 1]) != std::string_view::npos ? type + 2 : 0;
}

}  // namespace

FormatScan scan_integer_format(std::string_view value, const char* variable, std::string& format) {
  const std::string_view scanned = value.substr(0, value.find_first_of(kEnds));
  bool converted = false;
  for (std::size_t at = scanned.find('%'); at < scanned.size(); at = scanned.find('%', at)) {
    ++at;
    if (scanned.substr(at).starts_with('%')) {
      ++at;
      continue;
    }
    if (converted) {
      std::fprintf(stderr, "%s Two Format specifiers are not allowed\n", variable);
      return FormatScan::refused;
    }
    const std::size_t length = conversion_length(scanned.substr(at));
    if (length == std::string_view::npos) {
      return FormatScan::no_conversion;
    }
    if (length == 0) {
      std::fprintf(stderr,
                   "%s Wrong format specified as after '%%' we expect either a digit or ld/lu/d "
                   "specifiers\n",
                   variable);
      return FormatScan::refused;
    }
    at += length;
    converted = true;
  }
  format = scanned;
  return converted ? FormatScan::good : FormatScan::no_conversion;
}

std::string_view conversion_width(std::string_view format) {
  for (std::size_t at = format.find('%'); at < format.size(); at = format.find('%', at + 1)) {
    ++at;
    if (!format.substr(at).starts_with('%')) {
      format.remove_prefix(at);
      return format.substr(0, format.find_first_not_of(kDigits));
    }
  }
  return {};
}

bool converts_long(std::string_view format) {
  const std::string_view width = conversion_width(format);
  const char* type = width.data() + width.size();
  return width.data() != nullptr && type != format.data() + format.size() && *type == 'l';
}

}  // namespace wz
