// Every generation of base64 against a naive model that works bit by bit. The first byte shifts the
// sizes of the output buffers around the size needed.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <cstring>

#include "fuzz/codec_fuzz.h"

namespace {

using Bytes = codec_fuzz::Exact<unsigned char>;

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string model_encode(std::string_view bytes) {
  std::string out;
  for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
    unsigned value = 0;
    for (std::size_t i = bit; i < bit + 6; ++i) {
      const unsigned byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0;
      value = value * 2 + (byte >> (7 - i % 8) & 1);
    }
    out.push_back(kAlphabet[value]);
  }
  out.append((4 - out.size() % 4) % 4, '=');
  return out;
}

// Three bytes for each whole group; what is no character of the alphabet counts as 0.
std::string model_decode(std::string_view text) {
  std::string out;
  unsigned byte = 0;
  for (std::size_t bit = 0; bit < text.size() / 4 * 24; ++bit) {
    const std::size_t found = kAlphabet.find(text[bit / 6]);
    const auto value = static_cast<unsigned>(found == std::string_view::npos ? 0 : found);
    byte = byte * 2 + (value >> (5 - bit % 6) & 1);
    if (bit % 8 == 7) {
      out.push_back(static_cast<char>(byte));
      byte = 0;
    }
  }
  return out;
}

void check_encoders(std::string_view data, std::size_t shift) {
  const std::string expected = model_encode(data);
  const std::size_t room = expected.size() + 8 > shift ? expected.size() + 8 - shift : 0;
  Bytes input(data);
  Bytes output(room);
  const int length =
      wzlb_encode_base64_ex(input.data(), input.size(), output.data(), output.size());
  if (room < expected.size()) {
    CHECK(length == -1);
  } else {
    CHECK(output.text(expected.size()) == expected);
  }
  codec_fuzz::Exact<char> text(room);
  const int cut = wzlb_binary_base64encode(input.data(), data.size(), text.data(), room);
  CHECK(cut == (room > expected.size() ? 0 : 1));
  const std::string written = expected + '\0';
  CHECK(text.text(std::min(room, written.size())) == written.substr(0, room));
}

void check_decoder(std::string_view data, std::size_t shift) {
  const std::string_view text = data.substr(0, data.size() / 4 * 4);
  const std::string bytes = model_decode(text);
  const std::size_t room = bytes.size() + 4 > shift ? bytes.size() + 4 - shift : 0;
  Bytes input(text);
  Bytes output(room);
  const int length =
      wzlb_decode_base64_ex(input.data(), input.size(), output.data(), output.size());
  const std::size_t stored = std::min(room, bytes.size());
  const int padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  CHECK(length == static_cast<int>(stored) - padding);
  CHECK(output.text(stored) == bytes.substr(0, stored));
}

// The text codecs: model of the decoder, and the sizes that they promise to keep.
std::string model_decode_text(const std::string& text) {
  std::string out;
  std::string group;
  for (const char c : text) {
    if (kAlphabet.find(c) != std::string_view::npos) {
      group.push_back(c);
    }
    if (c == '=' || group.size() == 4) {
      group.resize(4, 'A');
      out += codec_fuzz::up_to_zero(model_decode(group));
      group.clear();
    }
    if (c == '=') {
      break;
    }
  }
  return out;
}

void check_text_codecs(std::string_view data) {
  if (data.empty() || data[0] == '\0') {
    return;
  }
  const std::string text = codec_fuzz::up_to_zero(data);
  codec_fuzz::Exact<char> input(data);
  std::string expected = model_encode(text);
  expected.resize(std::min(expected.size(), data.size() < 4 ? data.size() : expected.size()));
  CHECK(codec_fuzz::take(wzlb_encode_base64(input.data(), input.size(), nullptr)) == expected);
  CHECK(codec_fuzz::take(wzlb_decode_base64(input.data(), input.size(), nullptr)) ==
        model_decode_text(text));
}

void check_bio(std::string_view data) {
  Bytes input(data);
  char* text = nullptr;
  CHECK(Base64Encode(input.data(), data.size(), &text) == 0);
  CHECK(text == model_encode(data));
  unsigned char* decoded = nullptr;
  int length = 0;
  CHECK(Base64Decode(text, &decoded, &length) == 0);
  CHECK(std::string_view(reinterpret_cast<char*>(decoded), static_cast<std::size_t>(length)) ==
        data);
  std::free(decoded);
  WZLB_FREE(text, "fuzz", -1);

  std::string arbitrary = codec_fuzz::up_to_zero(data);
  Base64Decode(arbitrary.data(), &decoded, &length);
  CHECK(static_cast<std::size_t>(length) <= calcDecodeLength(arbitrary.data()));
  std::free(decoded);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t shift = data[0] % 64;
  const std::string_view rest = codec_fuzz::as_text(data + 1, size - 1);
  check_encoders(rest, shift);
  check_decoder(rest, shift);
  check_decoder(model_encode(rest), shift);
  check_text_codecs(rest);
  check_bio(rest);
  return 0;
}
