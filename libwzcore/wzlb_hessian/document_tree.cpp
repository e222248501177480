// Documents from trees of libxml2.
#include <libxml/tree.h>

#include <memory>

#include "libwzcore/wzlb_hessian/document.h"

namespace wz::hessian {
namespace {

struct FreeXmlText {
  void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};

std::string_view view(const xmlChar* text) noexcept {
  return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

// The milliseconds of a date; null where it has none.
const xmlChar* instant_of(const xmlNode* date) noexcept {
  for (const xmlAttr* attribute = date->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (view(attribute->name) == "ms" && attribute->children != nullptr) {
      return attribute->children->content;
    }
  }
  return nullptr;
}

}  // namespace

// Texts are collected in document order, so that the text of an element is one piece, whatever
// stands inside of it.
class TreeCopier {
 public:
  explicit TreeCopier(Document& document) : document_(document) {}

  void copy(const xmlNode* first) {
    open_.push_back({nullptr, 0});
    for (const xmlNode* node = first; node != nullptr || open_.size() > 1;) {
      if (node == nullptr) {
        node = end_element();
      } else if (node->type == XML_ELEMENT_NODE) {
        open_.push_back({node, document_.open(view(node->name))});
        document_.nodes_.back().text = document_.owned_.size();
        node = node->children;
      } else {
        copy_text(node);
        document_.add_break();
        node = node->next;
      }
    }
  }

 private:
  struct Open {
    const xmlNode* node;
    std::size_t number;
  };

  // The node behind the element.
  const xmlNode* end_element() {
    const Open element = open_.back();
    open_.pop_back();
    Node& node = document_.nodes_[element.number];
    node.is_text_owned = true;
    node.text_size = static_cast<std::uint32_t>(document_.owned_.size() - node.text);
    if (const xmlChar* const instant = instant_of(element.node)) {
      document_.set_instant(element.number, view(instant));
    }
    document_.close(element.number, open_.back().number);
    return element.node->next;
  }

  void copy_text(const xmlNode* node) {
    if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
      document_.owned_ += view(node->content);
    } else if (node->type == XML_ENTITY_REF_NODE) {
      const std::unique_ptr<xmlChar, FreeXmlText> text(xmlNodeGetContent(node));
      document_.owned_ += view(text.get());
    }
  }

  Document& document_;
  std::vector<Open> open_;
};

void Document::copy(const xmlNode* first) {
  begin({});
  TreeCopier(*this).copy(first);
  end();
}

}  // namespace wz::hessian
