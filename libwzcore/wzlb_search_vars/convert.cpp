// What happens to a found value: methods, then one conversion.
#include <curl/curl.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_encode_decode.h>
#include <wz/wzlb_search_vars.h>
#include <wz/wzlb_util.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

constexpr char kLabel[] = "search variable value";

struct FreeCurlText {
  void operator()(char* text) const noexcept { curl_free(text); }
};
struct FreePlain {
  void operator()(char* text) const noexcept { std::free(text); }
};

char* allocate(std::size_t length) {
  return static_cast<char*>(WZLB_MALLOC(length + 1, kLabel));
}

char* copy_bytes(const char* bytes, std::size_t length) {
  char* copy = allocate(length);
  std::memcpy(copy, bytes, length);
  copy[length] = '\0';
  return copy;
}

// Copies a text that another allocator made, so that every value is freed in the same way.
template <typename Owner>
char* adopt(const Owner& text, unsigned int& length) {
  length = text != nullptr ? static_cast<unsigned int>(std::strlen(text.get())) : 0;
  return copy_bytes(text != nullptr ? text.get() : "", length);
}

char* url_encode(char* value, unsigned int& length) {
  const std::unique_ptr<char, FreeCurlText> coded(curl_escape(value, static_cast<int>(length)));
  return adopt(coded, length);
}

char* url_decode(char* value, unsigned int& length) {
  const std::unique_ptr<char, FreeCurlText> coded(curl_unescape(value, static_cast<int>(length)));
  return adopt(coded, length);
}

char* html_encode(char* value, unsigned int& length) {
  const std::unique_ptr<char, FreePlain> coded(
      wzlb_encode_html(value, static_cast<int>(length), nullptr));
  return adopt(coded, length);
}

char* html_decode(char* value, unsigned int& length) {
  const std::unique_ptr<char, FreePlain> coded(
      wzlb_decode_html(value, static_cast<int>(length), nullptr));
  return adopt(coded, length);
}

unsigned char* bytes_of(char* text) {
  return reinterpret_cast<unsigned char*>(text);
}

// Twice the value's length, but never less than the padded groups of a short value need.
char* base64_encode(char* value, unsigned int& length) {
  const std::size_t room = std::max<std::size_t>(2UL * length, 4UL * ((length + 2) / 3));
  char* coded = allocate(room);
  const int written = wzlb_encode_base64_ex(bytes_of(value), static_cast<int>(length),
                                            bytes_of(coded), static_cast<int>(room));
  length = written > 0 ? static_cast<unsigned int>(written) : 0;
  coded[length] = '\0';
  return coded;
}

// A length that is no multiple of four is line-broken or cut text: the lenient decoder takes it.
char* base64_decode(char* value, unsigned int& length) {
  char* text = allocate(length + 3UL);
  const int written = wzlb_decode_base64_ex(bytes_of(value), static_cast<int>(length),
                                            bytes_of(text), static_cast<int>(length + 3));
  if (written >= 0) {
    length = static_cast<unsigned int>(written);
  } else {
    text[0] = '\0';
    length = wzlb_decode_base64(value, static_cast<int>(length), text) != nullptr
                 ? static_cast<unsigned int>(std::strlen(text))
                 : 0;
  }
  text[length] = '\0';
  return text;
}

char* hex_encode(char* value, unsigned int& length) {
  int coded_length = 0;
  char* coded = wzlb_encode_text_to_hex(value, static_cast<int>(length), &coded_length);
  length = static_cast<unsigned int>(coded_length);
  return coded;
}

struct Conversion {
  const char* name;
  char* (*convert)(char* value, unsigned int& length);
};

// Indexed by code. Codes 3 and 4 do what 1 and 2 do, deliberately: declarations written for either
// name expect the same bytes.
constexpr Conversion kConversions[] = {
    {nullptr, nullptr},
    {"VAR_CONVERT_TEXT_TO_URL", url_encode},
    {"VAR_CONVERT_URL_TO_TEXT", url_decode},
    {"VAR_CONVERT_HTML_TO_URL", url_encode},
    {"VAR_CONVERT_URL_TO_HTML", url_decode},
    {"VAR_CONVERT_TEXT_TO_HTML", html_encode},
    {"VAR_CONVERT_HTML_TO_TEXT", html_decode},
    {"VAR_CONVERT_TEXT_TO_BASE64", base64_encode},
    {"VAR_CONVERT_BASE64_TO_TEXT", base64_decode},
    {"VAR_CONVERT_TEXT_TO_HEX", hex_encode},
};

// The helpers work on text: what stands behind a first NUL is left alone, and lost to the value.
char* reverse(char* value) {
  std::reverse(value, value + std::strlen(value));
  return value;
}

char* apply_method(char method, char* value) {
  switch (method >= '0' ? method - '0' : method) {
    case WZ_METHOD_REVERSE:
      return reverse(value);
    case WZ_METHOD_UPPER:
      return wzlb_strupper(value);
    case WZ_METHOD_LOWER:
      return wzlb_strlower(value);
    case WZ_METHOD_TRIM_LEFT:
      return wzlb_ltrim(value);
    case WZ_METHOD_TRIM_RIGHT:
      return wzlb_rtrim(value);
    case WZ_METHOD_TRIM:
      return wzlb_trim(value);
    default:
      return value;
  }
}

}  // namespace
}  // namespace wz

char* get_search_final_val(char* value, int* length, char* method_type, int total_method) {
  for (int i = 0; i < total_method && method_type != nullptr && value != nullptr; ++i) {
    value = wz::apply_method(method_type[i], value);
    *length = static_cast<int>(std::strlen(value));
  }
  return value;
}

void do_search_var_encoding(char convert, char** usr_val, char* var_value, unsigned int* var_length,
                            short binary_flag) {
  const auto code = static_cast<unsigned char>(convert);
  if (code == 0 || code >= std::size(wz::kConversions)) {
    *usr_val = wz::copy_bytes(var_value, *var_length);
    return;
  }
  const wz::Conversion& conversion = wz::kConversions[code];
  // The codecs take a length of 0 for "up to the NUL"; every conversion of nothing is nothing.
  *usr_val = *var_length > 0 ? conversion.convert(var_value, *var_length) : wz::copy_bytes("", 0);
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "%s value = %s, length = %u, binary_flag = %d",
             conversion.name, *usr_val, *var_length, binary_flag);
}

int hex_to_int(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : 0;
}

int hex_to_ascii(char c, char d) {
  return hex_to_int(c) * 16 + hex_to_int(d);
}

void convert_hex_to_char(char* ptr, char* dest_buf) {
  if (ptr == nullptr || dest_buf == nullptr) {
    return;
  }
  for (; ptr[0] != '\0' && ptr[1] != '\0'; ptr += 2) {
    *dest_buf++ = static_cast<char>(hex_to_ascii(ptr[0], ptr[1]));
  }
  *dest_buf = '\0';
}
