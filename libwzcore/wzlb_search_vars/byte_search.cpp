// Boundaries are short and stand within a few hundred bytes, where the set-up of memmem costs as
// much as its search. Comparing the first and the last byte of the text at sixteen places at once
// needs no set-up; a range that is full of such places is left to memmem, whose time is bounded.
#include "libwzcore/wzlb_search_vars/byte_search.h"

#include <emmintrin.h>

#include <algorithm>
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

  // The first match that starts in the block at `block`; counts places that only looked like one.
  const char* find_in_block(const char* block, std::size_t& misses) const {
    const __m128i same = _mm_and_si128(_mm_cmpeq_epi8(load(block), first_),
                                       _mm_cmpeq_epi8(load(block + text_.size() - 1), last_));
    auto places = static_cast<unsigned int>(_mm_movemask_epi8(same));
    for (; places != 0; places &= places - 1) {
      const char* place = block + std::countr_zero(places);
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
  const char* const last_block = last_place + 1 - kLanes;
  const char* block = range.data();
  for (std::size_t misses = 0, allowed = kFreeMisses;; ++allowed) {
    if (const char* found = pattern.find_in_block(block, misses); found != nullptr) {
      return found;
    }
    if (block == last_block) {
      return nullptr;
    }
    block = std::min(block + kLanes, last_block);  // the last one may overlap the one before
    if (misses > allowed) {
      return static_cast<const char*>(
          memmem(block, static_cast<std::size_t>(end - block), text.data(), text.size()));
    }
  }
}

}  // namespace wz
