// XML to Hessian 2: the messages; their values are written by ValueEncoder.
#include <wz/wzlb_hessian.h>

#include <algorithm>

#include "libwzcore/wzlb_hessian/document_encoders.h"
#include "libwzcore/wzlb_hessian/hessian2_values.h"

namespace wz::hessian {
namespace {

constexpr int kMaxDepth = 1000;

// A packet of an envelope and what stands around it.
struct Part {
  std::vector<const Node*> headers;
  const Node* packet = nullptr;
  std::vector<const Node*> footers;
};

// A "length" stands in front of the headers and of the footers of each part: the second one behind
// a packet begins the next part.
std::vector<Part> parts_of(const Node& envelope) {
  std::vector<Part> parts;
  bool footers_began = false;
  for_each_child(envelope, [&](const Node& node) {
    const Element element = node.element;
    const bool has_packet = !parts.empty() && parts.back().packet != nullptr;
    if (element == Element::kLength && has_packet && !footers_began) {
      footers_began = true;
    } else if (element == Element::kLength || element == Element::kPacket ||
               element == Element::kHeader) {
      if (parts.empty() || (has_packet && element != Element::kHeader)) {
        parts.emplace_back();
        footers_began = false;
      }
      Part& part = parts.back();
      if (element == Element::kPacket) {
        part.packet = &node;
      } else if (element == Element::kHeader) {
        (part.packet != nullptr ? part.footers : part.headers).push_back(&node);
      }
    }
    return true;
  });
  return parts;
}

class MessageEncoder {
 public:
  MessageEncoder(const Document& document, unsigned char* out) noexcept
      : values_(document, out), out_(values_.out()) {}

  [[nodiscard]] unsigned char* position() const noexcept { return out_.position(); }

  // What stands inside of `parent`, on the outermost level.
  bool encode_children(const Node& parent, int depth) {
    if (depth > kMaxDepth) {
      return false;
    }
    const Node* const end = parent.behind();
    for (const Node* node = &parent + 1; node != end; node = node->behind()) {
      if (!encode_top(*node, depth)) {
        return false;
      }
    }
    return true;
  }

 private:
  bool encode_top(const Node& node, int depth) {
    switch (node.element) {
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
        return write_frame(node);
      case Element::kUnknown:
        return encode_children(node, depth + 1);
      default:
        return values_.write_item(node);
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

  bool write_call(const Node& node) {
    const Node* method = child(node, Element::kMethod);
    if (method == nullptr) {
      return false;
    }
    out_.byte('C');
    out_.text(values_.text(*method));
    out_.integer(static_cast<int>(node.values));
    return values_.write_items(node);
  }

  bool write_reply(const Node& node) {
    if (const Node* fault = child(node, Element::kFault)) {
      return write_fault(*fault);
    }
    out_.byte('R');
    return node.values == 1 && values_.write_items(node);
  }

  // Pairs by themselves are a map without a type; a single map stands for them.
  bool write_fault(const Node& node) {
    out_.byte('F');
    const bool is_map = node.values == 1 && child(node, Element::kMap) != nullptr;
    return is_map ? values_.write_items(node) : values_.write_pairs(node);
  }

  bool write_envelope(const Node& node) {
    const Node* method = child(node, Element::kMethod);
    if (method == nullptr) {
      return false;
    }
    out_.byte('E');
    out_.text(values_.text(*method));
    for (const Part& part : parts_of(node)) {
      if (part.packet == nullptr || !write_headers(part.headers)) {
        return false;
      }
      out_.packet(values_.bytes(*part.packet));
      if (!write_headers(part.footers)) {
        return false;
      }
    }
    out_.byte('Z');
    return true;
  }

  bool write_headers(const std::vector<const Node*>& headers) {
    out_.integer(static_cast<int>(headers.size()));
    return std::all_of(headers.begin(), headers.end(),
                       [this](const Node* header) { return write_header(*header); });
  }

  // The name and one value.
  bool write_header(const Node& node) {
    const Node* name = child(node, Element::kString);
    if (name == nullptr || node.values != 2) {
      return false;
    }
    if (out_.is_final()) {
      return values_.write_items(node);
    }
    out_.short_text('H', values_.text(*name));
    return for_each_child(
        node, [&](const Node& part) { return &part == name || values_.write_item(part); });
  }

  bool write_frame(const Node& node) {
    const bool is_call = node.element == Element::kFrameCall;
    out_.set_dialect(Dialect::kOne);
    out_.byte(is_call ? 'c' : 'r');
    const Node* version = child(node, Element::kVersion);
    out_.byte(version != nullptr ? values_.integer(*version) : 1);
    out_.byte(0);
    const bool written =
        for_each_child(node, [this](const Node& part) { return write_frame_part(part); });
    out_.byte('z');
    out_.set_dialect(Dialect::kFinal);
    const bool complete = is_call ? child(node, Element::kMethod) != nullptr
                                  : child(node, Element::kFault) != nullptr || node.values == 1;
    return written && complete;
  }

  bool write_frame_part(const Node& part) {
    switch (part.element) {
      case Element::kHeader:
        return write_header(part);
      case Element::kMethod:
        return out_.short_text('m', values_.text(part)), true;
      case Element::kFault:
        out_.byte('f');
        return values_.write_items(part) && (out_.byte('z'), true);
      default:
        return values_.write_item(part);
    }
  }

  ValueEncoder values_;
  Hessian2Writer& out_;
  bool is_started_ = false;
};

}  // namespace

char* encode_version_2(const Document& document, char* target, int depth) {
  MessageEncoder encoder(document, reinterpret_cast<unsigned char*>(target));
  return encoder.encode_children(document.top(), depth)
             ? reinterpret_cast<char*>(encoder.position())
             : nullptr;
}

}  // namespace wz::hessian

void GetElements2(struct _xmlNode* a_node, char* buf, int depth, int* offset) {
  if (buf == nullptr || offset == nullptr) {
    return;
  }
  wz::hessian::Document document(2);
  document.copy(a_node);
  const char* const end = wz::hessian::encode_version_2(document, buf + *offset, depth);
  *offset = end != nullptr ? static_cast<int>(end - buf) : -1;
}
