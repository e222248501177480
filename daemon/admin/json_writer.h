// Writes JSON text piece by piece; the caller opens and closes what belongs together.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vsd {

// Appends `text` as a JSON string. Whatever the bytes are, the result is a valid one in ASCII and
// UTF-8: what is no UTF-8 becomes U+FFFD.
void append_json_string(std::string& out, std::string_view text);

class JsonWriter {
 public:
  explicit JsonWriter(std::string& out) : out_(out) {}

  JsonWriter& open(char bracket);  // '{' or '['
  JsonWriter& close(char bracket);
  JsonWriter& key(std::string_view name);
  void text(std::string_view value);
  void number(std::uint64_t value);
  void null();

 private:
  void separate();

  std::string& out_;
  bool needs_comma_ = false;
};

}  // namespace vsd
