// The vector kernels do the bulk where the processor has them; these loops do the rest and every
// group that holds a character outside the alphabet.
#include "libwzcore/wzlb_encode_decode/base64_core.h"

#include <algorithm>
#include <cstring>

#include "libwzcore/wzlb_encode_decode/base64_vector.h"

namespace wz::base64 {
namespace {

using CharacterPair = std::array<char, 2>;

// The two characters of every 12-bit half of a group.
constexpr std::array<CharacterPair, 4096> kCharacterPairs = [] {
  std::array<CharacterPair, 4096> pairs{};
  for (std::size_t value = 0; value < pairs.size(); ++value) {
    pairs[value] = {encoding_table[value >> 6], encoding_table[value & 63]};
  }
  return pairs;
}();

// How many characters a last group of (length mod 3) bytes is padded with.
constexpr std::array<unsigned char, 3> mod_table = {0, 2, 1};

void put_group(unsigned char* output, std::uint32_t group) noexcept {
  std::memcpy(output, kCharacterPairs[group >> 12].data(), 2);
  std::memcpy(output + 2, kCharacterPairs[group & 0xfff].data(), 2);
}

void encode_last(const unsigned char* input, std::size_t length, unsigned char* output) noexcept {
  const std::uint32_t second = length > 1 ? input[1] : 0U;
  put_group(output, static_cast<std::uint32_t>(input[0]) << 16 | second << 8);
  std::memset(output + 4 - mod_table[length], '=', mod_table[length]);
}

std::uint32_t get_group(const unsigned char* input) noexcept {
  return value_of(input[0]) << 18 | value_of(input[1]) << 12 | value_of(input[2]) << 6 |
         value_of(input[3]);
}

void put_bytes(unsigned char* output, std::uint32_t group, std::size_t count) noexcept {
  for (std::size_t index = 0; index < count; ++index) {
    output[index] = static_cast<unsigned char>(group >> (16 - 8 * index));
  }
}

// Decodes up to `groups` groups of four and returns how many bytes were stored.
std::size_t decode_groups(const unsigned char* input, std::size_t groups, unsigned char* output,
                          std::size_t room) noexcept {
  std::size_t stored = 0;
  for (; groups > 0 && room - stored >= 3; --groups, input += 4, stored += 3) {
    put_bytes(output + stored, get_group(input), 3);
  }
  if (groups > 0 && room > stored) {
    put_bytes(output + stored, get_group(input), room - stored);
    stored = room;
  }
  return stored;
}

bool has_avx2() noexcept {
  return __builtin_cpu_supports("avx2") != 0;
}

}  // namespace

void encode(const unsigned char* input, std::size_t length, unsigned char* output) noexcept {
  if (has_avx2()) {
    const std::size_t done = encode_avx2(input, length, output);
    input += done;
    length -= done;
    output += done / 3 * 4;
  }
  for (; length >= 3; length -= 3, input += 3, output += 4) {
    put_group(output, static_cast<std::uint32_t>(input[0]) << 16 |
                          static_cast<std::uint32_t>(input[1]) << 8 | input[2]);
  }
  if (length > 0) {
    encode_last(input, length, output);
  }
}

std::size_t decode(const unsigned char* input, std::size_t length, unsigned char* output,
                   std::size_t room) noexcept {
  constexpr std::size_t kVectorStep = 32;
  std::size_t stored = 0;
  while (has_avx2() && length >= kVectorStep) {
    const std::size_t done = decode_avx2(input, length, output + stored, room - stored);
    input += done;
    length -= done;
    stored += done / 4 * 3;
    if (length < kVectorStep) {
      break;
    }
    // The kernel stopped at a foreign character or at the end of the room.
    stored += decode_groups(input, kVectorStep / 4, output + stored, room - stored);
    input += kVectorStep;
    length -= kVectorStep;
    if (stored == room) {
      return stored;
    }
  }
  return stored + decode_groups(input, length / 4, output + stored, room - stored);
}

}  // namespace wz::base64
