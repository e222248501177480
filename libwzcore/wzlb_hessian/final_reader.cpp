// Hessian 2 as its final grammar has it.
#include "libwzcore/wzlb_hessian/hessian2_dialects.h"

namespace wz::hessian {
namespace {

constexpr TagForms kForms = [] {
  TagForms forms;
  forms.add(0x30, 0x33, Form::kText, 0, 1);
  forms.add('S', Form::kText, 2);
  forms.add('R', Form::kTextPart, 2);
  forms.add(0x34, 0x37, Form::kBinary, 0, 1);
  forms.add('B', Form::kBinary, 2);
  forms.add('A', Form::kBinaryPart, 2);
  forms.add('Y', Form::kLong, 4);
  return forms;
}();

constexpr int kOpenEnd = -1;  // instead of a list's length: values up to 'Z'
constexpr std::size_t kPacketHead = 3;
constexpr std::int64_t kMillisecondsPerMinute = 60000;

}  // namespace

FinalReader::FinalReader(std::span<const std::uint8_t> bytes) noexcept
    : Hessian2Reader(bytes, kForms) {}

bool FinalReader::read_dialect_value(int tag) {
  if (tag >= 0x60 && tag <= 0x6F) {
    return is_class(tag - 0x60) && (bytes_.skip(1), read_fields(tag - 0x60));
  }
  if (tag >= 0x70 && tag <= 0x77) {
    return read_typed_list(name::kFixedTypedList, &name::kCompactTypedLength, tag - 0x70);
  }
  if (tag >= 0x78 && tag <= 0x7F) {
    return read_untyped_list(name::kFixedUntypedList, &name::kCompactUntypedLength, tag - 0x78);
  }
  switch (tag) {
    case 'C':  // a definition is no value: one follows
      while (bytes_.peek() == 'C') {
        if (!read_class_definition()) {
          return false;
        }
      }
      return read_value();
    case 'H':
      return read_map(false);
    case 'M':
      return read_map(true);
    case 'J':
      return read_date(sizeof(std::int64_t), 1);
    case 'K':
      return read_date(sizeof(std::int32_t), kMillisecondsPerMinute);
    case 'O':
      return read_numbered_object();
    case 'Q':
      return read_reference_value();
    case 'U':
      return read_typed_list(name::kVarTypedList, nullptr, kOpenEnd);
    case 'V':
      return read_typed_list(name::kFixedTypedList, &name::kFixedTypedLength, 0);
    case 'W':
      return read_untyped_list(name::kVarUntypedList, nullptr, kOpenEnd);
    case 'X':
      return read_untyped_list(name::kFixedUntypedList, &name::kFixedUntypedLength, 0);
    default:
      return tag >= 0x5B && tag <= 0x5F && read_compact_double(tag);
  }
}

bool FinalReader::read_reference_value() {
  const std::size_t start = bytes_.position();
  bytes_.skip(1);
  int number = 0;
  if (!read_int(number) || !read_reference(number)) {
    bytes_.seek(start);
    return false;
  }
  return true;
}

bool FinalReader::read_compact_double(int tag) {
  constexpr std::size_t kSizes[] = {0, 0, 1, 2, 4};  // of 5b (0.0), 5c (1.0), 5d, 5e and 5f
  const std::size_t size = kSizes[tag - 0x5B];
  if (!bytes_.has(1 + size)) {
    return false;
  }
  bytes_.skip(1);
  if (size == 0) {
    write_double(tag == 0x5C ? 1.0 : 0.0);
    return true;
  }
  const auto number = static_cast<double>(bytes_.take_signed(size));
  // Thousandths are multiplied, not divided: peers compute 0.009000000000000001 from 9.
  write_double(size == sizeof(std::int32_t) ? 0.001 * number : number);
  return true;
}

// The name of a type, or the number that it got where its name stood.
bool FinalReader::read_type() {
  int number = 0;
  const std::size_t start = bytes_.position();
  if (read_int(number)) {
    if (!is_type(number)) {
      bytes_.seek(start);
      return false;
    }
    xml_.integer(name::kTypeRef, number);
    return true;
  }
  add_type();
  return read_text(name::kTypeName);
}

// `length` behind the tag where it has no byte of its own; a list with an own length is told by its
// tag, 'V' or 'X'.
bool FinalReader::read_typed_list(const ElementName& element, const ElementName* length_element,
                                  int length) {
  const bool own_length = bytes_.peek() == 'V';
  add_container();
  bytes_.skip(1);
  xml_.open_container(element);
  return read_type() && (!own_length || read_int(length)) &&
         read_list_items(element, length_element, length);
}

bool FinalReader::read_untyped_list(const ElementName& element, const ElementName* length_element,
                                    int length) {
  const bool own_length = bytes_.peek() == 'X';
  add_container();
  bytes_.skip(1);
  xml_.open_container(element);
  return (!own_length || read_int(length)) && read_list_items(element, length_element, length);
}

bool FinalReader::read_list_items(const ElementName& element, const ElementName* length_element,
                                  int length) {
  if (length_element == nullptr) {
    if (!read_until('Z', false)) {
      return false;
    }
  } else {
    if (length < 0) {
      return false;
    }
    xml_.integer(*length_element, length);
    if (!read_values(static_cast<std::size_t>(length))) {
      return false;
    }
  }
  xml_.close_container(element);
  return true;
}

bool FinalReader::read_map(bool typed) {
  add_container();
  bytes_.skip(1);
  xml_.open_container(name::kTypedMap);
  if ((typed && !read_type()) || !read_until('Z', true)) {
    return false;
  }
  xml_.close_container(name::kTypedMap);
  return true;
}

bool FinalReader::read_message() {
  switch (bytes_.peek()) {
    case 'C':
      return read_call();
    case 'R':
      bytes_.skip(1);
      xml_.open_container(name::kReply2);
      if (!read_value()) {
        return false;
      }
      xml_.close_container(name::kReply2);
      return true;
    case 'F':
      return read_fault();
    case 'E':
      return read_envelope();
    default:
      return false;
  }
}

bool FinalReader::read_call() {
  bytes_.skip(1);
  xml_.open_container(name::kCall2);
  int arguments = 0;
  if (!read_text(name::kMethod) || !read_int(arguments) || arguments < 0) {
    return false;
  }
  xml_.integer(name::kArgumentCount, arguments);
  if (!read_values(static_cast<std::size_t>(arguments))) {
    return false;
  }
  xml_.close_container(name::kCall2);
  return true;
}

// The pairs stand in the fault's own element, whether they came as a map or by themselves; they are
// container 0 either way. A map with a type keeps its element.
bool FinalReader::read_fault() {
  bytes_.skip(1);
  xml_.open_container(name::kFault);
  bool read = false;
  if (bytes_.peek() == 'M') {
    read = read_value();
  } else {
    add_container();
    if (bytes_.peek() == 'H') {
      bytes_.skip(1);
    }
    read = read_until('Z', true);
  }
  if (read) {
    xml_.close_container(name::kFault);
  }
  return read;
}

bool FinalReader::read_envelope() {
  bytes_.skip(1);
  xml_.open_container(name::kEnvelope);
  if (!read_text(name::kMethod)) {
    return false;
  }
  while (bytes_.peek() != 'Z') {
    if (!read_header_block() || !read_packet() || !read_header_block()) {
      return false;
    }
  }
  bytes_.skip(1);
  xml_.close_container(name::kEnvelope);
  return true;
}

// The headers in front of a packet, or the footers behind it.
bool FinalReader::read_header_block() {
  int count = 0;
  if (!read_int(count) || count < 0) {
    return false;
  }
  xml_.integer(name::kLength, count);
  for (int i = 0; i < count; ++i) {
    xml_.open_container(name::kHeader);
    if (!read_text(name::kString) || !read_value()) {
      return false;
    }
    xml_.close_container(name::kHeader);
  }
  return true;
}

bool FinalReader::read_packet() {
  const auto packet_chunk = [this](int tag) -> Chunk {
    if (tag == 'O' || tag == 'P') {
      return {kPacketHead, length_behind_tag(), tag == 'P'};
    }
    if (tag >= 0x70 && tag <= 0x7F) {
      return {2, static_cast<std::size_t>((tag - 0x70) << 8 | (bytes_.peek(1) & 0xFF)), true};
    }
    return tag >= 0x80 ? Chunk{1, static_cast<std::size_t>(tag - 0x80), true} : Chunk{};
  };
  return read_bytes(name::kPacket, packet_chunk);
}

}  // namespace wz::hessian
