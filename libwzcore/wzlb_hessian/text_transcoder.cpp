#include "libwzcore/wzlb_hessian/text_transcoder.h"

#include <algorithm>
#include <optional>

#include "libwzcore/wzlb_hessian/scan_text.h"
#include "libwzcore/wzlb_hessian/utf8.h"

namespace wz::hessian {
namespace {

bool is_escaped(std::uint32_t character) noexcept {
  return character == '"' || character == '\'' || character == '&' || character == '<' ||
         character == '>' || character == '\r';
}

struct Run {
  std::size_t size;
  std::size_t units;
};

// The start of `text` that stands for itself in XML, at most `units` long.
Run plain_run(std::string_view text, std::size_t units) noexcept {
  std::size_t size = 0;
  std::size_t left = units;
  while (left > 0) {
    // What follows the text is looked at as well, so that short ones take a single step.
    const std::size_t length =
        std::min(left, length_without<EscapedBytes>(text.substr(size, left + kScanStep - 1)));
    size += length;
    left -= length;
    while (left > 0) {
      const std::optional<Character> character = first_character(text.substr(size));
      if (!character || character->size == 1) {
        break;
      }
      if (!is_carried_by_xml(character->code) || utf16_units(character->code) > left) {
        return {size, units - left};
      }
      size += character->size;
      left -= utf16_units(character->code);
    }
    if (left > 0 && (size == text.size() || EscapedBytes::has(text[size]))) {
      break;
    }
  }
  return {size, units - left};
}

}  // namespace

bool TextTranscoder::copy(ByteReader& bytes, std::size_t units) noexcept {
  while (units > 0) {
    const Run run = plain_run(bytes.next(bytes.left()), units);
    if (run.size > 0) {
      flush_half();
      sink_.append(bytes.take(run.size));
      units -= run.units;
    }
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
