// The engine: walks the occurrences of a pair of boundaries and stores one or all of their values.
#include <unistd.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <random>

#include "libwzcore/internal/trace.h"
#include "libwzcore/wzlb_search_vars/boundary.h"

namespace wz {
namespace {

constexpr char kValueLabel[] = "value_ptr->value.value";

// What is common to all values of one search.
struct Search {
  char* var_name;
  std::string_view text;
  Boundary left;
  Boundary right;
  bool closest_left;
  int offset;
  int max_length;
  char convert;
  char* methods;
  int total_methods;

  short binary_flag;

  // Bytes of a value that offset and length leave.
  [[nodiscard]] std::size_t kept(std::string_view value) const {
    const std::size_t rest = value.size() - std::min(value.size(), skipped());
    return max_length < 0 ? rest : std::min(rest, static_cast<std::size_t>(max_length));
  }
  [[nodiscard]] std::size_t skipped() const {
    return static_cast<std::size_t>(std::max(offset, 0));
  }

  void store(std::string_view value, ArrayValEntry& element) const {
    wzlb_save_search_var_value(var_name, const_cast<char*>(value.data()),
                               static_cast<int>(value.size()), offset, max_length, convert, methods,
                               total_methods, &element, binary_flag);
  }
};

// Goes from one occurrence to the next. Occurrence N is the N-th left boundary with the first right
// boundary behind it; the count goes on behind the left boundary, so occurrences may share a right
// one. With `closest_left`, left boundaries that another one follows before the right boundary do
// not count.
class Occurrences {
 public:
  explicit Occurrences(const Search& search) : search_(search) {}

  // Moves to the next left boundary; false when there is none.
  bool next() {
    auto left = search_.left.find(search_.text, resume_);
    if (!left) {
      return false;
    }
    enter(*left);
    if (search_.closest_left && find_right()) {
      const std::string_view before = search_.text.substr(0, right_.begin);
      while ((left = search_.left.find(before, resume_))) {
        enter(*left);
      }
    }
    ++count_;
    return true;
  }

  // The value behind the current left boundary; false when no right boundary follows.
  bool value(std::string_view& value) {
    if (!find_right()) {
      return false;
    }
    value = search_.text.substr(begin_, right_.begin - begin_);
    return true;
  }

  [[nodiscard]] int count() const { return count_; }

  void trace_nothing_found() const {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "%s",
               count_ == 0 ? "LB not found for search var" : "RB not found for search var");
  }

 private:
  void enter(const BoundaryMatch& left) {
    begin_ = left.end;
    resume_ = left.end + (left.end == left.begin ? 1 : 0);  // an empty match must not come again
  }

  // A right boundary stays the first one for all left boundaries before it, so that many of them
  // cost one search.
  bool find_right() {
    if (right_state_ == kFound && right_.begin < begin_) {
      right_state_ = kUnknown;
    }
    if (right_state_ == kUnknown) {
      const auto right = search_.right.find(search_.text, begin_);
      right_state_ = right ? kFound : kNone;
      right_ = right.value_or(BoundaryMatch{});
    }
    return right_state_ == kFound;
  }

  const Search& search_;
  BoundaryMatch right_{};
  enum { kUnknown, kFound, kNone } right_state_ = kUnknown;
  std::size_t begin_ = 0;   // of the current value
  std::size_t resume_ = 0;  // where to look for the next left boundary
  int count_ = 0;
};

// Seeded once per thread from the kernel; a choice among occurrences needs no better generator.
int random_below(int bound) {
  thread_local std::minstd_rand generator = [] {
    unsigned int seed = 0;
    if (getentropy(&seed, sizeof seed) != 0) {
      seed = static_cast<unsigned int>(std::time(nullptr));
    }
    return std::minstd_rand(seed);
  }();
  return std::uniform_int_distribution<int>(0, bound - 1)(generator);
}

bool find_single(const Search& search, int ordinal, std::string_view& value) {
  Occurrences occurrences(search);
  while (occurrences.count() < ordinal) {
    if (!occurrences.next()) {
      WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "%dth LB not found in the response", ordinal);
      WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "LB not found for search var");
      return false;
    }
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Found LB of search var");
  if (!occurrences.value(value)) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "RB not found for search var");
    return false;
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH, "Found RB of search var");
  return true;
}

