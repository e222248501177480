// XML to Hessian 2. A container's values are counted before they are written, so the counts of the
// document need not be right; what the wire cannot say (a key without a value, a reference to
// nothing, fields that their class does not have) is a failure.
#include <wz/wzlb_hessian.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "libwzcore/wzlb_encode_decode/base64_core.h"
#include "libwzcore/wzlb_hessian/hessian2_bytes.h"
#include "libwzcore/wzlb_hessian/hessian2_elements.h"
#include "libwzcore/wzlb_hessian/xml_node.h"

namespace wz::hessian {
namespace {

constexpr int kMaxDepth = 1000;
constexpr std::size_t kMaxCompactLength = 7;
constexpr int kMaxCompactClass = 15;

int integer_of(const xmlNode* node) noexcept {
  const long long value = std::strtoll(NodeText(node).c_str(), nullptr, 10);
  return static_cast<int>(value);
}

// "%Y-%m-%d %H:%M:%S.mmm" in local time, or a number of milliseconds.
std::int64_t milliseconds_of(const char* text) noexcept {
  tm local{};
  const char* rest = strptime(text, "%Y-%m-%d %H:%M:%S", &local);
  if (rest == nullptr) {
    return std::strtoll(text, nullptr, 10);
  }
  local.tm_isdst = -1;
  const std::int64_t seconds = mktime(&local);
  return seconds * 1000 + (*rest == '.' ? std::strtol(rest + 1, nullptr, 10) : 0);
}

// The instant of a date: its attribute, which no time zone touches, else its text.
std::int64_t instant_of(const xmlNode* node) noexcept {
  for (const xmlAttr* attribute = node->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (std::strcmp(reinterpret_cast<const char*>(attribute->name), "ms") == 0 &&
        attribute->children != nullptr) {
      return std::strtoll(reinterpret_cast<const char*>(attribute->children->content), nullptr, 10);
    }
  }
  return milliseconds_of(NodeText(node).c_str());
}

// The bytes of base64; line breaks and other foreign characters are passed over.
std::string bytes_of_base64(std::string_view text) {
  std::string digits;
  digits.reserve(text.size() + 3);
  for (const char c : text) {
    if (base64::in_alphabet(static_cast<unsigned char>(c))) {
      digits += c;
    }
  }
  const std::size_t size = digits.size() * 3 / 4;
  digits.append((4 - digits.size() % 4) % 4, 'A');
  std::string bytes(digits.size() / 4 * 3, '\0');
  base64::decode(reinterpret_cast<const unsigned char*>(digits.data()), digits.size(),
                 reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
  bytes.resize(size);
  return bytes;
}

class Encoder {
 public:
  explicit Encoder(unsigned char* out) noexcept : start_(out), out_(out) {}

  [[nodiscard]] unsigned char* position() const noexcept { return out_.position(); }

  // `first` and its siblings, as they stand on the outermost level.
  bool encode_document(const xmlNode* first, int depth) {
    if (depth > kMaxDepth) {
      return false;
    }
    for (const xmlNode* node = first; node != nullptr; node = node->next) {
      if (node->type == XML_ELEMENT_NODE && !encode_top(node, depth)) {
        return false;
      }
    }
    return true;
  }

 private:
  static Element kind_of(const xmlNode* node) noexcept { return element_of(name_of(node)); }

  bool encode_top(const xmlNode* node, int depth) {
    const Element element = kind_of(node);
    switch (element) {
      case Element::kHessianVersion:
        start_message();
        return true;
      case Element::kCall:
        start_message();
        return write_call(node);
      case Element::kReply:
        start_message();
        return write_reply(node);
      case Element::kFault:
        start_message();
        return write_fault(node);
      case Element::kEnvelope:
        start_message();
        return write_envelope(node);
      case Element::kFrameCall:
      case Element::kFrameReply:
        return write_frame(node, element == Element::kFrameCall);
      case Element::kUnknown:
        return encode_document(node->children, depth + 1);
      default:
        return write_item(node, element);
    }
  }

  // "H 2 0", once.
  void start_message() {
    if (!is_started_) {
      is_started_ = true;
      out_.byte('H');
      out_.byte(2);
      out_.byte(0);
    }
  }

  // Runs `action(node, element)` on every child element, those of unknown ones in their place,
  // until one returns false.
  template <typename Action>
  static bool for_each_child(const xmlNode* parent, const Action& action) {
    for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
      if (node->type != XML_ELEMENT_NODE) {
        continue;
      }
      const Element element = kind_of(node);
      const bool go_on =
          element == Element::kUnknown ? for_each_child(node, action) : action(node, element);
      if (!go_on) {
        return false;
      }
    }
    return true;
  }

  static const xmlNode* child(const xmlNode* parent, Element wanted) {
    const xmlNode* found = nullptr;
    for_each_child(parent, [&](const xmlNode* node, Element element) {
      found = element == wanted ? node : nullptr;
      return found == nullptr;
    });
    return found;
  }

  static std::size_t count(const xmlNode* parent, bool (*counts)(Element)) {
    std::size_t number = 0;
    for_each_child(parent, [&](const xmlNode*, Element element) {
      number += counts(element) ? 1 : 0;
      return true;
    });
    return number;
  }

  // A value, or a class definition in front of one; parts of containers write nothing here.
  bool write_item(const xmlNode* node, Element element) {
    if (element == Element::kClassDefinition) {
      return write_class_definition(node);
    }
    return !is_value(element) || write_value(node, element);
  }

  bool write_items(const xmlNode* parent) {
    return for_each_child(
        parent, [this](const xmlNode* node, Element element) { return write_item(node, element); });
  }

  bool write_value(const xmlNode* node, Element element) {
    const NodeText text(node);
    switch (element) {
      case Element::kNull:
        return out_.byte('N'), true;
      case Element::kBoolean:
        return out_.byte(std::atoi(text.c_str()) == 1 ? 'T' : 'F'), true;
      case Element::kInt:
        return out_.integer(integer_of(node)), true;
      case Element::kLong:
        return out_.long_integer(std::strtoll(text.c_str(), nullptr, 10)), true;
      case Element::kDouble:
        return out_.real(std::strtod(text.c_str(), nullptr)), true;
      case Element::kDate:
        return out_.date(instant_of(node)), true;
      case Element::kString:
        return out_.text(text.view()), true;
      case Element::kXml:
        return out_.xml(text.view()), true;
      case Element::kBinary:
        return out_.binary(bytes_of_base64(text.view())), true;
      case Element::kRef:
        return write_reference(integer_of(node));
      default:
        return write_container(node, element);
    }
  }

  bool write_reference(int number) {
    if (number < 0 || number >= containers_) {
      return false;
    }
    out_.reference(number);
    return true;
  }

  bool write_container(const xmlNode* node, Element element) {
    if (depth_ == kMaxDepth) {
      return false;
    }
    ++depth_;
    containers_ += element == Element::kRemote ? 0 : 1;
    bool written = false;
    switch (element) {
      case Element::kMap:
        written = write_map(node);
        break;
      case Element::kVarList:
      case Element::kFixedList:
        written = out_.is_final() ? write_list(node, element) : write_framed_list(node);
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

  // The type of a list or map behind its tag; `type` may be null in a frame, where it is optional.
  bool write_type(const xmlNode* name, const xmlNode* number) {
    if (name != nullptr) {
      const NodeText text(name);
      out_.is_final() ? out_.text(text.view()) : out_.short_text('t', text.view());
      ++types_;
      return true;
    }
    if (number == nullptr) {
      return true;
    }
    const int index = integer_of(number);
    if (index < 0 || index >= types_) {
      return false;
    }
    if (!out_.is_final()) {
      out_.byte('u');
    }
    out_.integer(index);
    return true;
  }

  bool write_map(const xmlNode* node) {
    const xmlNode* name = child(node, Element::kTypeName);
    const xmlNode* number = child(node, Element::kTypeNumber);
    const bool typed = !out_.is_final() || name != nullptr || number != nullptr;
    out_.byte(typed ? 'M' : 'H');
    if (count(node, is_value) % 2 != 0 || !write_type(name, number) || !write_items(node)) {
      return false;
    }
    out_.byte(out_.is_final() ? 'Z' : 'z');
    return true;
  }

  bool write_list(const xmlNode* node, Element element) {
    const xmlNode* name = child(node, Element::kTypeName);
    const xmlNode* number = child(node, Element::kTypeNumber);
    const bool typed = name != nullptr || number != nullptr;
    if (element == Element::kVarList) {
      out_.byte(typed ? 'U' : 'W');
      if (!write_type(name, number) || !write_items(node)) {
        return false;
      }
      out_.byte('Z');
      return true;
    }
    const std::size_t length = count(node, is_value);
    const bool compact = length <= kMaxCompactLength;
    if (compact) {
      out_.byte(static_cast<int>((typed ? 0x70 : 0x78) + length));
    } else {
      out_.byte(typed ? 'V' : 'X');
    }
    if (!write_type(name, number)) {
      return false;
    }
    if (!compact) {
      out_.integer(static_cast<int>(length));
    }
    return write_items(node);
  }

  // In a frame: the draft's list of a known type where it is one, else type and length as given.
  bool write_framed_list(const xmlNode* node) {
    const xmlNode* number = child(node, Element::kTypeNumber);
    const int length = static_cast<int>(count(node, is_value));
    if (number != nullptr && child(node, Element::kLength) == nullptr) {
      const int type = integer_of(number);
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
    if (child(node, Element::kLength) != nullptr) {
      out_.byte('l');
      out_.number(static_cast<std::uint64_t>(length), 4);
    }
    if (!write_items(node)) {
      return false;
    }
    out_.byte('z');
    return true;
  }

  bool write_class_definition(const xmlNode* node) {
    const xmlNode* name = child(node, Element::kClassName);
    if (name == nullptr) {
      return false;
    }
    const int fields =
        static_cast<int>(count(node, [](Element element) { return element == Element::kString; }));
    out_.byte(out_.is_final() ? 'C' : 'O');
    out_.text(NodeText(name).view());
    out_.integer(fields);
    class_fields_.push_back(fields);
    return write_items(node);
  }

  bool write_object(const xmlNode* node) {
    const xmlNode* reference = child(node, Element::kClassNumber);
    const int number = reference != nullptr ? integer_of(reference) : -1;
    // Definitions may stand among the fields, but not that of the object itself.
    if (number < 0 || static_cast<std::size_t>(number) >= class_fields_.size() ||
        static_cast<int>(count(node, is_value)) !=
            class_fields_[static_cast<std::size_t>(number)]) {
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
  bool write_remote(const xmlNode* node) {
    const xmlNode* type = child(node, Element::kTypeName);
    const xmlNode* address = child(node, Element::kString);
    const bool has_place = !out_.is_final() || out_.position() == start_;
    if (type == nullptr || address == nullptr || !has_place) {
      return false;
    }
    out_.byte('r');
    out_.short_text('t', NodeText(type).view());
    out_.text(NodeText(address).view());
    return true;
  }

  bool write_call(const xmlNode* node) {
    const xmlNode* method = child(node, Element::kMethod);
    if (method == nullptr) {
      return false;
    }
    out_.byte('C');
    out_.text(NodeText(method).view());
    out_.integer(static_cast<int>(count(node, is_value)));
    return write_items(node);
  }

  bool write_reply(const xmlNode* node) {
    if (const xmlNode* fault = child(node, Element::kFault)) {
      return write_fault(fault);
    }
    out_.byte('R');
    return count(node, is_value) == 1 && write_items(node);
  }

  // Pairs by themselves are a map without a type; a single map stands for them.
  bool write_fault(const xmlNode* node) {
    out_.byte('F');
    const std::size_t values = count(node, is_value);
    if (values == 1 && child(node, Element::kMap) != nullptr) {
      return write_items(node);
    }
    ++containers_;
    out_.byte('H');
    if (values % 2 != 0 || !write_items(node)) {
      return false;
    }
    out_.byte('Z');
    return true;
  }

  bool write_envelope(const xmlNode* node) {
    const xmlNode* method = child(node, Element::kMethod);
    if (method == nullptr) {
      return false;
    }
    out_.byte('E');
    out_.text(NodeText(method).view());
    for (const Part& part : parts_of(node)) {
      if (part.packet == nullptr || !write_headers(part.headers)) {
        return false;
      }
      out_.packet(bytes_of_base64(NodeText(part.packet).view()));
      if (!write_headers(part.footers)) {
        return false;
      }
    }
    out_.byte('Z');
    return true;
  }

  // A packet of an envelope and what stands around it.
  struct Part {
    std::vector<const xmlNode*> headers;
    const xmlNode* packet = nullptr;
    std::vector<const xmlNode*> footers;
  };

  // A "length" stands in front of the headers and of the footers of each part: the second one
  // behind a packet begins the next part.
  static std::vector<Part> parts_of(const xmlNode* envelope) {
    std::vector<Part> parts;
    bool footers_began = false;
    const auto begin_part = [&] {
      parts.emplace_back();
      footers_began = false;
    };
    for_each_child(envelope, [&](const xmlNode* node, Element element) {
      const bool has_packet = !parts.empty() && parts.back().packet != nullptr;
      if (element == Element::kLength && has_packet && !footers_began) {
        footers_began = true;
      } else if (element == Element::kLength || element == Element::kPacket ||
                 element == Element::kHeader) {
        const bool ends_part = has_packet && element != Element::kHeader;
        if (parts.empty() || ends_part) {
          begin_part();
        }
        Part& part = parts.back();
        if (element == Element::kPacket) {
          part.packet = node;
        } else if (element == Element::kHeader) {
          (part.packet != nullptr ? part.footers : part.headers).push_back(node);
        }
      }
      return true;
    });
    return parts;
  }

  bool write_headers(const std::vector<const xmlNode*>& headers) {
    out_.integer(static_cast<int>(headers.size()));
    return std::all_of(headers.begin(), headers.end(),
                       [this](const xmlNode* header) { return write_header(header); });
  }

  // The name and one value.
  bool write_header(const xmlNode* node) {
    const xmlNode* name = child(node, Element::kString);
    if (name == nullptr || count(node, is_value) != 2) {
      return false;
    }
    if (out_.is_final()) {
      return write_items(node);
    }
    out_.short_text('H', NodeText(name).view());
    return for_each_child(node, [&](const xmlNode* part, Element element) {
      return part == name || write_item(part, element);
    });
  }

  bool write_frame(const xmlNode* node, bool is_call) {
    out_.set_dialect(Dialect::kOne);
    out_.byte(is_call ? 'c' : 'r');
    const xmlNode* version = child(node, Element::kVersion);
    out_.byte(version != nullptr ? integer_of(version) : 1);
    out_.byte(0);
    const bool written = for_each_child(node, [this](const xmlNode* part, Element element) {
      switch (element) {
        case Element::kHeader:
          return write_header(part);
        case Element::kMethod:
          return out_.short_text('m', NodeText(part).view()), true;
        case Element::kFault:
          out_.byte('f');
          return write_items(part) && (out_.byte('z'), true);
        default:
          return write_item(part, element);
      }
    });
    out_.byte('z');
    out_.set_dialect(Dialect::kFinal);
    const bool complete =
        is_call ? child(node, Element::kMethod) != nullptr
                : child(node, Element::kFault) != nullptr || count(node, is_value) == 1;
    return written && complete;
  }

  const unsigned char* start_;
  Hessian2Writer out_;
  std::vector<int> class_fields_;
  int types_ = 0;
  int containers_ = 0;
  int depth_ = 0;
  bool is_started_ = false;
};

}  // namespace
}  // namespace wz::hessian

void GetElements2(struct _xmlNode* a_node, char* buf, int depth, int* offset) {
  using namespace wz::hessian;
  if (buf == nullptr || offset == nullptr) {
    return;
  }
  auto* const start = reinterpret_cast<unsigned char*>(buf) + *offset;
  Encoder encoder(start);
  *offset = encoder.encode_document(a_node, depth)
                ? *offset + static_cast<int>(encoder.position() - start)
                : -1;
}
