// Base64 on 32-byte registers. Bytes are spread to (or gathered from) 6-bit values with one shuffle
// and two multiplications; values and characters are mapped by adding an offset that a 16-entry
// register table gives for the range they fall into.
#include "libwzcore/wzlb_encode_decode/base64_vector.h"

#include <immintrin.h>

#define WZ_AVX2 __attribute__((target("avx2")))

namespace wz::base64 {
namespace {

// Twelve bytes at the start of each half become sixteen 6-bit values, one a byte.
WZ_AVX2 inline __m256i split_into_sextets(__m256i bytes) noexcept {
  const __m256i order = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                                         1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  const __m256i groups = _mm256_shuffle_epi8(bytes, order);
  // Each multiplication shifts the two fields of a 32-bit group by their own distances.
  const __m256i even = _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0fc0fc00)),
                                          _mm256_set1_epi32(0x04000040));
  const __m256i odd = _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(0x003f03f0)),
                                         _mm256_set1_epi32(0x01000010));
  return _mm256_or_si256(even, odd);
}

WZ_AVX2 inline __m256i to_characters(__m256i sextets) noexcept {
  // Range of a value: 13 for A-Z, 0 for a-z, 1..10 for the digits, 11 for '+', 12 for '/'.
  const __m256i beyond_letters = _mm256_subs_epu8(sextets, _mm256_set1_epi8(51));
  const __m256i upper_case =
      _mm256_and_si256(_mm256_cmpgt_epi8(_mm256_set1_epi8(26), sextets), _mm256_set1_epi8(13));
  const __m256i range = _mm256_or_si256(beyond_letters, upper_case);
  const __m256i offsets = _mm256_broadcastsi128_si256(
      _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                    '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0));
  return _mm256_add_epi8(sextets, _mm256_shuffle_epi8(offsets, range));
}

// Turns characters into their values; false when one of them is outside the alphabet.
WZ_AVX2 inline bool to_sextets(__m256i& characters) noexcept {
  // A character is valid when the classes of its two halves have no bit in common.
  const __m256i low_classes =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A));
  const __m256i high_classes =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                                0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10));
  const __m256i nibble = _mm256_set1_epi8(0x0f);
  const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), nibble);
  const __m256i low = _mm256_and_si256(characters, nibble);
  if (_mm256_testz_si256(_mm256_shuffle_epi8(low_classes, low),
                         _mm256_shuffle_epi8(high_classes, high)) == 0) {
    return false;
  }
  // The high half picks the offset; '/' shares its half with '+' and takes the entry below.
  const __m256i offsets = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0));
  const __m256i is_slash = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
  const __m256i range = _mm256_add_epi8(is_slash, high);
  characters = _mm256_add_epi8(characters, _mm256_shuffle_epi8(offsets, range));
  return true;
}

// Sixteen values in each half become twelve bytes at its start.
WZ_AVX2 inline __m256i join_sextets(__m256i sextets) noexcept {
  const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(0x01400140));
  const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i order = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                         2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  return _mm256_shuffle_epi8(groups, order);
}

}  // namespace

WZ_AVX2 std::size_t encode_avx2(const unsigned char* input, std::size_t length,
                                unsigned char* output) noexcept {
  constexpr std::size_t kStep = 24;
  constexpr std::size_t kLoaded = 28;  // the second half is read as 16 bytes from offset 12
  std::size_t done = 0;
  for (; length - done >= kLoaded; done += kStep, output += 32) {
    const auto* first = reinterpret_cast<const __m128i*>(input + done);
    const auto* second = reinterpret_cast<const __m128i*>(input + done + 12);
    const __m256i bytes = _mm256_set_m128i(_mm_loadu_si128(second), _mm_loadu_si128(first));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(output),
                        to_characters(split_into_sextets(bytes)));
  }
  return done;
}

WZ_AVX2 std::size_t decode_avx2(const unsigned char* input, std::size_t length,
                                unsigned char* output, std::size_t room) noexcept {
  constexpr std::size_t kStep = 32;
  constexpr std::size_t kStored = 24;
  std::size_t done = 0;
  for (; length - done >= kStep && room >= kStored; done += kStep, room -= kStored) {
    __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(input + done));
    if (!to_sextets(block)) {
      break;
    }
    // Close the gap between the halves: the bytes to store are the first 24.
    const __m256i bytes =
        _mm256_permutevar8x32_epi32(join_sextets(block), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(output), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(output + 16), _mm256_extracti128_si256(bytes, 1));
    output += kStored;
  }
  return done;
}

}  // namespace wz::base64
