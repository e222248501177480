// Text as binary digits. Two forms exist side by side: raw bit values (the numbers 0 and 1) and the
// characters `0` and `1`.
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "libwzcore/wzlb_encode_decode/hex_digits.h"
#include "libwzcore/wzlb_encode_decode/tracked_buffer.h"

namespace wz {
namespace {

constexpr std::size_t kOctet = 8;

// The binary form of each hexadecimal digit value.
constexpr std::array<std::string_view, 16> binary_decode_block = {
    "0000", "0001", "0010", "0011", "0100", "0101", "0110", "0111",
    "1000", "1001", "1010", "1011", "1100", "1101", "1110", "1111"};

// Writes the bits of `value`, highest first, into the eight bytes at `octet`, which hold zero bits
// already. Negative values keep all bits zero: the forms are for 7-bit text only.
void put_bits(int value, char* octet, char one) noexcept {
  for (std::size_t position = kOctet; value > 0 && position > 0; value /= 2) {
    --position;
    if (value % 2 == 1) {
      octet[position] = one;
    }
  }
}

// Writes the eight characters of `decimal` and a NUL.
void decimalToBinary(int decimal, char* octet) noexcept {
  std::memset(octet, '0', kOctet);
  octet[kOctet] = '\0';
  put_bits(decimal, octet, '1');
}

}  // namespace
}  // namespace wz

char* wzlb_encode_text_to_bin(char* in, int len, int* con_len) {
  *con_len = static_cast<int>(8L * len);
  char* bits = wz::tracked_buffer(8L * len + 1, "Malloc buffer for encoding text into bits");
  for (std::size_t index = 0; index < wz::positive(len); ++index) {
    wz::put_bits(static_cast<signed char>(in[index]), bits + index * wz::kOctet, '\1');
  }
  return bits;
}

char* wzlb_encode_text_to_bin_new(char* in, int len, int* con_len) {
  // Nine bytes for each byte, as if the groups were separated: callers size their copies by it.
  const long size = 9L * len;
  *con_len = static_cast<int>(size);
  char* digits = wz::tracked_buffer(size + 1, "Malloc buffer for encoding text into binary string");
  textToBinary(in, len, digits, static_cast<int>(size));
  return digits;
}

char* wzlb_dec_bin_to_text(char* in, int len, int* con_len) {
  *con_len = len / 8;
  char* text = wz::tracked_buffer(len / 8 + 2, "Malloc buffer for decoding binary string to text");
  if (text != nullptr) {
    binaryToText(in, len, text, len / 8);
  }
  return text;
}

char* wzlb_encode_hex_to_bin(char* in, int len, int* con_len) {
  *con_len = static_cast<int>(4L * len);
  char* digits = wz::tracked_buffer(4L * len + 1, "Malloc buffer for encoding hex into binary");
  std::string_view group = wz::binary_decode_block[0];
  for (std::size_t index = 0; index < wz::positive(len); ++index) {
    const int value = wz::GetHex(in[index]);
    if (value >= 0) {
      group = wz::binary_decode_block[static_cast<std::size_t>(value)];
    }
    // A character that is no digit repeats the group before it.
    std::memcpy(digits + 4 * index, group.data(), group.size());
  }
  return digits;
}

int binaryToDecimal(char* binary, int length) {
  unsigned int value = 0;
  for (std::size_t index = 0; index < wz::positive(length); ++index) {
    value = value * 2 + (binary[index] == '1' ? 1 : 0);
  }
  return static_cast<int>(value);
}

int binaryToText(char* binary, int binaryLength, char* text, int symbolCount) {
  const std::size_t length = wz::positive(binaryLength);
  const std::size_t room = wz::positive(symbolCount);
  const std::size_t count = std::min(length / wz::kOctet, room);
  for (std::size_t index = 0; index < count; ++index) {
    char* group = binary + index * wz::kOctet;
    if ((index + 1) * wz::kOctet < length) {
      // Ends this group in the caller's input, where it takes the leading bit of the next one.
      // Nothing is lost in 7-bit text, and callers compare against what this has always given.
      group[wz::kOctet] = '\0';
    }
    text[index] = static_cast<char>(binaryToDecimal(group, wz::kOctet));
  }
  if (count < room) {
    text[count] = '\0';
  }
  return 0;
}

int textToBinary(char* text, int textLength, char* binary, int binaryLength) {
  const std::size_t room = wz::positive(binaryLength);
  const std::size_t length = std::min(strnlen(text, wz::positive(textLength)), room / wz::kOctet);
  char* octet = static_cast<char*>(WZLB_MALLOC(wz::kOctet + 1, "octet"));
  for (std::size_t index = 0; index < length; ++index) {
    wz::decimalToBinary(static_cast<signed char>(text[index]), octet);
    std::memcpy(binary + index * wz::kOctet, octet, wz::kOctet);
  }
  WZLB_FREE(octet, "Freeing octet", -1);
  if (length * wz::kOctet < room) {
    binary[length * wz::kOctet] = '\0';
  }
  return 0;
}
