#include "libwzcore/wzlb_hessian/hessian2_bytes.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "libwzcore/wzlb_hessian/scan_text.h"
#include "libwzcore/wzlb_hessian/utf8.h"

namespace wz::hessian {
namespace {

constexpr std::size_t kChunk = 0x8000;  // units or bytes of a chunk that others follow
constexpr std::size_t kMaxShortText = 0xFFFF;

bool is_within(std::int64_t value, std::int64_t low, std::int64_t high) noexcept {
  return value >= low && value <= high;
}

template <typename Integer>
bool fits(double value) noexcept {
  return value >= static_cast<double>(std::numeric_limits<Integer>::min()) &&
         value <= static_cast<double>(std::numeric_limits<Integer>::max());
}

// The character at the start; what is no UTF-8 counts as one replaced byte.
Character character_at(std::string_view text) noexcept {
  return first_character(text).value_or(Character{kReplacementCharacter, 1});
}

std::size_t ascii_length(std::string_view text) noexcept {
  return length_without<ForeignBytes>(text);
}

std::size_t count_units(std::string_view text) noexcept {
  std::size_t units = 0;
  while (!text.empty()) {
    const std::size_t length = ascii_length(text);
    units += length;
    text.remove_prefix(length);
    while (!text.empty() && ForeignBytes::has(text.front())) {
      const Character character = character_at(text);
      units += utf16_units(character.code);
      text.remove_prefix(character.size);
    }
  }
  return units;
}

// Cuts the longest start of `text` that has at most `most` units off; the second is its units.
std::pair<std::string_view, std::size_t> cut_units(std::string_view& text,
                                                   std::size_t most) noexcept {
  std::size_t size = 0;
  std::size_t units = 0;
  while (size < text.size()) {
    const Character character = character_at(text.substr(size));
    if (units + utf16_units(character.code) > most) {
      break;
    }
    units += utf16_units(character.code);
    size += character.size;
  }
  const std::string_view start = text.substr(0, size);
  text.remove_prefix(size);
  return {start, units};
}

}  // namespace

void Hessian2Writer::number(std::uint64_t value, int size) noexcept {
  for (int i = size - 1; i >= 0; --i) {
    byte(static_cast<int>(value >> (8 * i) & 0xFF));
  }
}

void Hessian2Writer::tagged(int tag, std::uint64_t value, int size) noexcept {
  byte(tag);
  number(value, size);
}

bool Hessian2Writer::compact(std::int64_t value, int one, int two, int three, std::int64_t low,
                             std::int64_t high) noexcept {
  constexpr std::int64_t kTwoBytes = 2048;
  constexpr std::int64_t kThreeBytes = 262144;
  if (is_within(value, low, high)) {
    byte(static_cast<int>(one + value));
  } else if (is_within(value, -kTwoBytes, kTwoBytes - 1)) {
    tagged(static_cast<int>(two + (value >> 8)), static_cast<std::uint64_t>(value), 1);
  } else if (is_within(value, -kThreeBytes, kThreeBytes - 1)) {
    tagged(static_cast<int>(three + (value >> 16)), static_cast<std::uint64_t>(value), 2);
  } else {
    return false;
  }
  return true;
}

void Hessian2Writer::integer(std::int32_t value) noexcept {
  if (!is_final() || !compact(value, 0x90, 0xC8, 0xD4, -16, 47)) {
    tagged('I', static_cast<std::uint32_t>(value), sizeof value);
  }
}

void Hessian2Writer::long_integer(std::int64_t value) noexcept {
  if (is_final() && compact(value, 0xE0, 0xF8, 0x3C, -8, 15)) {
    return;
  }
  const bool is_short = is_final() && is_within(value, std::numeric_limits<std::int32_t>::min(),
                                                std::numeric_limits<std::int32_t>::max());
  is_short ? tagged('Y', static_cast<std::uint64_t>(value), sizeof(std::int32_t))
           : tagged('L', static_cast<std::uint64_t>(value), sizeof value);
}

void Hessian2Writer::real(double value) noexcept {
  const bool is_negative_zero = value == 0 && std::signbit(value);
  if (is_final() && std::isfinite(value) && !is_negative_zero) {
    if (value == 0 || value == 1) {
      return byte(value == 0 ? 0x5B : 0x5C);
    }
    if (std::trunc(value) == value && fits<std::int16_t>(value)) {
      const auto whole = static_cast<std::int16_t>(value);
      return fits<std::int8_t>(value) ? tagged(0x5D, static_cast<std::uint64_t>(whole), 1)
                                      : tagged(0x5E, static_cast<std::uint64_t>(whole), 2);
    }
    const double thousandths = std::trunc(value * 1000);
    if (fits<std::int32_t>(thousandths) && 0.001 * thousandths == value) {
      return tagged(0x5F, static_cast<std::uint64_t>(static_cast<std::int32_t>(thousandths)), 4);
    }
  }
  tagged('D', std::bit_cast<std::uint64_t>(value), sizeof value);
}

void Hessian2Writer::date(std::int64_t milliseconds) noexcept {
  constexpr std::int64_t kPerMinute = 60000;
  if (!is_final()) {
    return tagged('d', static_cast<std::uint64_t>(milliseconds), sizeof milliseconds);
  }
  const std::int64_t minutes = milliseconds / kPerMinute;
  if (milliseconds % kPerMinute == 0 && is_within(minutes, std::numeric_limits<std::int32_t>::min(),
                                                  std::numeric_limits<std::int32_t>::max())) {
    return tagged('K', static_cast<std::uint64_t>(minutes), sizeof(std::int32_t));
  }
  tagged('J', static_cast<std::uint64_t>(milliseconds), sizeof milliseconds);
}

void Hessian2Writer::text(std::string_view text) noexcept {
  constexpr std::size_t kTinyText = 31;
  constexpr std::size_t kSmallText = 1023;
  if (!is_final()) {
    return text_chunks(text, 's', 'S');
  }
  // A text of more bytes than three a unit is long without counting.
  const std::size_t plain = ascii_length(text);
  const std::size_t length =
      text.size() > kSmallText * 3 ? kSmallText + 1 : plain + count_units(text.substr(plain));
  if (length > kSmallText) {
    return text_chunks(text, 'R', 'S');
  }
  length <= kTinyText ? byte(static_cast<int>(length)) : number(0x3000 + length, 2);
  bytes(text.substr(0, plain));
  units(text.substr(plain));
}

void Hessian2Writer::xml(std::string_view text) noexcept {
  is_final() ? this->text(text) : text_chunks(text, 'x', 'X');
}

void Hessian2Writer::text_chunks(std::string_view text, int more_tag, int last_tag) noexcept {
  do {
    const auto [start, length] = cut_units(text, kChunk);
    tagged(text.empty() ? last_tag : more_tag, length, 2);
    units(start);
  } while (!text.empty());
}

void Hessian2Writer::short_text(int tag, std::string_view text) noexcept {
  const auto [start, length] = cut_units(text, kMaxShortText);
  tagged(tag, length, 2);
  units(start);
}

// Each unit by itself: readers of this protocol do not take sequences of four bytes.
void Hessian2Writer::units(std::string_view text) noexcept {
  while (!text.empty()) {
    const std::size_t length = ascii_length(text);
    bytes(text.substr(0, length));
    text.remove_prefix(length);
    while (!text.empty() && ForeignBytes::has(text.front())) {
      const Character character = character_at(text);
      unit(character.code);
      text.remove_prefix(character.size);
    }
  }
}

void Hessian2Writer::unit(std::uint32_t code) noexcept {
  char* const target = reinterpret_cast<char*>(at_);
  if (code < kFirstAstral) {
    at_ += write_utf8(code, target);
    return;
  }
  const std::uint32_t offset = code - kFirstAstral;
  const std::size_t size = write_utf8(0xD800 + (offset >> 10), target);
  at_ += size + write_utf8(0xDC00 + (offset & 0x3FF), target + size);
}

void Hessian2Writer::bytes(std::string_view data) noexcept {
  if (!data.empty()) {
    std::memcpy(at_, data.data(), data.size());
    at_ += data.size();
  }
}

void Hessian2Writer::binary(std::string_view data) noexcept {
  constexpr std::size_t kTinyBinary = 15;
  constexpr std::size_t kSmallBinary = 1023;
  if (is_final() && data.size() <= kSmallBinary) {
    data.size() <= kTinyBinary ? byte(static_cast<int>(0x20 + data.size()))
                               : number(0x3400 + data.size(), 2);
    return bytes(data);
  }
  while (data.size() > kChunk) {
    tagged(is_final() ? 'A' : 'b', kChunk, 2);
    bytes(data.substr(0, kChunk));
    data.remove_prefix(kChunk);
  }
  tagged('B', data.size(), 2);
  bytes(data);
}

void Hessian2Writer::packet(std::string_view data) noexcept {
  constexpr std::size_t kTinyPacket = 0x7F;
  constexpr std::size_t kSmallPacket = 0xFFF;
  for (; data.size() > kChunk; data.remove_prefix(kChunk)) {
    tagged('O', kChunk, 2);
    bytes(data.substr(0, kChunk));
  }
  if (data.size() <= kTinyPacket) {
    byte(static_cast<int>(0x80 + data.size()));
  } else if (data.size() <= kSmallPacket) {
    number(0x7000 + data.size(), 2);
  } else {
    tagged('P', data.size(), 2);
  }
  bytes(data);
}

void Hessian2Writer::reference(std::int32_t number) noexcept {
  if (is_final()) {
    byte('Q');
    integer(number);
  } else {
    tagged('R', static_cast<std::uint32_t>(number), sizeof number);
  }
}

}  // namespace wz::hessian