// The results of one call, before they replace what the entry held.
struct Found {
  int result = 0;
  int values = 0;
  ArrayValEntry single{};
  TempArrayNodeVar all{};
};

Found search_single(const Search& search, int ordinal) {
  Found found;
  std::string_view value;
  if (find_single(search, ordinal, value)) {
    search.store(value, found.single);
    found.values = 1;
  }
  found.result = found.values;
  return found;
}

// Values that share a right boundary overlap: a text of left boundaries alone would make values of
// half its length squared. So all values together may take this much, and distinct ones always fit.
std::size_t room_for_all(std::string_view text) {
  constexpr std::size_t kMinimum = 64UL << 20U;  // bytes
  return std::max(kMinimum, text.size());
}

Found search_all(const Search& search) {
  Found found;
  Occurrences occurrences(search);
  const std::size_t room = room_for_all(search.text);
  std::size_t used = 0;
  for (std::string_view value; occurrences.next() && occurrences.value(value);) {
    used += search.kept(value);
    if (used > room) {
      WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_SEARCH,
                 "Values of %s overlap and take too much memory. Keeping the first %d",
                 search.var_name, found.all.total_tmp_tagvar);
      break;
    }
    const int row = create_temparrayval_table_entry(&found.all);
    search.store(value, found.all.tempTagArrayVal[row]);
  }
  found.values = found.all.total_tmp_tagvar;
  if (found.values == 0) {
    occurrences.trace_nothing_found();
  }
  found.result = found.values;
  return found;
}

// Chooses among all occurrences, or among those that have a text, and tells which it was.
Found search_any(const Search& search, bool non_empty) {
  Found found;
  found.result = -1;
  int candidates = 0;
  std::string_view value;
  Occurrences all(search);
  while (all.next() && all.value(value)) {
    candidates += non_empty && value.empty() ? 0 : 1;
  }
  if (candidates == 0) {
    all.trace_nothing_found();
    return found;
  }
  int skip = random_below(candidates);
  Occurrences occurrences(search);
  while (occurrences.next() && occurrences.value(value)) {
    if (!(non_empty && value.empty()) && skip-- == 0) {
      break;
    }
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH,
             "ORD=ANY, got total %d vars. Randomly generated actual_ord = %d", candidates,
             occurrences.count());
  search.store(value, found.single);
  found.values = 1;
  found.result = occurrences.count();
  return found;
}

Found run_search(const Search& search, int ordinal) {
  switch (ordinal) {
    case WZ_ORD_ALL:
      return search_all(search);
    case WZ_ORD_ANY:
      return search_any(search, false);
    case ORD_ANY_NON_EMPTY:
      return search_any(search, true);
    default:
      return ordinal > 0 ? search_single(search, ordinal) : Found{};
  }
}

void replace_value(UserVarEntry& entry, const Found& found, bool is_array) {
  free_var_value(&entry);
  if (is_array) {
    entry.flags |= WZ_USER_VAR_IS_ARRAY;
    entry.value.array = found.all.tempTagArrayVal;
    entry.length = static_cast<unsigned int>(found.all.total_tmp_tagvar);
  } else {
    entry.value.value = found.single.value;
    entry.length = found.single.length;
  }
}

std::string_view view_of(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

}  // namespace
}  // namespace wz

