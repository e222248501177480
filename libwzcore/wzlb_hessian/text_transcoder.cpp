#include "libwzcore/wzlb_hessian/text_transcoder.h"

#include <array>
#include <optional>

#include "libwzcore/wzlb_hessian/utf8.h"

namespace wz::hessian {
namespace {

// ASCII that stands for itself in XML text.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t c = 0x20; c < 0x80; ++c) {
    plain[c] = true;
  }
  for (const char c : {'\t', '\n'}) {
    plain[static_cast<unsigned char>(c)] = true;
  }
  for (const char c : {'"', '\'', '&', '<', '>'}) {
    plain[static_cast<unsigned char>(c)] = false;
  }
  return plain;
}();

bool is_escaped(std::uint32_t character) noexcept {
  return character == '"' || character == '\'' || character == '&' || character == '<' ||
         character == '>' || character == '\r';
}

bool is_carried_by_xml(std::uint32_t character) noexcept {
  return character >= 0x20 ? !is_surrogate(character) && character != 0xFFFE && character != 0xFFFF
                           : character == '\t' || character == '\n' || character == '\r';
}

}  // namespace

bool TextTranscoder::copy(ByteReader& bytes, std::size_t units) noexcept {
  while (units > 0) {
    units -= copy_plain(bytes, units);
    if (units == 0) {
      break;
    }
    const std::size_t copied = copy_character(bytes, units);
    if (copied == 0) {
      return false;
    }
    units -= copied;
  }
  return true;
}

std::size_t TextTranscoder::copy_plain(ByteReader& bytes, std::size_t units) noexcept {
  const std::size_t most = units < bytes.left() ? units : bytes.left();
  const std::string_view text = bytes.next(most);
  std::size_t length = 0;
  while (length < most && kPlain[static_cast<unsigned char>(text[length])]) {
    ++length;
  }
  if (length > 0) {
    flush_half();
    sink_.append(text.substr(0, length));
    bytes.skip(length);
  }
  return length;
}

std::size_t TextTranscoder::copy_character(ByteReader& bytes, std::size_t most_units) noexcept {
  const std::optional<Character> character = first_character(bytes.next(bytes.left()));
  if (!character) {
    return 0;
  }
  const std::size_t units = utf16_units(character->code);
  if (units > most_units) {
    return 0;
  }
  bytes.skip(character->size);
  put_unit(character->code);
  return units;
}

void TextTranscoder::put_unit(std::uint32_t unit) noexcept {
  if (is_low_surrogate(unit) && high_half_ != 0) {
    const std::uint32_t high = high_half_;
    high_half_ = 0;
    put(joined_surrogates(high, unit));
    return;
  }
  flush_half();
  if (is_high_surrogate(unit)) {
    high_half_ = unit;
  } else {
    put(unit);
  }
}

void TextTranscoder::put(std::uint32_t character) noexcept {
  if (!is_carried_by_xml(character)) {
    character = kReplacementCharacter;
  }
  if (is_escaped(character)) {
    const char digits[] = {'&', '#', static_cast<char>('0' + character / 10),
                           static_cast<char>('0' + character % 10), ';'};
    sink_.append({digits, sizeof digits});
    return;
  }
  char text[kMaxUtf8Size];
  sink_.append({text, write_utf8(character, text)});
}

void TextTranscoder::flush_half() noexcept {
  if (high_half_ != 0) {
    high_half_ = 0;
    put(kReplacementCharacter);
  }
}

}  // namespace wz::hessian
