#include "libwzcore/wzlb_hessian/hessian2_reader.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>

namespace wz::hessian {
namespace {

// "%f" of a number that is a whole number of millionths, which is what decimal numbers of people
// are; nothing for others. Below the bound, halves of the last binary digit are less than half a
// millionth, so the nearest millionth is the one that "%f" prints.
std::size_t write_millionths(double value, char* room) noexcept {
  constexpr double kBound = 1 << 30;
  constexpr std::int64_t kPerOne = 1000000;
  constexpr int kDecimals = 6;
  const double size = std::fabs(value);
  if (!(size < kBound)) {
    return 0;
  }
  const std::int64_t millionths = std::llround(size * kPerOne);
  if (static_cast<double>(millionths) / kPerOne != size) {
    return 0;
  }
  char* at = room;
  if (std::signbit(value)) {
    *at++ = '-';
  }
  at = std::to_chars(at, at + kDecimals * 2, millionths / kPerOne).ptr;
  *at = '.';
  std::int64_t rest = millionths % kPerOne;
  for (int i = kDecimals; i > 0; --i, rest /= 10) {
    at[i] = static_cast<char>('0' + rest % 10);
  }
  return static_cast<std::size_t>(at + 1 + kDecimals - room);
}

// "%f" where that reads back as the same double, else as many digits as it needs. Bits, not values,
// are compared: minus zero is another double than zero.
std::string_view double_text(double value, std::span<char> room) noexcept {
  char* const start = room.data();
  char* const end = start + room.size();
  if (const std::size_t length = write_millionths(value, start)) {
    return {start, length};
  }
  const auto fixed = std::to_chars(start, end, value, std::chars_format::fixed, 6);
  double back = 0;
  std::from_chars(start, fixed.ptr, back);
  if (std::bit_cast<std::uint64_t>(back) == std::bit_cast<std::uint64_t>(value)) {
    return {start, static_cast<std::size_t>(fixed.ptr - start)};
  }
  const auto general = std::to_chars(start, end, value, std::chars_format::general, 17);
  return {start, static_cast<std::size_t>(general.ptr - start)};
}

}  // namespace

bool Hessian2Reader::read_value() {
  if (depth_ == kMaxValueDepth || bytes_.at_end()) {
    return false;
  }
  ++depth_;
  const int tag = bytes_.peek();
  const bool read = read_form(tag, forms_[tag]);
  --depth_;
  return read;
}

bool Hessian2Reader::read_form(int tag, TagForm form) {
  switch (form.form) {
    case Form::kNull:
      bytes_.skip(1);
      xml_.append("<null></null>\n");
      return true;
    case Form::kTrue:
      bytes_.skip(1);
      xml_.append("<boolean>1</boolean>\n");
      return true;
    case Form::kFalse:
      bytes_.skip(1);
      xml_.append("<boolean>0</boolean>\n");
      return true;
    case Form::kCompactInt:
      return read_compact_integer(name::kInt, form);
    case Form::kCompactLong:
      return read_compact_integer(name::kLong, form);
    case Form::kInt:
      return read_integer(name::kInt, form.bytes);
    case Form::kLong:
      return read_integer(name::kLong, form.bytes);
    case Form::kDouble:
      return read_double();
    case Form::kTextPart:
    case Form::kText:
      return read_text(name::kString);
    case Form::kBinaryPart:
    case Form::kBinary:
      return read_binary();
    case Form::kOther:
      break;
  }
  return read_dialect_value(tag);
}

std::int64_t Hessian2Reader::take_number(TagForm form) noexcept {
  bytes_.skip(1);
  const std::int64_t high = form.high * (std::int64_t{1} << 8 * form.bytes);
  return high + static_cast<std::int64_t>(bytes_.take_unsigned(form.bytes));
}

bool Hessian2Reader::read_compact_integer(const ElementName& element, TagForm form) {
  if (!bytes_.has(1U + form.bytes)) {
    return false;
  }
  xml_.integer(element, take_number(form));
  return true;
}

bool Hessian2Reader::read_double() {
  if (!bytes_.has(1 + sizeof(double))) {
    return false;
  }
  bytes_.skip(1);
  write_double(bytes_.take_double());
  return true;
}

std::size_t Hessian2Reader::length_behind_tag() const noexcept {
  return bytes_.has(3) ? static_cast<std::size_t>(bytes_.peek(1) << 8 | bytes_.peek(2)) : 0;
}

bool Hessian2Reader::read_text(const ElementName& element) {
  const auto is_text = [](TagForm part) {
    return part.form == Form::kText || part.form == Form::kTextPart;
  };
  TagForm part = forms_[bytes_.peek()];
  if (!is_text(part)) {
    return false;
  }
  xml_.open_inline(element);
  TextTranscoder text(xml_);
  for (; is_text(part) && bytes_.has(1U + part.bytes); part = forms_[bytes_.peek()]) {
    if (!text.copy(bytes_, static_cast<std::size_t>(take_number(part)))) {
      return false;
    }
    if (part.form == Form::kText) {
      text.finish();
      xml_.close_inline(element);
      return true;
    }
  }
  return false;
}

bool Hessian2Reader::read_binary() {
  return read_bytes(name::kBinary, [this](int tag) -> Chunk {
    const TagForm part = forms_[tag];
    if (part.form != Form::kBinary && part.form != Form::kBinaryPart) {
      return {};
    }
    std::size_t size = static_cast<unsigned char>(part.high);
    for (std::size_t i = 1; i <= part.bytes; ++i) {
      size = size << 8 | static_cast<std::size_t>(bytes_.peek(i) & 0xFF);
    }
    return {1U + part.bytes, size, part.form == Form::kBinary};
  });
}

bool Hessian2Reader::read_int(int& value) {
  const TagForm form = forms_[bytes_.peek()];
  if ((form.form != Form::kCompactInt && form.form != Form::kInt) || !bytes_.has(1U + form.bytes)) {
    return false;
  }
  value = static_cast<int>(take_number(form));
  return true;
}

bool Hessian2Reader::read_integer(const ElementName& element, std::size_t size) {
  if (!bytes_.has(1 + size)) {
    return false;
  }
  bytes_.skip(1);
  xml_.integer(element, bytes_.take_signed(size));
  return true;
}

bool Hessian2Reader::read_date(std::size_t size, std::int64_t milliseconds_per_unit) {
  if (!bytes_.has(1 + size)) {
    return false;
  }
  bytes_.skip(1);
  const std::int64_t milliseconds = bytes_.take_signed(size) * milliseconds_per_unit;
  char number[24];
  const auto printed = std::to_chars(number, number + sizeof number, milliseconds);
  char text[kDateTextSize];
  const std::size_t length = convert_date(milliseconds, text);
  xml_.append("<date ms=\"");
  xml_.append({number, static_cast<std::size_t>(printed.ptr - number)});
  xml_.append("\">");
  xml_.append({text, length});
  xml_.close_inline(name::kDate);
  return true;
}

bool Hessian2Reader::read_reference(std::int64_t number) {
  if (number < 0 || number >= containers_) {
    return false;
  }
  xml_.integer(name::kRef, number);
  return true;
}

bool Hessian2Reader::read_class_definition() {
  bytes_.skip(1);
  xml_.open_container(name::kClassDefinition);
  int fields = 0;
  if (!read_text(name::kClassName) || !read_int(fields) || fields < 0) {
    return false;
  }
  for (int i = 0; i < fields; ++i) {
    if (!read_text(name::kString)) {
      return false;
    }
  }
  xml_.close_container(name::kClassDefinition);
  class_fields_.push_back(fields);
  return true;
}

bool Hessian2Reader::read_numbered_object() {
  const std::size_t start = bytes_.position();
  bytes_.skip(1);
  int number = 0;
  if (!read_int(number) || !is_class(number)) {
    bytes_.seek(start);
    return false;
  }
  return read_fields(number);
}

bool Hessian2Reader::read_fields(int class_number) {
  add_container();
  xml_.open_container(name::kObject);
  xml_.integer(name::kClassRef, class_number);
  if (!read_values(
          static_cast<std::size_t>(class_fields_[static_cast<std::size_t>(class_number)]))) {
    return false;
  }
  xml_.close_container(name::kObject);
  return true;
}

bool Hessian2Reader::read_values(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!read_value()) {
      return false;
    }
  }
  return true;
}

bool Hessian2Reader::read_until(int end, bool pairs) {
  while (bytes_.peek() != end) {
    if (!read_value() || (pairs && !read_value())) {
      return false;
    }
  }
  bytes_.skip(1);
  return true;
}

void Hessian2Reader::write_double(double value) {
  std::array<char, 400> text;  // the largest double has 309 digits before the point
  xml_.scalar(name::kDouble, double_text(value, text));
}

}  // namespace wz::hessian
