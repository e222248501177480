// Standard base64 (RFC 4648, padded, no line breaks) between buffers whose sizes the caller has
// checked. The public functions of every generation stand on these two.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace wz::base64 {

inline constexpr std::string_view encoding_table =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Each alphabet character's index. Every other byte, `=` included, has the value 0.
inline constexpr std::array<signed char, 256> decoding_table = [] {
  std::array<signed char, 256> values{};
  for (std::size_t index = 0; index < encoding_table.size(); ++index) {
    values[static_cast<unsigned char>(encoding_table[index])] = static_cast<signed char>(index);
  }
  return values;
}();

constexpr std::uint32_t value_of(unsigned char character) noexcept {
  return static_cast<std::uint32_t>(decoding_table[character]);
}

// Whether `character` is one of the 64, as opposed to a byte that only counts as 0.
constexpr bool in_alphabet(unsigned char character) noexcept {
  return decoding_table[character] != 0 || character == 'A';
}

constexpr std::size_t encoded_size(std::size_t length) noexcept {
  return (length + 2) / 3 * 4;
}

// Writes exactly encoded_size(length) characters.
void encode(const unsigned char* input, std::size_t length, unsigned char* output) noexcept;

// Decodes `length` characters, a multiple of four, each group into three bytes whatever its
// padding, and stores no more than `room` of them. Returns the number of bytes stored.
std::size_t decode(const unsigned char* input, std::size_t length, unsigned char* output,
                   std::size_t room) noexcept;

}  // namespace wz::base64
