// The allocating base64 converters and those that go through text to another form.
#include <wz/wzlb_encode_decode.h>

#include "libwzcore/wzlb_encode_decode/tracked_buffer.h"

namespace wz {
namespace {

using Converter = char* (*)(char* in, int len, int* con_len);

// Converts to text with `to_text` and from there with `to_form`; null with length -1 when there is
// no text.
char* convert_twice(Converter to_text, Converter to_form, char* in, int len, int* con_len) {
  int text_length = 0;
  const TrackedText text(to_text(in, len, &text_length));
  if (text == nullptr || text_length < 0) {
    *con_len = -1;
    return nullptr;
  }
  return to_form(text.get(), text_length, con_len);
}

}  // namespace
}  // namespace wz

char* wzlb_encode_text_to_base64(char* in, int len, int* con_len) {
  const long size = 4 * ((len + 2L) / 3);
  *con_len = static_cast<int>(size);
  char* text = wz::tracked_buffer(size + 1, "Malloc buffer for encoding text into base64");
  wzlb_encode_base64_ex(reinterpret_cast<unsigned char*>(in), len,
                        reinterpret_cast<unsigned char*>(text), *con_len);
  return text;
}

char* wzlb_decode_base64_to_text(char* in, int len, int* con_len) {
  char* text = wz::tracked_buffer(len + 1L, "Malloc buffer for decoding base64 into text");
  *con_len = wzlb_decode_base64_ex(reinterpret_cast<unsigned char*>(in), len,
                                   reinterpret_cast<unsigned char*>(text), len);
  if (*con_len >= 0) {
    // Padding that does not end on zero bits leaves a byte here.
    text[*con_len] = '\0';
  }
  return text;
}

char* wzlb_encode_base64_to_hex(char* in, int len, int* con_len) {
  return wz::convert_twice(wzlb_decode_base64_to_text, wzlb_encode_text_to_hex, in, len, con_len);
}

char* wzlb_encode_base64_to_bin(char* in, int len, int* con_len) {
  return wz::convert_twice(wzlb_decode_base64_to_text, wzlb_encode_text_to_bin_new, in, len,
                           con_len);
}

char* wzlb_encode_hex_to_base64(char* in, int len, int* con_len) {
  return wz::convert_twice(wzlb_decode_hex_to_text, wzlb_encode_text_to_base64, in, len, con_len);
}

char* wzlb_encode_bin_to_hex(char* in, int len, int* con_len) {
  return wz::convert_twice(wzlb_dec_bin_to_text, wzlb_encode_text_to_hex, in, len, con_len);
}

char* wzlb_encode_bin_to_base64(char* in, int len, int* con_len) {
  return wz::convert_twice(wzlb_dec_bin_to_text, wzlb_encode_text_to_base64, in, len, con_len);
}
