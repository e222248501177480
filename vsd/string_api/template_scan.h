// Scanning and copying the pieces of a template, which are short: the call of a library function
// would cost as much as its work. Sixteen characters at a time, and never one outside of the text.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstring>

namespace wz::script {

// Copies kHalf to 2 * kHalf bytes as two blocks that may overlap.
template <std::size_t kHalf>
inline void copy_halves(char* to, const char* from, std::size_t length) noexcept {
  char first[kHalf];
  char last[kHalf];
  std::memcpy(first, from, kHalf);
  std::memcpy(last, from + length - kHalf, kHalf);
  std::memcpy(to, first, kHalf);
  std::memcpy(to + length - kHalf, last, kHalf);
}

// memcpy without the call for short values, which most are.
inline void copy_bytes(char* to, const char* from, std::size_t length) noexcept {
  if (length - 8 <= 8) {
    copy_halves<8>(to, from, length);
  } else if (length - 16 <= 16) {
    copy_halves<16>(to, from, length);
  } else if (length - 4 <= 4) {
    copy_halves<4>(to, from, length);
  } else if (length < 4) {
    for (std::size_t i = 0; i < length; ++i) {
      to[i] = from[i];
    }
  } else {
    std::memcpy(to, from, length);
  }
}

inline char* find(char* from, char* end, char brace) noexcept {
  return static_cast<char*>(std::memchr(from, brace, static_cast<std::size_t>(end - from)));
}

inline constexpr std::ptrdiff_t kScanBlock = 16;

// Copies at least the text before the first `{` among the `length` bytes of `from`, and returns the
// `{`; null when there is none, and all is copied. `length` is at least kScanBlock.
inline char* copy_to_brace(char* from, std::ptrdiff_t length, char* to) noexcept {
  const auto copy_block = [=](std::ptrdiff_t at) {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at), text);
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(text, _mm_set1_epi8('{'))));
  };
  const std::ptrdiff_t last = length - kScanBlock;  // may overlap the block before
  for (std::ptrdiff_t at = 0; at < last; at += kScanBlock) {
    if (const unsigned braces = copy_block(at); braces != 0) {
      return from + at + std::countr_zero(braces);
    }
  }
  const unsigned braces = copy_block(last);
  return braces != 0 ? from + last + std::countr_zero(braces) : nullptr;
}

// The characters of a reference that end its parts.
struct ReferenceEnd {
  char* name;   // the character that ended the name; the end of the template when nothing did
  char* close;  // the `}`; null when there is none
};

// Looks for them from the start of a name. What is not above the comma, which holds the blank and
// the tab, is looked at again one by one.
inline ReferenceEnd find_reference_end(char* at, char* end) noexcept {
  for (; end - at >= kScanBlock; at += kScanBlock) {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i is_low = _mm_cmpeq_epi8(_mm_min_epu8(text, _mm_set1_epi8(',')), text);
    const __m128i is_brace = _mm_cmpeq_epi8(text, _mm_set1_epi8('}'));
    const int hits = _mm_movemask_epi8(_mm_or_si128(is_low, is_brace));
    if (hits != 0) {
      at += std::countr_zero(static_cast<unsigned>(hits));
      if (*at == '}') [[likely]] {
        return {.name = at, .close = at};
      }
      break;
    }
  }
  while (at != end && *at != '}' && *at != ',' && *at != ' ' && *at != '\t') {
    ++at;
  }
  return {.name = at, .close = find(at, end, '}')};
}

}  // namespace wz::script
