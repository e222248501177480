// XML into documents, and documents into the version that is set.
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <wz/wzlb_hessian.h>

#include <memory>
#include <string_view>

#include "libwzcore/wzlb_hessian/document_encoders.h"

namespace wz::hessian {
namespace {

// Elements inside each other. A decoded message has fewer; the walk that follows is recursive.
constexpr int kMaxDepth = 1000;
// Nothing is read from elsewhere; texts may be as long as they like.
constexpr int kParserOptions =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE;

struct FreeContext {
  void operator()(xmlParserCtxt* context) const noexcept { xmlFreeParserCtxt(context); }
};
struct FreeDocument {
  void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};
using XmlDocument = std::unique_ptr<xmlDoc, FreeDocument>;

// Documents of this form have no use for declarations; entities, and attributes that every element
// gets, could make a small text huge. A document type without any is harmless.
void refuse(void* context) noexcept {
  auto* parser = static_cast<xmlParserCtxt*>(context);
  parser->wellFormed = 0;
  xmlStopParser(parser);
}
void refuse_entity(void* context, const xmlChar*, int, const xmlChar*, const xmlChar*,
                   xmlChar*) noexcept {
  refuse(context);
}
void refuse_attribute(void* context, const xmlChar*, const xmlChar*, int, int, const xmlChar*,
                      xmlEnumeration* values) noexcept {
  xmlFreeEnumeration(values);
  refuse(context);
}

// Only this parser's own context is released afterwards: the process may use libxml2 elsewhere.
XmlDocument parse(int src_type, void* source, int size) noexcept {
  const std::unique_ptr<xmlParserCtxt, FreeContext> context(xmlNewParserCtxt());
  if (context == nullptr) {
    return nullptr;
  }
  context->sax->entityDecl = refuse_entity;
  context->sax->attributeDecl = refuse_attribute;
  const auto* text = static_cast<const char*>(source);
  return XmlDocument(src_type != 0 ? xmlCtxtReadMemory(context.get(), text, size, "noname.xml",
                                                       nullptr, kParserOptions)
                                   : xmlCtxtReadFile(context.get(), text, nullptr, kParserOptions));
}

bool is_too_deep(const xmlNode* root) noexcept {
  int depth = 0;
  const xmlNode* node = root;
  while (node != nullptr) {
    if (node->children != nullptr && node->type == XML_ELEMENT_NODE) {
      node = node->children;
      if (++depth > kMaxDepth) {
        return true;
      }
      continue;
    }
    while (node != root && node->next == nullptr) {
      node = node->parent;
      --depth;
    }
    node = node != root ? node->next : nullptr;
  }
  return false;
}

// The plain form is read here, whatever else there is by libxml2, which also decides what is wrong.
bool read(int src_type, void* source, int size, Document& document) {
  if (src_type != 0 && size > 0 &&
      document.read({static_cast<const char*>(source), static_cast<std::size_t>(size)})) {
    return true;
  }
  const XmlDocument xml = parse(src_type, source, size);
  const xmlNode* root = xml != nullptr ? xmlDocGetRootElement(xml.get()) : nullptr;
  if (root == nullptr || xmlStrEqual(root->name, BAD_CAST "hessian") == 0 || is_too_deep(root)) {
    return false;
  }
  document.copy(root);
  return true;
}

}  // namespace
}  // namespace wz::hessian

char* hessian_encode(int src_type, void* src_ptr, int src_param, char* out, int* len) {
  using namespace wz::hessian;
  if (src_ptr == nullptr || out == nullptr || len == nullptr) {
    return nullptr;
  }
  Document document(hessian_version);
  if (!read(src_type, src_ptr, src_param, document)) {
    return nullptr;
  }
  const char* end = out;
  if (hessian_version == 1) {
    end = encode_version_1(document, out);
  } else if (hessian_version == 2) {
    end = encode_version_2(document, out, 0);
  }
  if (end == nullptr) {
    return nullptr;
  }
  *len = static_cast<int>(end - out);
  return out;
}
