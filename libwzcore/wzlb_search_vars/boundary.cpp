#include "libwzcore/wzlb_search_vars/boundary.h"

#include <emmintrin.h>
#include <wz/wzlb_search_vars.h>

#include <bit>
#include <cctype>
#include <cstring>

#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

bool equal_ignoring_case(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

std::optional<BoundaryMatch> match_at(const char* found, std::string_view range,
                                      std::size_t length) {
  if (found == nullptr) {
    return std::nullopt;
  }
  const auto begin = static_cast<std::size_t>(found - range.data());
  return BoundaryMatch{begin, begin + length};
}

std::optional<BoundaryMatch> find_regex(regex_t* regex, std::string_view range, std::size_t from) {
  // REG_STARTEND bounds the match to the range and lets it hold NULs.
  regmatch_t match{};
  match.rm_so = static_cast<regoff_t>(from);
  match.rm_eo = static_cast<regoff_t>(range.size());
  const int flags = REG_STARTEND | (from > 0 ? REG_NOTBOL : 0);
  if (regexec(regex, range.data(), 1, &match, flags) != 0 || match.rm_eo == match.rm_so) {
    return std::nullopt;
  }
  return BoundaryMatch{static_cast<std::size_t>(match.rm_so),
                       static_cast<std::size_t>(match.rm_eo)};
}

// A naive search: boundaries are short and rarely searched without regard to case.
const char* find_ignoring_case(std::string_view range, std::string_view text) {
  for (std::size_t start = 0; start + text.size() <= range.size(); ++start) {
    std::size_t same = 0;
    while (same < text.size() && equal_ignoring_case(range[start + same], text[same])) {
      ++same;
    }
    if (same == text.size()) {
      return range.data() + start;
    }
  }
  return nullptr;
}

// Longer texts are left to memmem, whose time does not depend on how alike the texts are.
constexpr std::size_t kMaxShortText = 64;

// Compares the first and the last byte at sixteen places at a time; few places pass that, and only
// those are compared in full. `text` has 2 bytes or more and fits into `range`.
const char* find_short_text(std::string_view range, std::string_view text) {
  const char* const bytes = range.data();
  const std::size_t places = range.size() - text.size() + 1;
  const std::size_t to_last = text.size() - 1;
  const auto is_at = [&](std::size_t place) {
    return std::memcmp(bytes + place, text.data(), text.size()) == 0;
  };
  const __m128i first = _mm_set1_epi8(text.front());
  const __m128i last = _mm_set1_epi8(text.back());
  const auto load = [](const char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  };
  std::size_t place = 0;
  for (; place + sizeof(__m128i) <= places; place += sizeof(__m128i)) {
    const __m128i firsts = _mm_cmpeq_epi8(load(bytes + place), first);
    const __m128i lasts = _mm_cmpeq_epi8(load(bytes + place + to_last), last);
    auto candidates = static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(firsts, lasts)));
    for (; candidates != 0; candidates &= candidates - 1) {
      const std::size_t candidate = place + static_cast<std::size_t>(std::countr_zero(candidates));
      if (is_at(candidate)) {
        return bytes + candidate;
      }
    }
  }
  for (; place < places; ++place) {
    if (bytes[place] == text.front() && is_at(place)) {
      return bytes + place;
    }
  }
  return nullptr;
}

const char* find_text(std::string_view range, std::string_view text) {
  if (text.size() > range.size()) {
    return nullptr;
  }
  if (text.size() < 2 || text.size() > kMaxShortText) {
    return static_cast<const char*>(memmem(range.data(), range.size(), text.data(), text.size()));
  }
  return find_short_text(range, text);
}

}  // namespace

std::optional<BoundaryMatch> Boundary::find(std::string_view range, std::size_t from) const {
  if (from > range.size()) {
    return std::nullopt;
  }
  if (regex != nullptr) {
    return find_regex(regex, range, from);
  }
  const std::string_view rest = range.substr(from);
  if (text.empty() || rest.empty()) {
    return std::nullopt;
  }
  const char* found = ignores_case ? find_ignoring_case(rest, text) : find_text(rest, text);
  return match_at(found, range, text.size());
}

}  // namespace wz

char* mystr_casestr(char* s, char* sub) {
  if (s == nullptr || sub == nullptr || *s == '\0' || *sub == '\0') {
    return nullptr;
  }
  return const_cast<char*>(wz::find_ignoring_case(s, sub));
}

char* find_lb_or_rb(char* str, char* sub_str, char ignore_case, int full_buffer_len, int length,
                    short binary_flag) {
  if (str == nullptr || sub_str == nullptr) {
    return nullptr;
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "str = %s, sub_str = %s, ignore_case = %d", str,
             sub_str, ignore_case);
  char* found = nullptr;
  if (ignore_case == 1) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Ignore case = 1");
    found = mystr_casestr(str, sub_str);
  } else if (binary_flag != 0) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Binary flag = 1");
    if (full_buffer_len >= 0 && length >= 0) {
      found = static_cast<char*>(memmem(str, static_cast<std::size_t>(full_buffer_len), sub_str,
                                        static_cast<std::size_t>(length)));
    }
  } else {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Ignore case = 0 and binary flag = 0");
    found = std::strstr(str, sub_str);
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, " Return ptr = %s",
             found != nullptr ? found : "(null)");
  return found;
}
