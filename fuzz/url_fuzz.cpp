// URL decoding of arbitrary text against a naive model. The first two bytes are the capacities.
#include <wz/wzlb_encode_decode.h>

#include <algorithm>

#include "fuzz/codec_fuzz.h"

namespace {

std::string model(const std::string& source) {
  std::string out;
  for (std::size_t i = 0; i < source.size(); ++i) {
    if (source[i] == '%' && i + 2 < source.size() && codec_fuzz::is_hex(source[i + 1]) &&
        codec_fuzz::is_hex(source[i + 2])) {
      out.push_back(static_cast<char>(std::stoi(source.substr(i + 1, 2), nullptr, 16)));
      i += 2;
    } else {
      out.push_back(source[i] == '+' ? ' ' : source[i]);
    }
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const std::size_t capacity = data[0] + 1U;
  const std::size_t limit = data[1];
  const std::string source = codec_fuzz::up_to_zero(codec_fuzz::as_text(data + 2, size - 2));
  const std::string expected = model(source);
  codec_fuzz::Exact<char> input(std::string_view(source.c_str(), source.size() + 1));
  codec_fuzz::Exact<char> output(capacity);

  wz_url_decoding(output.data(), output.size(), input.data());
  std::size_t length = std::min(expected.size(), capacity - 1);
  CHECK(output.text(length + 1) == expected.substr(0, length) + '\0');

  wz_url_decoding_ex(output.data(), output.size(), static_cast<int>(limit), input.data());
  length = std::min(length, limit);
  CHECK(output.text(length + 1) == expected.substr(0, length) + '\0');
  return 0;
}
