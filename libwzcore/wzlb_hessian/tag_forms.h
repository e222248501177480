// What a byte at the start of a value means, as far as a table can tell. Many tags hold the high
// part of a number (the value itself or a length) and a fixed count of bytes with the rest follow.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace wz::hessian {

enum class Form : std::uint8_t {
  kOther,  // what only the dialect's own reader knows
  kNull,
  kTrue,
  kFalse,
  kCompactInt,
  kCompactLong,
  kInt,   // in two's complement, nothing in the tag
  kLong,  // likewise
  kDouble,
  kTextPart,  // others follow; the number is a length
  kText,      // the last or only part
  kBinaryPart,
  kBinary,
};

struct TagForm {
  Form form = Form::kOther;
  std::int8_t high = 0;    // part of the number in the tag
  std::uint8_t bytes = 0;  // that follow and belong to the number
};

class TagForms {
 public:
  // The codes of both dialects.
  constexpr TagForms() {
    add(0x00, 0x1F, Form::kText, 0, 0);
    add(0x20, 0x2F, Form::kBinary, 0, 0);
    add(0x38, 0x3F, Form::kCompactLong, -4, 2);
    add(0x80, 0xBF, Form::kCompactInt, -16, 0);
    add(0xC0, 0xCF, Form::kCompactInt, -8, 1);
    add(0xD0, 0xD7, Form::kCompactInt, -4, 2);
    add(0xD8, 0xEF, Form::kCompactLong, -8, 0);
    add(0xF0, 0xFF, Form::kCompactLong, -8, 1);
    add('N', Form::kNull, 0);
    add('T', Form::kTrue, 0);
    add('F', Form::kFalse, 0);
    add('I', Form::kInt, 4);
    add('L', Form::kLong, 8);
    add('D', Form::kDouble, 8);
  }

  // The tags from `first` to `last`, whose high parts count up from `high`.
  constexpr void add(int first, int last, Form form, int high, int bytes) {
    for (int tag = first; tag <= last; ++tag) {
      forms_[static_cast<std::size_t>(tag)] = {form, static_cast<std::int8_t>(high + tag - first),
                                               static_cast<std::uint8_t>(bytes)};
    }
  }
  constexpr void add(int tag, Form form, int bytes) { add(tag, tag, form, 0, bytes); }

  // That of no byte, -1, is kOther.
  [[nodiscard]] constexpr TagForm operator[](int tag) const noexcept {
    return tag >= 0 ? forms_[static_cast<std::size_t>(tag)] : TagForm{};
  }

 private:
  std::array<TagForm, 256> forms_{};
};

}  // namespace wz::hessian
