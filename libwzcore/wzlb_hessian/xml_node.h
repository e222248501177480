// Reading libxml2 trees.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string_view>

namespace wz::hessian {

struct FreeXmlText {
  void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};

// An element whose only child is text.
inline bool is_leaf(const xmlNode* node) noexcept {
  return node->children != nullptr && node->children->next == nullptr &&
         node->children->type == XML_TEXT_NODE;
}

// The text content of an element, NUL-terminated; that of a container is put together when it is
// asked for. The node outlives it.
class NodeText {
 public:
  explicit NodeText(const xmlNode* node) noexcept : node_(node) {}

  [[nodiscard]] const char* c_str() const noexcept {
    if (is_leaf(node_)) {
      return reinterpret_cast<const char*>(node_->children->content);
    }
    if (joined_ == nullptr) {
      joined_.reset(xmlNodeGetContent(node_));
    }
    return joined_ != nullptr ? reinterpret_cast<const char*>(joined_.get()) : "";
  }
  [[nodiscard]] std::string_view view() const noexcept { return c_str(); }

 private:
  const xmlNode* node_;
  mutable std::unique_ptr<xmlChar, FreeXmlText> joined_;
};

inline std::string_view name_of(const xmlNode* node) noexcept {
  return reinterpret_cast<const char*>(node->name);
}

}  // namespace wz::hessian
