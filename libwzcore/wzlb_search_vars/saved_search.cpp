// One search over a text on behalf of a script.
#include "libwzcore/wzlb_search_vars/saved_search.h"

#include <wz/wzlb_alloc.h>
#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

bool is_missing(const char* text) {
  return text == nullptr || *text == '\0';
}

// The C library's searches stop at the NUL, so the length of the text need not be known: a script
// often looks at the first few hundred bytes of a long body.
const char* find_text(const char* text, const char* boundary) {
  return boundary[1] == '\0' ? std::strchr(text, boundary[0]) : std::strstr(text, boundary);
}

// Where the value of occurrence `ord` starts; null when there are fewer.
const char* find_value_start(const char* text, const char* lb, int ord) {
  const std::size_t length = std::strlen(lb);
  for (; ord > 0; --ord) {
    const char* left = find_text(text, lb);
    if (left == nullptr) {
      return nullptr;
    }
    text = left + length;
  }
  return text;
}

// Scripts search plain, case-sensitive text, without methods or conversion.
int search_text(std::string_view text, char* lb, char* rb, int ord, int start_offset, int save_len,
                UserVarEntry& holder) {
  char name[] = "SearchInSearch";
  char* begin = const_cast<char*>(text.data());
  return wzlb_get_search_var_value(name, lb, rb, start_offset, save_len, begin, begin + text.size(),
                                   nullptr, ord, 0, 0, &holder, 0, nullptr, 0, 0, nullptr, nullptr,
                                   0, WZ_LBMATCH_FIRST, 0);
}

char* copy_of(std::string_view text) {
  char* copy = static_cast<char*>(WZLB_MALLOC(text.size() + 1, "out_buf_ptr"));
  text.copy(copy, text.size());
  copy[text.size()] = '\0';
  return copy;
}

// All occurrences are counted, but the text itself is the result, deliberately: scripts cut it up
// on their own. So nothing of the values is kept.
char* count_all(std::string_view text, char* lb, char* rb, int start_offset, int& count) {
  UserVarEntry values{};
  count = search_text(text, lb, rb, WZ_ORD_ALL, start_offset, 0, values);
  free_var_value(&values);
  return copy_of(text);
}

// Takes the value out of the holder instead of copying it.
char* take_value(UserVarEntry& holder) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "searchin_uvtable->length = %d",
             static_cast<int>(holder.length));
  char* value = std::exchange(holder.value.value, nullptr);
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Freeing searchin_uvtable");
  free_var_value(&holder);
  return value != nullptr ? value : copy_of("");
}

}  // namespace

std::optional<SearchedValue> find_searched_value(const char* text, const char* lb, const char* rb,
                                                 int ord, int start_offset, int save_len) noexcept {
  if (text == nullptr || is_missing(lb) || is_missing(rb) || ord < 1 ||
      tracing(WZLB_LEVEL_3, WZLB_MODULE_SEARCH)) {
    return std::nullopt;
  }
  const char* begin = find_value_start(text, lb, ord);
  const char* end = begin != nullptr ? find_text(begin, rb) : nullptr;
  if (end == nullptr) {
    return SearchedValue{.text = "", .count = 0};
  }
  const auto length = static_cast<std::size_t>(end - begin);
  const std::size_t skipped = std::min(length, static_cast<std::size_t>(std::max(start_offset, 0)));
  const std::size_t rest = length - skipped;
  const std::size_t kept = save_len < 0 ? rest : std::min(rest, static_cast<std::size_t>(save_len));
  return SearchedValue{.text = {begin + skipped, kept}, .count = 1};
}

}  // namespace wz

char* wzlb_save_searched_string(char* in, char* lb, char* rb, int ord, int start_offset,
                                int save_len, int* save_count) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Method Called.");
  int unused_count = 0;
  int& count = save_count != nullptr ? *save_count : unused_count;
  if (const auto found = wz::find_searched_value(in, lb, rb, ord, start_offset, save_len)) {
    count = found->count;
    return wz::copy_of(found->text);
  }
  count = 0;
  if (wz::is_missing(lb) || wz::is_missing(rb)) {
    std::fputs(
        "Error: wz_save_searched_string(): Either lb or rb is empty. lb and rb should not be "
        "empty.\n",
        stderr);
    return nullptr;
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "req_ord = %d", ord);
  // The random choice of a non-empty occurrence is deliberately not for scripts.
  if (ord < 1 && ord != WZ_ORD_ALL && ord != WZ_ORD_ANY) {
    std::fputs(
        "Error: wz_save_searched_string(): ord must be greater than 0 or use macro WZ_ORD_ANY or "
        "WZ_ORD_ALL.\n",
        stderr);
    return nullptr;
  }
  if (in == nullptr) {
    return nullptr;
  }
  UserVarEntry holder{};
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "searchin_uvtable = %p",
             static_cast<void*>(&holder));
  const std::string_view text = in;
  if (ord == WZ_ORD_ALL) {
    return wz::count_all(text, lb, rb, start_offset, count);
  }
  if (ord == WZ_ORD_ANY) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Case Of ord any");
  }
  count = wz::search_text(text, lb, rb, ord, start_offset, save_len, holder);
  if (ord == WZ_ORD_ANY && count > 0) {
    // The first run has chosen; the second fetches what it chose.
    count = wz::search_text(text, lb, rb, count, start_offset, save_len, holder);
  }
  return wz::take_value(holder);
}
