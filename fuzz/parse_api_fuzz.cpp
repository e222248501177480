// The parser of declaration lines. Input: the first byte's low bits are the two flags, the rest up
// to a NUL is the line.
#include <wz/wzlb.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::require;

template <std::size_t Size>
std::string_view terminated(const char (&text)[Size]) {
  require(std::memchr(text, '\0', Size) != nullptr);
  return text;
}

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

void require_trimmed(std::string_view text) {
  require(text.empty() || (!is_blank(text.front()) && !is_blank(text.back())));
}

void check_record(const WZApi& api, std::string_view line) {
  require_trimmed(terminated(api.api_name));
  std::size_t total = terminated(api.api_name).size();
  for (const WZApiFields& field : api.api_fields) {
    require_trimmed(terminated(field.keyword));
    require(terminated(field.keyword).find_first_of(",=") == std::string_view::npos);
    total += terminated(field.keyword).size() + terminated(field.value).size();
  }
  require(total <= line.size());  // nothing grows
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  static const auto api = std::make_unique<WZApi>();
  const int trim = data[0] & 1;
  const int escape = data[0] >> 1 & 1;
  const std::string line = std::string(reinterpret_cast<const char*>(data + 1), size - 1).c_str();
  std::string given = line;
  char file[] = "file";
  // Exactly the room that the header asks for.
  const std::size_t room = 2 * line.size() + sizeof file - 1 + 512;
  const auto message = std::make_unique<char[]>(room);
  const int result = parse_api_ex(api.get(), given.data(), file, message.get(), 1, trim, escape);
  require(given == line);
  check_record(*api, line);
  if (result == 0) {
    require(message[0] == '\0');
    require(line.find('(') != std::string::npos && line.find(')') != std::string::npos);
  } else {
    require(result == -1);
    require(std::string_view(message.get()).ends_with("\nLine = [" + line + "]"));
  }
  return 0;
}
