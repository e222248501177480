#include "libwzcore/wzlb_hessian/hessian2_reader.h"

#include <array>
#include <bit>
#include <charconv>

namespace wz::hessian {
namespace {

// A compact integer: the tag holds the high part, around `zero`, and `bytes` more follow.
struct CompactInteger {
  int first;
  int last;
  int zero;
  std::size_t bytes;
  bool is_long;
};

constexpr CompactInteger kCompactIntegers[] = {
    {0x80, 0xBF, 0x90, 0, false}, {0xC0, 0xCF, 0xC8, 1, false}, {0xD0, 0xD7, 0xD4, 2, false},
    {0xD8, 0xEF, 0xE0, 0, true},  {0xF0, 0xFF, 0xF8, 1, true},  {0x38, 0x3F, 0x3C, 2, true},
};

const CompactInteger* compact_integer(int tag) noexcept {
  for (const CompactInteger& form : kCompactIntegers) {
    if (tag >= form.first && tag <= form.last) {
      return &form;
    }
  }
  return nullptr;
}

// "%f" where that reads back as the same double, else as many digits as it needs. Bits, not values,
// are compared: minus zero is another double than zero.
std::string_view double_text(double value, std::span<char> room) noexcept {
  char* const start = room.data();
  char* const end = start + room.size();
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
  const Common outcome = read_common(tag);
  const bool read = outcome == Common::kOther ? read_dialect_value(tag) : outcome == Common::kRead;
  --depth_;
  return read;
}

Hessian2Reader::Common Hessian2Reader::read_common(int tag) {
  const auto result = [](bool read) { return read ? Common::kRead : Common::kFailed; };
  if (const CompactInteger* form = compact_integer(tag)) {
    const std::int64_t high = std::int64_t{tag - form->zero} * (std::int64_t{1} << 8 * form->bytes);
    if (!bytes_.has(1 + form->bytes)) {
      return Common::kFailed;
    }
    bytes_.skip(1);
    write_integer(form->is_long ? name::kLong : name::kInt,
                  high + static_cast<std::int64_t>(bytes_.take_unsigned(form->bytes)));
    return Common::kRead;
  }
  switch (tag) {
    case 'N':
      bytes_.skip(1);
      xml_.scalar(name::kNull, "");
      return Common::kRead;
    case 'T':
    case 'F':
      bytes_.skip(1);
      xml_.scalar(name::kBoolean, tag == 'T' ? "1" : "0");
      return Common::kRead;
    case 'I':
      return result(read_integer(name::kInt, sizeof(std::int32_t)));
    case 'L':
      return result(read_integer(name::kLong, sizeof(std::int64_t)));
    case 'D':
      if (!bytes_.has(1 + sizeof(double))) {
        return Common::kFailed;
      }
      bytes_.skip(1);
      write_double(bytes_.take_double());
      return Common::kRead;
    default:
      break;
  }
  if (text_chunk(tag).head != 0) {
    return result(read_text(name::kString));
  }
  return binary_chunk(tag).head != 0 ? result(read_binary()) : Common::kOther;
}

std::size_t Hessian2Reader::length_behind_tag() const noexcept {
  return bytes_.has(3) ? static_cast<std::size_t>(bytes_.peek(1) << 8 | bytes_.peek(2)) : 0;
}

bool Hessian2Reader::read_text(std::string_view element) {
  Chunk part = text_chunk(bytes_.peek());
  if (part.head == 0) {
    return false;
  }
  xml_.open_inline(element);
  TextTranscoder text(xml_);
  while (part.head != 0 && bytes_.has(part.head)) {
    bytes_.skip(part.head);
    if (!text.copy(bytes_, part.size)) {
      return false;
    }
    if (part.is_last) {
      text.finish();
      xml_.close_inline(element);
      return true;
    }
    part = text_chunk(bytes_.peek());
  }
  return false;
}

bool Hessian2Reader::read_binary() {
  return read_bytes(name::kBinary, [this](int tag) { return binary_chunk(tag); });
}

bool Hessian2Reader::read_int(int& value) {
  const int tag = bytes_.peek();
  const CompactInteger* form = compact_integer(tag);
  if (form != nullptr && !form->is_long && bytes_.has(1 + form->bytes)) {
    bytes_.skip(1);
    value = (tag - form->zero) * (1 << 8 * form->bytes) +
            static_cast<int>(bytes_.take_unsigned(form->bytes));
    return true;
  }
  if (tag != 'I' || !bytes_.has(1 + sizeof(std::int32_t))) {
    return false;
  }
  bytes_.skip(1);
  value = static_cast<int>(bytes_.take_signed(sizeof(std::int32_t)));
  return true;
}

bool Hessian2Reader::read_integer(std::string_view element, std::size_t size, std::int64_t offset) {
  if (!bytes_.has(1 + size)) {
    return false;
  }
  bytes_.skip(1);
  write_integer(element, bytes_.take_signed(size) + offset);
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
  write_integer(name::kRef, number);
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

bool Hessian2Reader::read_fields(int class_number) {
  add_container();
  xml_.open_container(name::kObject);
  write_integer(name::kClassRef, class_number);
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

void Hessian2Reader::write_integer(std::string_view element, std::int64_t value) {
  char text[24];
  const auto end = std::to_chars(text, text + sizeof text, value);
  xml_.scalar(element, {text, static_cast<std::size_t>(end.ptr - text)});
}

void Hessian2Reader::write_double(double value) {
  std::array<char, 400> text;  // the largest double has 309 digits before the point
  xml_.scalar(name::kDouble, double_text(value, text));
}

}  // namespace wz::hessian
