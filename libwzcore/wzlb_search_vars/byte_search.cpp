// Boundaries are short and stand within a few hundred bytes, where the set-up of memmem costs as
// much as its search. Comparing the first and the last byte of the text at sixteen places at once
// needs no set-up; a range that is full of such places is left to memmem, whose time is bounded.
#include "libwzcore/wzlb_search_vars/byte_search.h"

#include <emmintrin.h>

#include <bit>
#include <cstring>

namespace wz {
namespace {

constexpr std::size_t kLanes = 16;
constexpr std::size_t kFreeMisses = 32;  // and one more for each block passed

__m128i load(const char* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// The text, prepared for comparing it at sixteen places of a block.
class Pattern {
 public:
  explicit Pattern(std::string_view text)
      : text_(text), first_(_mm_set1_epi8(text.front())), last_(_mm_set1_epi8(text.back())) {}

  // One bit for each place of the block where the text may start.
  [[nodiscard]] unsigned int candidates(const char* block) const {
    const __m128i same = _mm_and_si128(_mm_cmpeq_epi8(load(block), first_),
                                       _mm_cmpeq_epi8(load(block + text_.size() - 1), last_));
    return static_cast<unsigned int>(_mm_movemask_epi8(same));
  }

  // The first candidate that is a match; counts those that are not.
  const char* find_match(const char* block, unsigned int candidates, std::size_t& misses) const {
    for (; candidates != 0; candidates &= candidates - 1) {
      const char* place = block + std::countr_zero(candidates);
      if (std::memcmp(place, text_.data(), text_.size()) == 0) {
        return place;
      }
      ++misses;
    }
    return nullptr;
  }

 private:
  std::string_view text_;
  __m128i first_;
  __m128i last_;
};

const char* find_one_by_one(const char* begin, const char* end, std::string_view text) {
  for (; begin != end; ++begin) {
    if (*begin == text.front() && std::memcmp(begin, text.data(), text.size()) == 0) {
      return begin;
    }
  }
  return nullptr;
}

}  // namespace

const char* find_bytes(std::string_view range, std::string_view text) noexcept {
  if (text.empty() || range.size() < text.size()) {
    return text.empty() ? range.data() : nullptr;
  }
  if (text.size() == 1) {
    return static_cast<const char*>(std::memchr(range.data(), text.front(), range.size()));
  }
  const char* const end = range.data() + range.size();
  const char* const last_place = end - text.size();
  const std::size_t places = range.size() - text.size() + 1;
  if (places < kLanes) {
    return find_one_by_one(range.data(), last_place + 1, text);
  }
  const Pattern pattern(text);
  const char* const last_block = last_place + 1 - kLanes;  // may overlap the one before
  std::size_t misses = 0;
  for (const char* block = range.data(); block < last_block; block += kLanes) {
    const unsigned int candidates = pattern.candidates(block);
    if (candidates == 0) [[likely]] {
      continue;
    }
    if (const char* found = pattern.find_match(block, candidates, misses); found != nullptr) {
      return found;
    }
    if (misses > kFreeMisses + static_cast<std::size_t>(block - range.data()) / kLanes) {
      const char* rest = block + kLanes;
      return static_cast<const char*>(
          memmem(rest, static_cast<std::size_t>(end - rest), text.data(), text.size()));
    }
  }
  return pattern.find_match(last_block, pattern.candidates(last_block), misses);
}

}  // namespace wz
