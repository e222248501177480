// The encoders on any document. Input: the XML.
#include <wz/wzlb.h>

#include <cstdint>
#include <string>

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A number of few digits takes at most nine bytes, an end byte of version 1 one a node.
  std::string out(size * 9 + 64, '\0');
  std::string document(reinterpret_cast<const char*>(data), size);
  for (const int version : {1, 2}) {
    hessian_set_version(version);
    int length = 0;
    if (hessian_encode(1, document.data(), static_cast<int>(size), out.data(), &length) !=
        nullptr) {
      wz::fuzz::require(length >= 0 && static_cast<std::size_t>(length) <= out.size());
    }
  }
  return 0;
}
