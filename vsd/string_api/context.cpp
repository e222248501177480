// Array references: `name_N` is element N of an array variable and `name_count` the number of its
// elements, unless a variable of exactly that name exists.
#include "vsd/string_api/context.h"

#include <strings.h>
#include <wz/wz_script.h>

#include <charconv>
#include <optional>

#include "vsd/trace.h"

namespace wz::script {
namespace {

// In whose name this file traces.
constexpr const char* kFunction = "is_array_variable";

enum class Suffix { kNumber = 0, kCount = 1, kOther = -1 };

// An empty suffix counts as a number.
Suffix classify_suffix(std::string_view suffix) noexcept {
  if (suffix == "count") {
    return Suffix::kCount;
  }
  return suffix.find_first_not_of("0123456789") == std::string_view::npos ? Suffix::kNumber
                                                                          : Suffix::kOther;
}

// Numbers beyond int are beyond every array.
int element_index(std::string_view digits) noexcept {
  int index = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
  return error == std::errc() ? index : INT_MAX;
}

// The index that `suffix` selects of the base variable, if it is one.
std::optional<int> select_element(bool base_is_array, std::string_view suffix) noexcept {
  if (!base_is_array) {
    // Deliberately looser than for arrays: scalars answer to any case of "count".
    if (suffix.size() == 5 && strncasecmp(suffix.data(), "count", 5) == 0) {
      VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
                   "variable is not vector, and used with _count. Returning hashcode");
      return kCountIndex;
    }
    VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
                 "Varaible is not an array variable, returning -1");
    return std::nullopt;
  }
  switch (classify_suffix(suffix)) {
    case Suffix::kCount:
      return kCountIndex;
    case Suffix::kNumber:
      return element_index(suffix);
    default:
      return std::nullopt;
  }
}

}  // namespace

ArrayReference find_array_reference(const Context& context, std::string_view name) noexcept {
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "Method called");
  const std::size_t underscore = name.rfind('_');
  const std::string_view base = name.substr(0, underscore);
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "var_start = [%s], var_length = %d",
               NameText(base).text, to_int(base.size()));
  const int hash_code = context.find(base);
  if (hash_code == kNotFound) {
    return {};
  }
  const VarTransTableEntry& variable = context.variable(hash_code);
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
               "var_hashcode = %ld, uservar_idx = %d, var_type = %d", static_cast<long>(hash_code),
               static_cast<int>(variable.user_var_table_idx), static_cast<int>(variable.var_type));
  const UserVarEntry* entry = context.value_entry(variable);
  if (!kIndexable.has(variable.var_type) || entry == nullptr ||
      underscore == std::string_view::npos || underscore + 1 == name.size()) {
    return {};
  }
  const auto index = select_element(is_array(entry), name.substr(underscore + 1));
  return index ? ArrayReference{.hash_code = hash_code, .index = *index} : ArrayReference{};
}

}  // namespace wz::script

int is_array_variable(char* var_start, char* /*var_end*/, int var_length, int* array_idx) {
  using namespace wz::script;
  if (var_start == nullptr || var_length < 0) {
    return kNotFound;
  }
  const ArrayReference reference =
      find_array_reference(Context::current(), {var_start, static_cast<std::size_t>(var_length)});
  if (reference.hash_code != kNotFound && array_idx != nullptr) {
    *array_idx = reference.index;
  }
  return reference.hash_code;
}

int valid_array_idx(char* index_val) {
  if (index_val == nullptr) {
    return static_cast<int>(wz::script::Suffix::kOther);
  }
  return static_cast<int>(wz::script::classify_suffix(index_val));
}
