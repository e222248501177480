// The converters between text, hexadecimal, binary digits and EBCDIC: round trips, and arbitrary
// text read as hexadecimal against the scan format that it follows.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_encode_decode.h>

#include <cstring>

#include "fuzz/codec_fuzz.h"

namespace {

constexpr std::string_view kLower = "0123456789abcdef";
constexpr std::string_view kUpper = "0123456789ABCDEF";

using Converter = char* (*)(char* in, int len, int* con_len);

// The result's text of the reported length, NUL and all behind it checked by the copy.
std::string convert(Converter converter, std::string_view text) {
  codec_fuzz::Exact<char> input(text);
  int length = 0;
  char* result = converter(input.data(), input.size(), &length);
  if (result == nullptr) {
    CHECK(length == -1);
    return "(null)";
  }
  std::string copy(result, static_cast<std::size_t>(length < 0 ? 0 : length) + 1);
  CHECK(copy.back() == '\0');
  copy.pop_back();
  WZLB_FREE(result, "fuzz", -1);
  return copy;
}

std::string model_hex(std::string_view text, std::string_view digits) {
  std::string out;
  for (const char c : text) {
    out += digits[static_cast<unsigned char>(c) / 16];
    out += digits[static_cast<unsigned char>(c) % 16];
  }
  return out;
}

std::string model_scan(std::string_view text) {
  std::string out;
  unsigned int value = 0;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    std::sscanf(std::string(text.substr(i, 2)).c_str(), "%2x", &value);
    out.push_back(static_cast<char>(value));
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = codec_fuzz::as_text(data, size);
  const std::string hex = model_hex(text, kLower);
  CHECK(convert(wzlb_encode_text_to_hex, text) == hex);
  CHECK(convert(wzlb_decode_hex_to_text, hex) == text);
  CHECK(convert(wzlb_decode_hex_to_text, text) == model_scan(text));
  if (size > 0) {
    codec_fuzz::Exact<unsigned char> bytes(text);
    codec_fuzz::Exact<char> upper(2 * size + 1);
    bin2hex(bytes.data(), bytes.size(), upper.data());
    CHECK(upper.text(2 * size + 1) == model_hex(text, kUpper) + '\0');
  }
  const std::string base64 = convert(wzlb_encode_text_to_base64, text);
  CHECK(convert(wzlb_encode_hex_to_base64, hex) == base64);
  CHECK(convert(wzlb_encode_base64_to_hex, base64) == hex);

  std::string ascii = codec_fuzz::up_to_zero(text);
  for (char& c : ascii) {
    c = static_cast<char>(c & 0x7f);
  }
  ascii = codec_fuzz::up_to_zero(ascii);
  const std::string digits = codec_fuzz::up_to_zero(convert(wzlb_encode_text_to_bin_new, ascii));
  CHECK(digits.size() == 8 * ascii.size());
  CHECK(convert(wzlb_dec_bin_to_text, digits) == ascii);
  CHECK(convert(wzlb_encode_hex_to_bin, model_hex(ascii, kUpper)) == digits);
  // Any text is accepted where digits are expected.
  for (const Converter converter :
       {wzlb_encode_text_to_bin, wzlb_encode_text_to_bin_new, wzlb_dec_bin_to_text,
        wzlb_encode_hex_to_bin, wzlb_encode_base64_to_hex, wzlb_encode_base64_to_bin,
        wzlb_encode_bin_to_hex, wzlb_encode_bin_to_base64, wzlb_ascii_to_ebcdic,
        wzlb_ebcdic_to_ascii}) {
    convert(converter, text);
  }
  return 0;
}
