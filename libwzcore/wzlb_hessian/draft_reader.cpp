// Hessian 1, whose codes the draft of Hessian 2 keeps, and what the draft adds on free bytes.
#include <bit>

#include "libwzcore/wzlb_hessian/hessian2_dialects.h"

namespace wz::hessian {
namespace {

constexpr TagForms kForms = [] {
  TagForms forms;
  forms.add('S', Form::kText, 2);
  forms.add('s', Form::kTextPart, 2);
  forms.add('B', Form::kBinary, 2);
  forms.add('b', Form::kBinaryPart, 2);
  forms.add('w', Form::kLong, 4);
  return forms;
}();

constexpr std::size_t kShortHead = 3;  // a tag and a length of two bytes

}  // namespace

DraftReader::DraftReader(std::span<const std::uint8_t> bytes) noexcept
    : Hessian2Reader(bytes, kForms) {}

bool DraftReader::read_dialect_value(int tag) {
  switch (tag) {
    case 'x':
    case 'X':
      return read_xml();
    case 'd':
      return read_date(sizeof(std::int64_t), 1);
    case 'J':
      return read_short_reference(1);
    case 'K':
      return read_short_reference(2);
    case 'R':
      return read_short_reference(4);
    case 'M':
      return read_map();
    case 'V':
      return read_list();
    case 'v':
      return read_numbered_list();
    case 'O':
      while (bytes_.peek() == 'O') {
        if (!read_class_definition()) {
          return false;
        }
      }
      return read_value();
    case 'o':
      return read_numbered_object();
    case 'r':
      return bytes_.peek(1) == 't' && read_remote();
    default:
      return tag >= 0x67 && tag <= 0x6B && read_scaled_double(tag);
  }
}

bool DraftReader::read_scaled_double(int tag) {
  constexpr std::size_t kSizes[] = {0, 0, 1, 2, 4};  // of 67 (0.0), 68 (1.0), 69, 6a and 6b
  const std::size_t size = kSizes[tag - 0x67];
  if (!bytes_.has(1 + size)) {
    return false;
  }
  bytes_.skip(1);
  if (size == 0) {
    write_double(tag == 0x68 ? 1.0 : 0.0);
  } else if (size == sizeof(float)) {
    write_double(std::bit_cast<float>(static_cast<std::uint32_t>(bytes_.take_unsigned(size))));
  } else {
    write_double(static_cast<double>(bytes_.take_signed(size)));
  }
  return true;
}

bool DraftReader::read_short_reference(std::size_t size) {
  const std::size_t start = bytes_.position();
  if (!bytes_.has(1 + size)) {
    return false;
  }
  bytes_.skip(1);
  if (!read_reference(static_cast<std::int64_t>(bytes_.take_unsigned(size)))) {
    bytes_.seek(start);
    return false;
  }
  return true;
}

bool DraftReader::read_short_text(const ElementName& element) {
  if (!bytes_.has(kShortHead)) {
    return false;
  }
  const std::size_t units = length_behind_tag();
  bytes_.skip(kShortHead);
  xml_.open_inline(element);
  TextTranscoder text(xml_);
  if (!text.copy(bytes_, units)) {
    return false;
  }
  text.finish();
  xml_.close_inline(element);
  return true;
}

bool DraftReader::read_xml() {
  xml_.open_inline(name::kXml);
  TextTranscoder text(xml_);
  for (int tag = bytes_.peek(); (tag == 'x' || tag == 'X') && bytes_.has(kShortHead);
       tag = bytes_.peek()) {
    const std::size_t units = length_behind_tag();
    bytes_.skip(kShortHead);
    if (!text.copy(bytes_, units)) {
      return false;
    }
    if (tag == 'X') {
      text.finish();
      xml_.close_inline(name::kXml);
      return true;
    }
  }
  return false;
}

bool DraftReader::read_optional_type() {
  if (bytes_.peek() == 't') {
    add_type();
    return read_short_text(name::kType);
  }
  if (bytes_.peek() != 'u') {
    return true;
  }
  const std::size_t start = bytes_.position();
  bytes_.skip(1);
  int number = 0;
  if (!read_int(number) || !is_type(number)) {
    bytes_.seek(start);
    return false;
  }
  xml_.integer(name::kTypeRef, number);
  return true;
}

bool DraftReader::read_optional_length() {
  const int tag = bytes_.peek();
  if (tag != 'l' && tag != 'n') {
    return true;
  }
  const std::size_t size = tag == 'l' ? sizeof(std::int32_t) : 1;
  if (!bytes_.has(1 + size)) {
    return false;
  }
  bytes_.skip(1);
  xml_.integer(name::kLength, tag == 'l' ? bytes_.take_signed(size)
                                         : static_cast<std::int64_t>(bytes_.take_unsigned(size)));
  return true;
}

bool DraftReader::read_list() {
  add_container();
  bytes_.skip(1);
  xml_.open_container(name::kList);
  if (!read_optional_type() || !read_optional_length() || !read_until('z', false)) {
    return false;
  }
  xml_.close_container(name::kList);
  return true;
}

// A list of a known type: its number, the length and the values, without an end.
bool DraftReader::read_numbered_list() {
  const std::size_t start = bytes_.position();
  bytes_.skip(1);
  int type = 0;
  int length = 0;
  if (!read_int(type) || !is_type(type) || !read_int(length) || length < 0) {
    bytes_.seek(start);
    return false;
  }
  add_container();
  xml_.open_container(name::kDraftList);
  xml_.integer(name::kDraftListType, type);
  xml_.integer(name::kDraftListLength, length);
  if (!read_values(static_cast<std::size_t>(length))) {
    return false;
  }
  xml_.close_container(name::kDraftList);
  return true;
}

bool DraftReader::read_map() {
  add_container();
  bytes_.skip(1);
  xml_.open_container(name::kTypedMap);
  if (!read_optional_type() || !read_until('z', true)) {
    return false;
  }
  xml_.close_container(name::kTypedMap);
  return true;
}

// A remote object: its type and the text of its address. It takes no reference number.
bool DraftReader::read_remote() {
  bytes_.skip(1);
  xml_.open_container(name::kRemote);
  if (!read_short_text(name::kType) || !read_text(name::kString)) {
    return false;
  }
  xml_.close_container(name::kRemote);
  return true;
}

bool DraftReader::read_frame() {
  const bool is_call = bytes_.peek() == 'c';
  const ElementName& element = is_call ? name::kCall1 : name::kReply1;
  bytes_.skip(1);
  xml_.open_container(element);
  const char version[] = {static_cast<char>('0' + bytes_.peek()), '.',
                          static_cast<char>('0' + bytes_.peek(1))};
  bytes_.skip(2);
  xml_.scalar(name::kVersion, {version, sizeof version});
  if (!read_headers() || !(is_call ? read_call() : read_reply())) {
    return false;
  }
  xml_.close_container(element);
  return true;
}

bool DraftReader::read_headers() {
  while (bytes_.peek() == 'H') {
    xml_.open_container(name::kHeader);
    if (!read_short_text(name::kString) || !read_value()) {
      return false;
    }
    xml_.close_container(name::kHeader);
  }
  return true;
}

bool DraftReader::read_call() {
  return bytes_.peek() == 'm' && read_short_text(name::kMethod) && read_until('z', false);
}

bool DraftReader::read_reply() {
  if (!(bytes_.peek() == 'f' ? read_fault() : read_value()) || bytes_.peek() != 'z') {
    return false;
  }
  bytes_.skip(1);
  return true;
}

bool DraftReader::read_fault() {
  bytes_.skip(1);
  xml_.open_container(name::kFault);
  if (!read_until('z', true)) {
    return false;
  }
  xml_.close_container(name::kFault);
  return true;
}

}  // namespace wz::hessian
