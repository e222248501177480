#include "libwzcore/wzlb_hessian/hessian2_values.h"

#include <algorithm>
#include <ctime>

#include "libwzcore/wzlb_encode_decode/base64_core.h"

namespace wz::hessian {
namespace {

constexpr int kMaxDepth = 1000;
constexpr std::uint32_t kMaxCompactLength = 7;
constexpr int kMaxCompactClass = 15;

// "%Y-%m-%d %H:%M:%S.mmm" in local time, or a number of milliseconds.
std::int64_t milliseconds_of(std::string_view text) {
  const std::string date(text);
  tm local{};
  const char* rest = strptime(date.c_str(), "%Y-%m-%d %H:%M:%S", &local);
  if (rest == nullptr) {
    return integer_from(text);
  }
  local.tm_isdst = -1;
  const std::int64_t seconds = mktime(&local);
  return seconds * 1000 + (*rest == '.' ? integer_from(rest + 1) : 0);
}

bool in_alphabet(char c) noexcept {
  return base64::in_alphabet(static_cast<unsigned char>(c));
}

}  // namespace

const Node* child(const Node& parent, Element wanted) {
  const Node* found = nullptr;
  if ((parent.parts >> static_cast<int>(wanted) & 1) != 0) {
    for_each_child(parent, [&](const Node& node) {
      found = node.element == wanted ? &node : nullptr;
      return found == nullptr;
    });
  }
  return found;
}

// Line breaks and other foreign characters are passed over.
std::string_view ValueEncoder::bytes(const Node& node) {
  const std::string_view text = document_.text(node);
  const auto length = static_cast<std::size_t>(
      std::find_if_not(text.begin(), text.end(), in_alphabet) - text.begin());
  std::string digits(text.substr(0, length));
  std::copy_if(text.begin() + static_cast<std::ptrdiff_t>(length), text.end(),
               std::back_inserter(digits), in_alphabet);
  const std::size_t size = digits.size() * 3 / 4;
  digits.append((4 - digits.size() % 4) % 4, 'A');
  bytes_.resize(digits.size() / 4 * 3);
  base64::decode(reinterpret_cast<const unsigned char*>(digits.data()), digits.size(),
                 reinterpret_cast<unsigned char*>(bytes_.data()), bytes_.size());
  return std::string_view(bytes_).substr(0, size);
}

bool ValueEncoder::write_item(const Node& node) {
  if (node.element == Element::kClassDefinition) {
    return write_class_definition(node);
  }
  return !is_value(node.element) || write_value(node);
}

bool ValueEncoder::write_items(const Node& parent) {
  return for_each_child(parent, [this](const Node& node) { return write_item(node); });
}

bool ValueEncoder::write_value(const Node& node) {
  switch (node.element) {
    case Element::kNull:
      return out_.byte('N'), true;
    case Element::kBoolean:
      return out_.byte(integer(node) == 1 ? 'T' : 'F'), true;
    case Element::kInt:
      return out_.integer(integer(node)), true;
    case Element::kLong:
      return out_.long_integer(integer_from(text(node))), true;
    case Element::kDouble:
      return out_.real(double_from(text(node))), true;
    case Element::kDate:
      return out_.date(node.is_instant ? Document::instant(node) : milliseconds_of(text(node))),
             true;
    case Element::kString:
      return out_.text(text(node)), true;
    case Element::kXml:
      return out_.xml(text(node)), true;
    case Element::kBinary:
      return out_.binary(bytes(node)), true;
    case Element::kRef:
      return write_reference(integer(node));
    default:
      return write_container(node);
  }
}

bool ValueEncoder::write_reference(int number) {
  if (number < 0 || number >= containers_) {
    return false;
  }
  out_.reference(number);
  return true;
}

bool ValueEncoder::write_container(const Node& node) {
  if (depth_ == kMaxDepth) {
    return false;
  }
  ++depth_;
  containers_ += node.element == Element::kRemote ? 0 : 1;
  bool written = false;
  switch (node.element) {
    case Element::kMap:
      written = write_map(node);
      break;
    case Element::kVarList:
    case Element::kFixedList:
      written = out_.is_final() ? write_list(node) : write_framed_list(node);
      break;
    case Element::kObject:
      written = write_object(node);
      break;
    default:
      written = write_remote(node);
      break;
  }
  --depth_;
  return written;
}

// The type of a list or map behind its tag; in a frame, where it is optional, both may be null.
bool ValueEncoder::write_type(const Node* name, const Node* number) {
  if (name != nullptr) {
    out_.is_final() ? out_.text(text(*name)) : out_.short_text('t', text(*name));
    ++types_;
    return true;
  }
  if (number == nullptr) {
    return true;
  }
  const int index = integer(*number);
  if (index < 0 || index >= types_) {
    return false;
  }
  if (!out_.is_final()) {
    out_.byte('u');
  }
  out_.integer(index);
  return true;
}

bool ValueEncoder::write_map(const Node& node) {
  const Node* name = child(node, Element::kTypeName);
  const Node* number = child(node, Element::kTypeNumber);
  const bool typed = !out_.is_final() || name != nullptr || number != nullptr;
  out_.byte(typed ? 'M' : 'H');
  if (node.values % 2 != 0 || !write_type(name, number) || !write_items(node)) {
    return false;
  }
  out_.byte(out_.is_final() ? 'Z' : 'z');
  return true;
}

bool ValueEncoder::write_pairs(const Node& parent) {
  ++containers_;
  out_.byte('H');
  if (parent.values % 2 != 0 || !write_items(parent)) {
    return false;
  }
  out_.byte('Z');
  return true;
}

bool ValueEncoder::write_list(const Node& node) {
  const Node* name = child(node, Element::kTypeName);
  const Node* number = child(node, Element::kTypeNumber);
  const bool typed = name != nullptr || number != nullptr;
  if (node.element == Element::kVarList) {
    out_.byte(typed ? 'U' : 'W');
    if (!write_type(name, number) || !write_items(node)) {
      return false;
    }
    out_.byte('Z');
    return true;
  }
  const bool compact = node.values <= kMaxCompactLength;
  if (compact) {
    out_.byte((typed ? 0x70 : 0x78) + static_cast<int>(node.values));
  } else {
    out_.byte(typed ? 'V' : 'X');
  }
  if (!write_type(name, number)) {
    return false;
  }
  if (!compact) {
    out_.integer(static_cast<int>(node.values));
  }
  return write_items(node);
}

// In a frame: the draft's list of a known type where it is one, else type and length as given.
bool ValueEncoder::write_framed_list(const Node& node) {
  const Node* number = child(node, Element::kTypeNumber);
  const bool has_length = child(node, Element::kLength) != nullptr;
  const int length = static_cast<int>(node.values);
  if (number != nullptr && !has_length) {
    const int type = integer(*number);
    if (type < 0 || type >= types_) {
      return false;
    }
    out_.byte('v');
    out_.integer(type);
    out_.integer(length);
    return write_items(node);
  }
  out_.byte('V');
  if (!write_type(child(node, Element::kTypeName), number)) {
    return false;
  }
  if (has_length) {
    out_.byte('l');
    out_.number(static_cast<std::uint64_t>(length), 4);
  }
  if (!write_items(node)) {
    return false;
  }
  out_.byte('z');
  return true;
}

bool ValueEncoder::write_class_definition(const Node& node) {
  const Node* name = child(node, Element::kClassName);
  if (name == nullptr) {
    return false;
  }
  int fields = 0;
  for_each_child(node, [&](const Node& part) {
    fields += part.element == Element::kString ? 1 : 0;
    return true;
  });
  out_.byte(out_.is_final() ? 'C' : 'O');
  out_.text(text(*name));
  out_.integer(fields);
  class_fields_.push_back(fields);
  return write_items(node);
}

bool ValueEncoder::write_object(const Node& node) {
  const Node* reference = child(node, Element::kClassNumber);
  const int number = reference != nullptr ? integer(*reference) : -1;
  // Definitions may stand among the fields, but not that of the object itself.
  if (number < 0 || static_cast<std::size_t>(number) >= class_fields_.size() ||
      static_cast<int>(node.values) != class_fields_[static_cast<std::size_t>(number)]) {
    return false;
  }
  if (out_.is_final() && number <= kMaxCompactClass) {
    out_.byte(0x60 + number);
  } else {
    out_.byte(out_.is_final() ? 'O' : 'o');
    out_.integer(number);
  }
  return write_items(node);
}

// The final protocol has no remotes: outside of frames there is room for one only where readers
// look for it, at the start.
bool ValueEncoder::write_remote(const Node& node) {
  const Node* type = child(node, Element::kTypeName);
  const Node* address = child(node, Element::kString);
  const bool has_place = !out_.is_final() || out_.position() == start_;
  if (type == nullptr || address == nullptr || !has_place) {
    return false;
  }
  out_.byte('r');
  out_.short_text('t', text(*type));
  out_.text(text(*address));
  return true;
}

}  // namespace wz::hessian