int wzlb_save_search_var_value(char* var_name, char* value, int value_length, int offset,
                               int var_length, char convert, char* method_type, int total_method,
                               ArrayValEntry* element, short binary_flag) {
  *element = {};
  const int skipped = std::max(offset, 0);
  if (value_length <= 0 || skipped >= value_length) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH,
               "Either value length is <= 0 or saveoffset is >= value_length. Treating it as null "
               "value. value_length = %d for %s",
               value_length, var_name);
    return 0;
  }
  const int rest = value_length - skipped;
  int length = var_length < 0 ? rest : std::min(rest, var_length);
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH,
             "Search Var value_length = %d, copy_length = %d for %s", value_length, length,
             var_name);
  char* copy = static_cast<char*>(WZLB_MALLOC(length + 1, wz::kValueLabel));
  std::memcpy(copy, value + skipped, static_cast<std::size_t>(length));
  copy[length] = '\0';
  if (total_method > 0 || convert != 0) {
    char* final_value = get_search_final_val(copy, &length, method_type, total_method);
    char* converted = nullptr;
    auto converted_length = static_cast<unsigned int>(length);
    do_search_var_encoding(convert, &converted, final_value, &converted_length, binary_flag);
    WZLB_FREE(copy, wz::kValueLabel, -1);
    copy = converted;
    length = static_cast<int>(converted_length);
  }
  *element = {copy, static_cast<unsigned int>(length)};
  return 0;
}

int wzlb_get_search_var_value(char* var_name, char* lb, char* rb, int offset, int var_length,
                              char* buf_ptr, char* end_ptr, int* string_found_flag, int req_ord,
                              char convert, int method, UserVarEntry* uservartable_entry,
                              int retain_pre_value, char* method_type, int total_method,
                              char ignore_case, regex_t* preg_lb, regex_t* preg_rb,
                              char search_flag, int lbmatch, int full_buffer_len) {
  if (string_found_flag != nullptr) {
    *string_found_flag = 0;
  }
  if (uservartable_entry == nullptr) {
    return 0;
  }
  char no_name[] = "";
  char* name = var_name != nullptr ? var_name : no_name;
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH,
             "Method called. var_name = %s, lb = %s, rb = %s, req_ord = %d, offset = %d, "
             "var_length = %d, full_buffer_len = %d",
             name, lb != nullptr ? lb : "", rb != nullptr ? rb : "", req_ord, offset, var_length,
             full_buffer_len);
  const bool has_text = buf_ptr != nullptr && end_ptr >= buf_ptr;
  const short binary_flag = full_buffer_len != 0 ? 1 : 0;
  const auto matching = ignore_case == 1   ? wz::Matching::kIgnoringCase
                        : binary_flag != 0 ? wz::Matching::kBytes
                                           : wz::Matching::kText;
  const bool left_is_regex = (search_flag & WZ_SEARCH_LB_IS_REGEX) != 0;
  const bool right_is_regex = (search_flag & WZ_SEARCH_RB_IS_REGEX) != 0;
  const wz::Search search{
      .var_name = name,
      .text = has_text ? std::string_view(buf_ptr, static_cast<std::size_t>(end_ptr - buf_ptr))
                       : std::string_view(),
      .left = {wz::view_of(lb), left_is_regex ? preg_lb : nullptr, matching},
      .right = {wz::view_of(rb), right_is_regex ? preg_rb : nullptr, matching},
      .closest_left = lbmatch == WZ_LBMATCH_CLOSEST,
      .offset = offset,
      .max_length = var_length,
      .convert = convert,
      .methods = method_type,
      .total_methods = method != 0 ? total_method : 0,
      .binary_flag = binary_flag,
  };
  const wz::Found found = wz::run_search(search, req_ord);
  if (string_found_flag != nullptr) {
    *string_found_flag = found.values > 0 ? 1 : 0;
  }
  if (found.values > 0 || retain_pre_value == 0) {
    wz::replace_value(*uservartable_entry, found, req_ord == WZ_ORD_ALL);
  }
  return found.result;
}
