// Hexadecimal text. Sixteen bytes at a time on the registers that every x86-64 processor has, the
// rest by table.
#include <emmintrin.h>
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "libwzcore/wzlb_encode_decode/hex_digits.h"
#include "libwzcore/wzlb_encode_decode/tracked_buffer.h"

namespace wz {
namespace {

constexpr std::string_view kLowerDigits = "0123456789abcdef";
constexpr std::string_view kUpperDigits = "0123456789ABCDEF";
constexpr std::size_t kBlock = 16;

__m128i load(const char* bytes) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

void store(char* bytes, __m128i value) noexcept {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}

// 1..16 bytes whose value is in [first, first + count), as a mask. Both ends are ASCII.
__m128i in_range(__m128i bytes, char first, char count) noexcept {
  const __m128i above = _mm_cmpgt_epi8(bytes, _mm_set1_epi8(static_cast<char>(first - 1)));
  return _mm_and_si128(above,
                       _mm_cmplt_epi8(bytes, _mm_set1_epi8(static_cast<char>(first + count))));
}

__m128i digits_of(__m128i nibbles, char first_letter) noexcept {
  const __m128i letter_gap = _mm_set1_epi8(static_cast<char>(first_letter - '0' - 10));
  const __m128i is_letter = _mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9));
  return _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')),
                      _mm_and_si128(is_letter, letter_gap));
}

// Writes two digits for each of `length` bytes.
void encode_hex(const char* input, std::size_t length, char* output,
                std::string_view digits) noexcept {
  const __m128i nibble = _mm_set1_epi8(0x0f);
  for (; length >= kBlock; length -= kBlock, input += kBlock, output += 2 * kBlock) {
    const __m128i bytes = load(input);
    const __m128i high = digits_of(_mm_and_si128(_mm_srli_epi16(bytes, 4), nibble), digits[10]);
    const __m128i low = digits_of(_mm_and_si128(bytes, nibble), digits[10]);
    store(output, _mm_unpacklo_epi8(high, low));
    store(output + kBlock, _mm_unpackhi_epi8(high, low));
  }
  for (; length > 0; --length, ++input) {
    const auto byte = static_cast<unsigned char>(*input);
    *output++ = digits[byte >> 4];
    *output++ = digits[byte & 15];
  }
}

// Turns sixteen hex digits into their values; false when one of them is no hex digit.
bool to_nibbles(__m128i& text) noexcept {
  const __m128i lower = _mm_or_si128(text, _mm_set1_epi8(0x20));
  const __m128i is_digit = in_range(text, '0', 10);
  const __m128i is_letter = in_range(lower, 'a', 6);
  const __m128i digit = _mm_and_si128(is_digit, _mm_sub_epi8(text, _mm_set1_epi8('0')));
  const __m128i letter = _mm_and_si128(is_letter, _mm_sub_epi8(lower, _mm_set1_epi8('a' - 10)));
  text = _mm_or_si128(digit, letter);
  return _mm_movemask_epi8(_mm_or_si128(is_digit, is_letter)) == 0xffff;
}

// Sixteen nibbles become eight bytes, one in each 16-bit lane.
__m128i join_nibbles(__m128i nibbles) noexcept {
  const __m128i high = _mm_and_si128(_mm_slli_epi16(nibbles, 4), _mm_set1_epi16(0x00f0));
  return _mm_or_si128(high, _mm_srli_epi16(nibbles, 8));
}

// Decodes blocks of 32 digits; returns the number of bytes written before the first other
// character.
std::size_t decode_blocks(const char* input, std::size_t bytes, char* output) noexcept {
  std::size_t done = 0;
  for (; bytes - done >= kBlock; done += kBlock) {
    __m128i first = load(input + 2 * done);
    __m128i second = load(input + 2 * done + kBlock);
    if (!to_nibbles(first) || !to_nibbles(second)) {
      break;
    }
    store(output + done, _mm_packus_epi16(join_nibbles(first), join_nibbles(second)));
  }
  return done;
}

// What the scan format "%2x" reads from two characters, of which at least one is no digit: white
// space is skipped, one sign is taken, "0x" is a prefix with nothing behind it. Without a digit
// nothing is read and the byte before stays.
unsigned char scan_odd_pair(const char* pair, unsigned char before) noexcept {
  const int first = GetHex(pair[0]);
  const int second = GetHex(pair[1]);
  if (first >= 0) {
    return static_cast<unsigned char>(first);
  }
  const std::string_view skipped = " \t\n\v\f\r+-";
  if (second < 0 || skipped.find(pair[0]) == std::string_view::npos) {
    return before;
  }
  return static_cast<unsigned char>(pair[0] == '-' ? -second : second);
}

unsigned char decode_pair(const char* pair, unsigned char before) noexcept {
  const int high = GetHex(pair[0]);
  const int low = GetHex(pair[1]);
  return high < 0 || low < 0 ? scan_odd_pair(pair, before)
                             : static_cast<unsigned char>(high * 16 + low);
}

// Decodes `bytes` pairs of characters.
void decode_hex(const char* input, std::size_t bytes, char* output) noexcept {
  unsigned char byte = 0;
  std::size_t done = 0;
  while (done < bytes) {
    const std::size_t blocks = decode_blocks(input + 2 * done, bytes - done, output + done);
    done += blocks;
    if (blocks > 0) {
      byte = static_cast<unsigned char>(output[done - 1]);
    }
    // The rest, or the block that stopped the fast path.
    for (const std::size_t end = std::min(bytes, done + kBlock); done < end; ++done) {
      byte = decode_pair(input + 2 * done, byte);
      output[done] = static_cast<char>(byte);
    }
  }
}

}  // namespace
}  // namespace wz

char* wzlb_encode_text_to_hex(char* in, int len, int* con_len) {
  *con_len = static_cast<int>(2L * len);
  char* text = static_cast<char*>(
      WZLB_MALLOC(2L * len + 1, "Malloc buffer for encoding text into hex string"));
  wz::encode_hex(in, wz::positive(len), text, wz::kLowerDigits);
  text[2L * len] = '\0';
  return text;
}

char* wzlb_decode_hex_to_text(char* in, int len, int* con_len) {
  *con_len = len / 2;
  char* text = static_cast<char*>(
      WZLB_MALLOC(len / 2 + 1, "Malloc buffer for decoding hex into text string"));
  if (text != nullptr) {
    // A last digit without its partner is left out: the result has no room for it.
    const std::size_t bytes = wz::positive(len) / 2;
    wz::decode_hex(in, bytes, text);
    text[bytes] = '\0';
  }
  return text;
}

char* bin2hex(unsigned char* bin, int len, char* enc_hex) {
  if (bin == nullptr || len <= 0) {
    return nullptr;
  }
  wz::encode_hex(reinterpret_cast<const char*>(bin), wz::positive(len), enc_hex, wz::kUpperDigits);
  enc_hex[2L * len] = '\0';
  return enc_hex;
}
