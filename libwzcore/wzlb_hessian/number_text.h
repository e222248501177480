// Numbers from text as strtoll and strtod read them: leading blanks, then as much as is a number,
// 0 where there is none; integers that are too large become the largest.
#pragma once

#include <cstdint>
#include <string_view>

namespace wz::hessian {

std::int64_t integer_from(std::string_view text) noexcept;
// The low 32 bits of the above.
inline int int_from(std::string_view text) noexcept {
  return static_cast<int>(integer_from(text));
}
double double_from(std::string_view text);

}  // namespace wz::hessian
