// UTF-8 as Hessian uses it: surrogates may be spelt out, three bytes each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace wz::hessian {

constexpr std::uint32_t kReplacementCharacter = 0xFFFD;
constexpr std::uint32_t kFirstAstral = 0x10000;
constexpr std::uint32_t kLastCharacter = 0x10FFFF;
constexpr std::size_t kMaxUtf8Size = 4;

constexpr bool is_high_surrogate(std::uint32_t c) noexcept {
  return c >= 0xD800 && c < 0xDC00;
}
constexpr bool is_low_surrogate(std::uint32_t c) noexcept {
  return c >= 0xDC00 && c < 0xE000;
}
constexpr bool is_surrogate(std::uint32_t c) noexcept {
  return c >= 0xD800 && c < 0xE000;
}
constexpr bool is_carried_by_xml(std::uint32_t c) noexcept {
  return c >= 0x20 ? c <= kLastCharacter && !is_surrogate(c) && c != 0xFFFE && c != 0xFFFF
                   : c == '\t' || c == '\n' || c == '\r';
}
constexpr std::uint32_t joined_surrogates(std::uint32_t high, std::uint32_t low) noexcept {
  return kFirstAstral + ((high & 0x3FF) << 10) + (low & 0x3FF);
}
constexpr std::size_t utf16_units(std::uint32_t c) noexcept {
  return c < kFirstAstral ? 1 : 2;
}

struct Character {
  std::uint32_t code;
  std::size_t size;  // bytes
};

// The character at the start of `text`; nothing when it is cut short, overlong or no UTF-8.
constexpr std::optional<Character> first_character(std::string_view text) noexcept {
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, kFirstAstral};
  if (text.empty()) {
    return std::nullopt;
  }
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) {
    return Character{lead, 1};
  }
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC0 || lead >= 0xF8 || text.size() < size) {
    return std::nullopt;
  }
  std::uint32_t code = lead & (0x7FU >> size);
  for (std::size_t i = 1; i < size; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) {
      return std::nullopt;
    }
    code = code << 6 | (byte & 0x3F);
  }
  if (code < kSmallest[size] || code > kLastCharacter) {
    return std::nullopt;
  }
  return Character{code, size};
}

// Writes `c` and returns its bytes, at most kMaxUtf8Size.
constexpr std::size_t write_utf8(std::uint32_t c, char* text) noexcept {
  const auto trail = [&](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
  if (c < 0x80) {
    text[0] = static_cast<char>(c);
    return 1;
  }
  if (c < 0x800) {
    text[0] = static_cast<char>(0xC0 | (c >> 6));
    text[1] = trail(0);
    return 2;
  }
  if (c < kFirstAstral) {
    text[0] = static_cast<char>(0xE0 | (c >> 12));
    text[1] = trail(6);
    text[2] = trail(0);
    return 3;
  }
  text[0] = static_cast<char>(0xF0 | (c >> 18));
  text[1] = trail(12);
  text[2] = trail(6);
  text[3] = trail(0);
  return 4;
}

}  // namespace wz::hessian
