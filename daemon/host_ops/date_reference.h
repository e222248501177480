// The text of a date reference behind the variable's name.
#pragma once

#include <optional>
#include <string_view>

namespace vsd {

struct DateReference {
  std::string_view format;        // empty: the declared one
  std::optional<int> day_offset;  // nothing: the declared one
};

// Reads "}", ",FORMAT}" or ",FORMAT,+N}", blanks skipped behind each comma. What follows the last
// comma is the day offset when it is a signed number and otherwise a part of the format. Text that
// starts with anything else, up to the brace, means nothing.
[[nodiscard]] DateReference read_date_reference(std::string_view text);

}  // namespace vsd
