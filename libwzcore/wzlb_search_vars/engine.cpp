// The engine: walks the occurrences of a pair of boundaries and stores one or all of their values.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <cstring>
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

  void store(std::string_view value, ArrayValEntry& element) const {
    const bool may_hold_nul =
        !value.empty() && std::memchr(value.data(), 0, value.size()) != nullptr;
    wzlb_save_search_var_value(var_name, const_cast<char*>(value.data()),
                               static_cast<int>(value.size()), offset, max_length, convert, methods,
                               total_methods, &element, may_hold_nul ? 1 : 0);
  }
};

// Goes from one occurrence to the next. Occurrence N is the N-th left boundary with the first right
// boundary behind it; the count goes on behind the left boundary, so occurrences may share a right
// one.
class Occurrences {
 public:
  explicit Occurrences(const Search& search) : search_(search) {}

  // Moves to the next left boundary; false when there is none.
  bool next() {
    const auto left = search_.left.find(search_.text, from_);
    if (!left) {
      return false;
    }
    from_ = left->end;
    ++count_;
    return true;
  }

  // The value behind the current left boundary; false when no right boundary follows.
  bool value(std::string_view& value) const {
    const auto right = search_.right.find(search_.text, from_);
    if (!right) {
      return false;
    }
    std::size_t begin = from_;
    while (search_.closest_left) {
      const auto closer = search_.left.find(search_.text.substr(0, right->begin), begin);
      if (!closer) {
        break;
      }
      begin = closer->end;
    }
    value = search_.text.substr(begin, right->begin - begin);
    return true;
  }

  [[nodiscard]] int count() const { return count_; }

 private:
  const Search& search_;
  std::size_t from_ = 0;
  int count_ = 0;
};

// Seeded once per thread; a random choice among occurrences needs no better generator.
int random_below(int bound) {
  thread_local std::minstd_rand generator{std::random_device{}()};
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

Found search_all(const Search& search) {
  Found found;
  Occurrences occurrences(search);
  std::string_view value;
  while (occurrences.next() && occurrences.value(value)) {
    const int row = create_temparrayval_table_entry(&found.all);
    search.store(value, found.all.tempTagArrayVal[row]);
  }
  found.values = found.all.total_tmp_tagvar;
  found.result = found.values;
  return found;
}

// Chooses among all occurrences, or among those that have a text, and tells which it was.
Found search_any(const Search& search, bool non_empty) {
  Found found;
  found.result = -1;
  int candidates = 0;
  std::string_view value;
  for (Occurrences count(search); count.next() && count.value(value);) {
    candidates += non_empty && value.empty() ? 0 : 1;
  }
  if (candidates == 0) {
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
  if (uservartable_entry == nullptr || buf_ptr == nullptr || end_ptr < buf_ptr) {
    return 0;
  }
  char no_name[] = "";
  char* name = var_name != nullptr ? var_name : no_name;
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_SEARCH,
             "Method called. var_name = %s, lb = %s, rb = %s, req_ord = %d, offset = %d, "
             "var_length = %d, full_buffer_len = %d",
             name, lb != nullptr ? lb : "", rb != nullptr ? rb : "", req_ord, offset, var_length,
             full_buffer_len);
  const bool ignores_case = ignore_case == 1;
  const bool left_is_regex = (search_flag & WZ_SEARCH_LB_IS_REGEX) != 0;
  const bool right_is_regex = (search_flag & WZ_SEARCH_RB_IS_REGEX) != 0;
  const wz::Search search{
      .var_name = name,
      .text = {buf_ptr, static_cast<std::size_t>(end_ptr - buf_ptr)},
      .left = {wz::view_of(lb), left_is_regex ? preg_lb : nullptr, ignores_case},
      .right = {wz::view_of(rb), right_is_regex ? preg_rb : nullptr, ignores_case},
      .closest_left = lbmatch == WZ_LBMATCH_CLOSEST,
      .offset = offset,
      .max_length = var_length,
      .convert = convert,
      .methods = method_type,
      .total_methods = method != 0 ? total_method : 0,
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
