// A document as the encoders read it: its elements in document order, one behind the other, with
// what the encoders want to know about each counted while it is built.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "libwzcore/wzlb_hessian/elements.h"
#include "libwzcore/wzlb_hessian/number_text.h"

struct _xmlNode;

namespace wz::hessian {

struct Node {
  std::size_t text = 0;  // where it begins; the milliseconds themselves where these count
  std::uint32_t text_size = 0;
  std::uint32_t size = 1;    // nodes: this one and those inside of it
  std::uint64_t parts = 0;   // the elements inside of it, those of unknown ones too, a bit each
  std::uint32_t values = 0;  // how many of these are values
  Element element = Element::kUnknown;
  bool is_text_owned = false;  // by the document, which else points into its source
  bool is_instant = false;     // a date whose attribute tells the milliseconds

  [[nodiscard]] const Node* behind() const noexcept { return this + size; }
};

// Runs `action(node)` on the elements inside of `parent`, those of unknown ones in their place,
// until one returns false.
template <typename Action>
bool for_each_child(const Node& parent, const Action& action) {
  const Node* const end = parent.behind();
  for (const Node* node = &parent + 1; node != end;) {
    if (node->element == Element::kUnknown) {
      ++node;
    } else if (action(*node)) {
      node = node->behind();
    } else {
      return false;
    }
  }
  return true;
}

class Document {
 public:
  // Documents of version 1 have other names and keep what stands between their elements.
  explicit Document(int version) noexcept : version_(version) {}

  // Takes a text that need not be XML. False, with nothing to be relied on, for all but the plain
  // form that this library writes and people copy: elements, attributes without references, text,
  // character references. What it takes means what an XML parser says; what it does not take may
  // be right or wrong. `xml` must outlive this.
  bool read(std::string_view xml);
  // Takes nodes of libxml2 and their siblings behind them.
  void copy(const _xmlNode* first);

  // Its children are the outermost nodes.
  [[nodiscard]] const Node& top() const noexcept { return nodes_.front(); }
  [[nodiscard]] std::string_view text(const Node& node) const noexcept {
    return {(node.is_text_owned ? owned_.data() : source_.data()) + node.text, node.text_size};
  }
  [[nodiscard]] static std::int64_t instant(const Node& node) noexcept {
    return static_cast<std::int64_t>(node.text);
  }

 private:
  friend class DocumentReader;
  friend class TreeCopier;

  void begin(std::string_view source) {
    source_ = source;
    owned_.clear();
    constexpr std::size_t kUsualSize = 32;  // bytes of XML for a node
    nodes_.clear();
    nodes_.reserve(source.size() / kUsualSize + 16);
    nodes_.emplace_back();
  }
  void end() noexcept { nodes_.front().size = static_cast<std::uint32_t>(nodes_.size()); }
  // Begins an element; its number.
  std::size_t open(std::string_view name) {
    nodes_.push_back(Node{.element = element_of(name, version_)});
    return last();
  }
  // Likewise for a short name in a longer text, but false for one that has no meaning here.
  bool open_known(std::string_view name) {
    const Element element = element_of_short(name, version_);
    if (element != Element::kUnknown) {
      nodes_.push_back(Node{.element = element});
    }
    return element != Element::kUnknown;
  }
  [[nodiscard]] std::size_t last() const noexcept { return nodes_.size() - 1; }
  void close(std::size_t number, std::size_t parent) noexcept {
    Node& node = nodes_[number];
    Node& outer = nodes_[parent];
    node.size = static_cast<std::uint32_t>(nodes_.size() - number);
    const bool is_known = node.element != Element::kUnknown;
    outer.parts |= is_known ? std::uint64_t{1} << static_cast<int>(node.element) : node.parts;
    outer.values += is_known ? (is_value(node.element) ? 1 : 0) : node.values;
  }
  // `value` is the attribute "ms", which counts in dates of version 2.
  void set_instant(std::size_t number, std::string_view value) noexcept {
    Node& node = nodes_[number];
    if (node.element == Element::kDate && version_ != 1) {
      node.is_instant = true;
      node.text = static_cast<std::size_t>(integer_from(value));
      node.text_size = 0;
    }
  }
  void add_break() {
    if (version_ == 1) {
      nodes_.push_back(Node{.element = Element::kBreak});
    }
  }

  int version_;
  std::string_view source_;
  std::string owned_;
  std::vector<Node> nodes_;
};

}  // namespace wz::hessian
