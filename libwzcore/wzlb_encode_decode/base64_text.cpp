// Block base64: NUL-terminated text in, NUL-terminated text out, for 7-bit text only. A zero byte
// ends the input of the encoder and the group that the decoder is in.
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "libwzcore/wzlb_encode_decode/base64_core.h"
#include "libwzcore/wzlb_encode_decode/text_arguments.h"

namespace wz {
namespace {

const unsigned char* as_bytes(const char* text) noexcept {
  return reinterpret_cast<const unsigned char*>(text);
}

// The three bytes of four 6-bit values.
std::array<char, 3> join_sextets(const char* values) noexcept {
  const auto* sextets = as_bytes(values);
  return {static_cast<char>(sextets[0] << 2 | sextets[1] >> 4),
          static_cast<char>(sextets[1] << 4 | sextets[2] >> 2),
          static_cast<char>(sextets[2] << 6 | sextets[3])};
}

// Encodes a group of three bytes, which its first zero byte ends; four zero bits stand before the
// second byte of a group that begins with one.
std::array<char, 4> encode_group(const char* input) noexcept {
  const std::size_t count = strnlen(input, 3);
  std::array<char, 4> text;
  base64::encode(as_bytes(input), std::max<std::size_t>(count, 2),
                 reinterpret_cast<unsigned char*>(text.data()));
  if (count < 2) {
    text[2] = '=';
  }
  return text;
}

// Appends the group up to its first zero byte; returns the new end of the text.
char* append_group(char* end, const std::array<char, 3>& group, std::size_t limit) noexcept {
  const std::size_t count = strnlen(group.data(), std::min(limit, group.size()));
  std::memcpy(end, group.data(), count);
  return end + count;
}

void encode_text(std::string_view input, std::size_t group_limit, char* output) noexcept {
  if (group_limit >= 4) {
    base64::encode(as_bytes(input.data()), input.size(), reinterpret_cast<unsigned char*>(output));
    output[base64::encoded_size(input.size())] = '\0';
    return;
  }
  // One group at most, and no more characters of it than the input has bytes: callers that store
  // such short values have always read them back cut.
  unsigned char group[4];
  base64::encode(as_bytes(input.data()), input.size(), group);
  std::memcpy(output, group, group_limit);
  output[group_limit] = '\0';
}

void decode_text(std::string_view input, char* output) noexcept {
  char values[4] = {};
  std::size_t collected = 0;
  for (const char character : input) {
    const auto byte = static_cast<unsigned char>(character);
    const bool last = byte == '=';
    if (!last && !base64::in_alphabet(byte)) {
      continue;
    }
    if (!last) {
      values[collected++] = base64::decoding_table[byte];
    }
    if (last || collected == 4) {
      output = append_group(output, join_sextets(values), 3);
      std::memset(values, 0, sizeof values);
      collected = 0;
    }
    if (last) {
      break;
    }
  }
  *output = '\0';
}

std::string_view up_to_zero_byte(std::string_view text) noexcept {
  return text.substr(0, text.find('\0'));
}

}  // namespace
}  // namespace wz

int wzlb_encodeblock(char* input, char* output, int oplen) {
  const auto group = wz::encode_group(input);
  const auto count = static_cast<std::size_t>(std::clamp(oplen, 0, 4));
  char* end = output + std::strlen(output);
  std::memcpy(end, group.data(), count);
  end[count] = '\0';
  return 0;
}

int wzlb_decodeblock(char* input, char* output, int oplen) {
  char* end = output + std::strlen(output);
  *wz::append_group(end, wz::join_sextets(input), static_cast<std::size_t>(std::max(oplen, 0))) =
      '\0';
  return 0;
}

char* wzlb_encode_base64(char* input, int oplen, char* output) {
  const auto text = wz::codec_input(input, oplen);
  if (!text) {
    return nullptr;
  }
  const std::size_t length = text->size();
  char* encoded = wz::codec_output(output, (length / 3 + length % 3) * 4 + 1);
  if (encoded != nullptr) {
    wz::encode_text(wz::up_to_zero_byte(*text), length, encoded);
  }
  return encoded;
}

char* wzlb_decode_base64(char* input, int oplen, char* output) {
  const auto text = wz::codec_input(input, oplen);
  if (!text) {
    return nullptr;
  }
  const std::size_t length = text->size();
  char* decoded = wz::codec_output(output, (length / 4 + length % 4) * 3 + 1);
  if (decoded != nullptr) {
    wz::decode_text(wz::up_to_zero_byte(*text), decoded);
  }
  return decoded;
}
