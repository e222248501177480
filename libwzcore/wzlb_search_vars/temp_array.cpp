// Candidates of the random choices, and releasing values.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <cstddef>

namespace {

constexpr int kFirstRows = 16;

}  // namespace

void wzlb_init_temparray(TempArrayNodeVar* temp_array) {
  if (temp_array != nullptr) {
    *temp_array = {};
  }
}

int create_temparrayval_table_entry(TempArrayNodeVar* temp_array) {
  if (temp_array == nullptr) {
    return -1;
  }
  if (temp_array->total_tmp_tagvar == temp_array->max_tmp_tagvar) {
    temp_array->max_tmp_tagvar = std::max(kFirstRows, 2 * temp_array->max_tmp_tagvar);
    const auto rows = static_cast<std::size_t>(temp_array->max_tmp_tagvar);
    temp_array->tempTagArrayVal = static_cast<ArrayValEntry*>(WZLB_REALLOC(
        temp_array->tempTagArrayVal, rows * sizeof(ArrayValEntry), "tempTagArrayVal", -1));
  }
  const int row = temp_array->total_tmp_tagvar++;
  temp_array->tempTagArrayVal[row] = {};
  return row;
}

void free_tmp_arr_table(TempArrayNodeVar* temp_array) {
  if (temp_array == nullptr) {
    return;
  }
  for (int i = 0; i < temp_array->total_tmp_tagvar; ++i) {
    WZLB_FREE(temp_array->tempTagArrayVal[i].value, "tempTagArrayVal.value", i);
  }
  WZLB_FREE(temp_array->tempTagArrayVal, "tempTagArrayVal", -1);
  *temp_array = {};
}

void free_var_value(UserVarEntry* entry) {
  if (entry == nullptr) {
    return;
  }
  const bool is_array = (entry->flags & WZ_USER_VAR_IS_ARRAY) != 0;
  if (!is_array && entry->value.value != nullptr) {
    WZLB_FREE(entry->value.value, "value_ptr->value.value", -1);
  } else if (is_array && entry->value.array != nullptr) {
    for (unsigned i = 0; i < entry->length; ++i) {
      WZLB_FREE(entry->value.array[i].value, "value_ptr->value.array.value", static_cast<int>(i));
    }
    WZLB_FREE(entry->value.array, "value_ptr->value.array", -1);
  }
  entry->flags &= ~WZ_USER_VAR_IS_ARRAY;
  entry->value.value = nullptr;
  entry->length = 0;
}
