#include "daemon/admin/json_writer.h"

namespace vsd {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// The length of the UTF-8 character that `text` begins with; 0 when it is none.
std::size_t utf8_length(std::string_view text) noexcept {
  const auto byte = [&text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const auto continues = [&byte](std::size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
  const unsigned first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  if (first >= 0xC2 && first <= 0xDF) {
    return continues(1) ? 2 : 0;
  }
  if (first >= 0xE0 && first <= 0xEF) {
    const bool overlong = first == 0xE0 && byte(1) < 0xA0;
    const bool surrogate = first == 0xED && byte(1) > 0x9F;
    return !overlong && !surrogate && continues(1) && continues(2) ? 3 : 0;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    const bool overlong = first == 0xF0 && byte(1) < 0x90;
    const bool too_large = first == 0xF4 && byte(1) > 0x8F;
    return !overlong && !too_large && continues(1) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

void append_escaped(std::string& out, char c) {
  constexpr std::string_view kHex = "0123456789abcdef";
  switch (c) {
    case '"':
    case '\\':
      out += '\\';
      out += c;
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    default: {
      const auto byte = static_cast<unsigned char>(c);
      out += "\\u00";
      out += kHex[byte >> 4U];
      out += kHex[byte & 0xFU];
    }
  }
}

}  // namespace

void append_json_string(std::string& out, std::string_view text) {
  out += '"';
  while (!text.empty()) {
    const char c = text.front();
    const std::size_t length = utf8_length(text);
    if (length == 0) {
      out += kReplacement;
    } else if (static_cast<unsigned char>(c) < ' ' || c == '"' || c == '\\' || c == 0x7F) {
      append_escaped(out, c);
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  out += '"';
}

void JsonWriter::separate() {
  if (needs_comma_) {
    out_ += ',';
  }
  needs_comma_ = true;
}

JsonWriter& JsonWriter::open(char bracket) {
  separate();
  out_ += bracket;
  needs_comma_ = false;
  return *this;
}

JsonWriter& JsonWriter::close(char bracket) {
  out_ += bracket;
  needs_comma_ = true;
  return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
  separate();
  append_json_string(out_, name);
  out_ += ':';
  needs_comma_ = false;
  return *this;
}

void JsonWriter::text(std::string_view value) {
  separate();
  append_json_string(out_, value);
}

void JsonWriter::null() {
  separate();
  out_ += "null";
}

void JsonWriter::number(std::uint64_t value) {
  separate();
  out_ += std::to_string(value);
}

}  // namespace vsd
