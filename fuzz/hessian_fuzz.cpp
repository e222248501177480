// Both decoders, and what a document that they give encodes to. Input: the message.
#include <wz/wzlb.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::require;

constexpr int kRoom = 1 << 20;

// The document, empty after a failure.
std::string decode(int version, std::string message) {
  static std::vector<char> text(kRoom);
  const int size = static_cast<int>(message.size());
  int length = size;
  const auto decoder = version == 1 ? hessian_decode : hessian2_decode;
  const bool decoded = decoder(kRoom, text.data(), 0, message.data(), &length) != nullptr;
  require(length >= 0 && length <= size);
  require(std::strlen(text.data()) < text.size());
  return decoded ? text.data() : "";
}

bool encode(int version, std::string document, std::string& message) {
  hessian_set_version(version);
  message.assign(document.size() + 16, '\0');
  int length = 0;
  const int size = static_cast<int>(document.size());
  if (hessian_encode(1, document.data(), size, message.data(), &length) == nullptr) {
    return false;
  }
  require(length >= 0 && length <= static_cast<int>(message.size()));
  message.resize(static_cast<std::size_t>(length));
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  std::string encoded;
  encode(1, decode(1, input), encoded);
  const std::string document = decode(2, input);
  // A remote has no place inside of a value that stands by itself.
  const bool is_cut = document.size() + 1 >= kRoom;
  if (document.empty() || is_cut || document.find("<remote>") != std::string::npos) {
    return 0;
  }
  // Nothing is lost: the encoding of a document gives the document's meaning back, and by now its
  // shortest form.
  require(encode(2, document, encoded));
  std::string again;
  const std::string second = decode(2, encoded);
  require(!second.empty() && encode(2, second, again) && again == encoded);
  return 0;
}
