// One search over a text on behalf of a script.
#pragma once

#include <optional>
#include <string_view>

namespace wz {

// A part of the text searched.
struct SearchedValue {
  std::string_view text;
  int count;  // 1 when found, even if the value is empty
};

// What wzlb_save_searched_string would find, where it stands. Nothing when it has more to do than
// to find one occurrence: other ordinals, arguments to refuse, and searches that are traced.
std::optional<SearchedValue> find_searched_value(const char* text, const char* lb, const char* rb,
                                                 int ord, int start_offset, int save_len) noexcept;

}  // namespace wz
