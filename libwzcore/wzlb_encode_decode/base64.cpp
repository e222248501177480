// Base64 for binary data between buffers of known size. Nothing here is NUL-terminated except the
// result of wzlb_binary_base64encode.
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "libwzcore/wzlb_encode_decode/base64_core.h"

namespace wz::base64 {
namespace {

// How many of the last characters are `=`: at most two, from the end.
int trailing_padding(const unsigned char* input, std::size_t length) noexcept {
  if (length == 0 || input[length - 1] != '=') {
    return 0;
  }
  return input[length - 2] == '=' ? 2 : 1;
}

// Writes as much of the encoding as fits `room` bytes, which is less than all of it.
void encode_cut(const unsigned char* input, std::size_t length, unsigned char* output,
                std::size_t room) noexcept {
  const std::size_t whole_groups = room / 4;
  encode(input, whole_groups * 3, output);
  if (room % 4 > 0) {
    unsigned char group[4];
    const std::size_t left = length - whole_groups * 3;
    encode(input + whole_groups * 3, std::min<std::size_t>(left, 3), group);
    std::memcpy(output + whole_groups * 4, group, room % 4);
  }
}

}  // namespace
}  // namespace wz::base64

int wzlb_encode_base64_ex(unsigned char* input, int input_length, unsigned char* output,
                          int output_size) {
  if (input_length < 0 || output_size < 0) {
    return -1;
  }
  const auto length = static_cast<std::size_t>(input_length);
  const std::size_t size = wz::base64::encoded_size(length);
  if (size > static_cast<std::size_t>(output_size)) {
    return -1;
  }
  wz::base64::encode(input, length, output);
  return static_cast<int>(size);
}

int wzlb_decode_base64_ex(unsigned char* input, int input_length, unsigned char* output,
                          int output_size) {
  if (input_length < 0 || input_length % 4 != 0) {
    return -1;
  }
  const auto length = static_cast<std::size_t>(input_length);
  const auto room = static_cast<std::size_t>(std::max(output_size, 0));
  const int padding = wz::base64::trailing_padding(input, length);
  // The padding is subtracted even when its bytes did not fit; callers give room for whole groups.
  return static_cast<int>(wz::base64::decode(input, length, output, room)) - padding;
}

int wzlb_binary_base64encode(void* data_buf, size_t dataLength, char* result, size_t resultSize) {
  const auto* input = static_cast<const unsigned char*>(data_buf);
  auto* output = reinterpret_cast<unsigned char*>(result);
  const std::size_t size = wz::base64::encoded_size(dataLength);
  if (resultSize < size) {
    wz::base64::encode_cut(input, dataLength, output, resultSize);
    return 1;
  }
  wz::base64::encode(input, dataLength, output);
  if (resultSize == size) {
    return 1;
  }
  result[size] = '\0';
  return 0;
}
