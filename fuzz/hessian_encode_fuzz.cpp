// The encoders on any document, against the same document as libxml2 reads it. Input: the XML.
#include <libxml/parser.h>
#include <wz/wzlb.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::require;

struct FreeDocument {
  void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};

// The bytes written; -1 for a refused document.
int encode(std::string document, std::string& out) {
  int length = 0;
  const char* const done =
      hessian_encode(1, document.data(), static_cast<int>(document.size()), out.data(), &length);
  return done != nullptr ? length : -1;
}

int encode_tree(int version, const std::string& document, std::string& out) {
  constexpr int kOptions =
      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE;
  const std::unique_ptr<xmlDoc, FreeDocument> xml(xmlReadMemory(
      document.data(), static_cast<int>(document.size()), "noname.xml", nullptr, kOptions));
  xmlNode* const root = xml != nullptr ? xmlDocGetRootElement(xml.get()) : nullptr;
  if (root == nullptr || xml->intSubset != nullptr ||
      xmlStrEqual(root->name, BAD_CAST "hessian") == 0) {
    return -1;
  }
  int length = 0;
  (version == 1 ? GetElements : GetElements2)(root, out.data(), 0, &length);
  return length;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kMaxSize = 3000;  // less than a document of too many levels needs
  if (size > kMaxSize) {
    return 0;
  }
  const std::string document(reinterpret_cast<const char*>(data), size);
  // A number of few digits takes at most nine bytes, an end byte of version 1 one a node; there a
  // text counts in each string that it stands in.
  std::string out(size * 9 + size * size / 64 + 64, '\0');
  std::string expected(out.size(), '\0');
  for (const int version : {1, 2}) {
    hessian_set_version(version);
    const int length = encode(document, out);
    require(length <= static_cast<int>(out.size()));
    require(length == encode_tree(version, document, expected));
    require(length <= 0 ||
            std::memcmp(out.data(), expected.data(), static_cast<std::size_t>(length)) == 0);
  }
  return 0;
}
