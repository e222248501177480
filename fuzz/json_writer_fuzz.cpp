// Any bytes become a JSON string: quotes around it, nothing in it that ends it or must be escaped,
// valid UTF-8, and bytes that need neither escape nor replacement as they were.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "daemon/admin/json_writer.h"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string json;
  vsd::append_json_string(json, text);
  require(json.size() >= 2 && json.front() == '"' && json.back() == '"');
  std::size_t follow = 0;  // bytes that the current character still needs
  bool plain = true;
  for (std::size_t i = 1; i + 1 < json.size(); ++i) {
    const auto byte = static_cast<unsigned char>(json[i]);
    if (follow > 0) {
      require((byte & 0xC0U) == 0x80U);
      --follow;
      continue;
    }
    require(byte >= ' ' && byte != '"' && byte != 0x7F && (byte & 0xC0U) != 0x80U);
    follow = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0x80 ? 1 : 0;
    plain = plain && byte < 0x80 && byte != '\\';
    if (byte == '\\') {
      require(i + 2 < json.size());
      require(std::string_view("\"\\nrtu").find(json[++i]) != std::string_view::npos);
    }
  }
  require(follow == 0);
  require(!plain || json == "\"" + std::string(text) + "\"");
  return 0;
}
