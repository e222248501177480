// The hex digits that the codecs read, in either case.
#pragma once

#include <array>
#include <string_view>

namespace wz {

// The digits in order of their value, the letters in both cases.
inline constexpr std::string_view hexa = "0123456789ABCDEFabcdef";

inline constexpr std::array<signed char, 256> kHexValues = [] {
  std::array<signed char, 256> values{};
  values.fill(-1);
  for (std::size_t index = 0; index < hexa.size(); ++index) {
    values[static_cast<unsigned char>(hexa[index])] =
        static_cast<signed char>(index < 16 ? index : index - 6);
  }
  return values;
}();

// 0..15 for a hex digit of either case, -1 for anything else (NUL included).
constexpr int GetHex(char value) noexcept {
  return kHexValues[static_cast<unsigned char>(value)];
}

}  // namespace wz
