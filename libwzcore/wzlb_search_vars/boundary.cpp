#include "libwzcore/wzlb_search_vars/boundary.h"

#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>

#include "libwzcore/internal/trace.h"
#include "libwzcore/wzlb_search_vars/byte_search.h"

namespace wz {
namespace {

bool equal_ignoring_case(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

// The GNU entry takes the length of the text, which may hold NULs and need not end in one. The copy
// of the expression shares its program and asks for the place of the whole match only.
std::optional<BoundaryMatch> find_regex(const regex_t& regex, std::string_view range,
                                        std::size_t from) {
  regex_t pattern = regex;
  pattern.no_sub = 0;
  pattern.regs_allocated = REGS_FIXED;
  regoff_t begin = -1;
  regoff_t end = -1;
  re_registers place{.num_regs = 1, .start = &begin, .end = &end};
  const auto size = static_cast<regoff_t>(range.size());
  const auto start = static_cast<regoff_t>(from);
  const char* text = range.empty() ? "" : range.data();
  if (re_search(&pattern, text, size, start, size - start, &place) < 0) {
    return std::nullopt;
  }
  return BoundaryMatch{static_cast<std::size_t>(begin), static_cast<std::size_t>(end)};
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

// Bytes to print of a text, for "%.*s".
int width(std::string_view text) {
  return static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
}

// Traces print no byte outside the two texts, which need no NUL behind them.
const char* find_plain(std::string_view range, std::string_view text, Matching matching) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "str = %.*s, sub_str = %.*s, ignore_case = %d",
             width(range), range.data(), width(text), text.data(),
             matching == Matching::kIgnoringCase ? 1 : 0);
  const char* found = nullptr;
  if (matching == Matching::kIgnoringCase) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Ignore case = 1");
    found = text.empty() ? nullptr : find_ignoring_case(range, text);
  } else {
    WZLB_TRACE(
        WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "%s",
        matching == Matching::kBytes ? "Binary flag = 1" : "Ignore case = 0 and binary flag = 0");
    found = find_bytes(range, text);
  }
  WZLB_TRACE(
      WZLB_LEVEL_3, WZLB_MODULE_SEARCH, " Return ptr = %.*s",
      found != nullptr ? width(range.substr(static_cast<std::size_t>(found - range.data()))) : -1,
      found != nullptr ? found : "(null)");
  return found;
}

}  // namespace

std::optional<BoundaryMatch> Boundary::find(std::string_view range, std::size_t from) const {
  if (from > range.size()) {
    return std::nullopt;
  }
  if (regex != nullptr) {
    return find_regex(*regex, range, from);
  }
  if (text.empty()) {
    return std::nullopt;
  }
  const char* found = find_plain(range.substr(from), text, matching);
  if (found == nullptr) {
    return std::nullopt;
  }
  const auto begin = static_cast<std::size_t>(found - range.data());
  return BoundaryMatch{begin, begin + text.size()};
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
  const bool is_binary = ignore_case != 1 && binary_flag != 0;
  if (str == nullptr || sub_str == nullptr || (is_binary && (full_buffer_len < 0 || length < 0))) {
    return nullptr;
  }
  const auto view = [is_binary](const char* text, int size) {
    return is_binary ? std::string_view(text, static_cast<std::size_t>(size))
                     : std::string_view(text);
  };
  const auto matching = ignore_case == 1 ? wz::Matching::kIgnoringCase
                        : is_binary      ? wz::Matching::kBytes
                                         : wz::Matching::kText;
  return const_cast<char*>(
      wz::find_plain(view(str, full_buffer_len), view(sub_str, length), matching));
}
