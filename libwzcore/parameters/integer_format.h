// printf formats that declarations of numbers may have: text around exactly one integer conversion.
#pragma once

#include <string>
#include <string_view>

namespace wz {

enum class FormatScan {
  good,
  no_conversion,  // none, or one that the value's end cuts off
  refused,        // a message is on standard error already
};

// Scans `value` up to its first comma, blank or tab into `format`. A conversion is `%`, digits and
// one of d, o, x, X or, behind l or h, of u, d, x, X, o. The list is that short deliberately, plain
// `u` is none of it. `%%` is text. The two refusals go to standard error whatever the mode of the
// module, led by `variable`.
[[nodiscard]] FormatScan scan_integer_format(std::string_view value, const char* variable,
                                             std::string& format);

// The digits of its conversion's width, flag included: "05" of "ID%05lu".
[[nodiscard]] std::string_view conversion_width(std::string_view format);

// Whether the conversion of such a format takes a long; the others take an int.
[[nodiscard]] bool converts_long(std::string_view format);

}  // namespace wz
