// How much of a text is free of the characters that need a look: sixteen bytes at a time.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace wz::hessian {

constexpr std::size_t kScanStep = sizeof(__m128i);

// All but ASCII.
struct ForeignBytes {
  static __m128i among(__m128i bytes) noexcept { return bytes; }  // the highest bit counts
  static constexpr bool has(char byte) noexcept { return static_cast<signed char>(byte) < 0; }
};

// All but printable ASCII, tabs and line feeds.
struct UnusualBytes {
  static __m128i among(__m128i bytes) noexcept {
    // Compared with their signs, bytes from 0x80 on are less than a blank too.
    const __m128i low = _mm_cmplt_epi8(bytes, _mm_set1_epi8(' '));
    const __m128i blank = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\t')),
                                       _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')));
    return _mm_andnot_si128(blank, low);
  }
  static constexpr bool has(char byte) noexcept {
    return static_cast<signed char>(byte) < ' ' && byte != '\t' && byte != '\n';
  }
};

// Those and what XML text has in escaped form: quotes, '&', '<' and '>'.
struct EscapedBytes {
  static __m128i among(__m128i bytes) noexcept {
    const auto is = [bytes](char one, char differing_bit) {
      return _mm_cmpeq_epi8(_mm_or_si128(bytes, _mm_set1_epi8(differing_bit)), _mm_set1_epi8(one));
    };
    const __m128i marks = _mm_or_si128(is('\'', '\'' ^ '&'), is('>', '>' ^ '<'));
    return _mm_or_si128(UnusualBytes::among(bytes), _mm_or_si128(marks, is('"', 0)));
  }
  static constexpr bool has(char byte) noexcept {
    return UnusualBytes::has(byte) || byte == '"' || byte == '\'' || byte == '&' || byte == '<' ||
           byte == '>';
  }
};

// Those and what ends or interrupts the text of an XML document.
struct MarkupBytes {
  static __m128i among(__m128i bytes) noexcept {
    const auto is = [bytes](char one) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(one)); };
    return _mm_or_si128(UnusualBytes::among(bytes),
                        _mm_or_si128(_mm_or_si128(is('<'), is('&')), is(']')));
  }
  static constexpr bool has(char byte) noexcept {
    return UnusualBytes::has(byte) || byte == '<' || byte == '&' || byte == ']';
  }
};

// Whether two texts are equal, for short ones: the call of memcmp would cost as much as its work.
inline bool is_same(std::string_view one, std::string_view other) noexcept {
  const std::size_t size = one.size();
  if (size != other.size()) {
    return false;
  }
  const auto has_same = [&]<typename Piece>(std::size_t at, Piece) {
    Piece first;
    Piece second;
    std::memcpy(&first, one.data() + at, sizeof(Piece));
    std::memcpy(&second, other.data() + at, sizeof(Piece));
    return first == second;
  };
  if (size >= sizeof(std::uint64_t)) {
    for (std::size_t at = 0; at + sizeof(std::uint64_t) < size; at += sizeof(std::uint64_t)) {
      if (!has_same(at, std::uint64_t{})) {
        return false;
      }
    }
    return has_same(size - sizeof(std::uint64_t), std::uint64_t{});
  }
  if (size >= sizeof(std::uint32_t)) {
    return has_same(0, std::uint32_t{}) && has_same(size - sizeof(std::uint32_t), std::uint32_t{});
  }
  for (std::size_t at = 0; at < size; ++at) {
    if (one[at] != other[at]) {
      return false;
    }
  }
  return true;
}

// The bytes in front of the first one of `Bytes`.
template <typename Bytes>
[[gnu::always_inline]] inline std::size_t length_without(std::string_view text) noexcept {
  std::size_t length = 0;
  for (; text.size() - length >= kScanStep; length += kScanStep) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + length));
    const auto found = static_cast<unsigned>(_mm_movemask_epi8(Bytes::among(bytes)));
    if (found != 0) {
      return length + static_cast<std::size_t>(std::countr_zero(found));
    }
  }
  while (length < text.size() && !Bytes::has(text[length])) {
    ++length;
  }
  return length;
}

}  // namespace wz::hessian
