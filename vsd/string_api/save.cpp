// Saving values into the variables of the service.
//
// A saved value is a fresh tracked copy with a NUL behind it. The copy is made before the old value
// is freed, because scripts save a variable's own old value, or a part of it, back to it.
#include <wz/wz_script.h>

#include <cstdio>
#include <cstring>

#include "vsd/string_api/context.h"
#include "vsd/string_api/data_source.h"
#include "vsd/string_api/output_buffer.h"
#include "vsd/string_api/tracked_text.h"
#include "vsd/string_api/url_codec.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

// In whose name this file traces.
constexpr const char* kFunction = "wz_save_var_val";

constexpr int kSaved = 0;
constexpr int kFailed = -1;

constexpr const char* kLabel = "value_ptr->value.value ";

// The owner of saved values in messages: the exported function, whichever helper takes the block.
BlockOwner value_owner(int line) noexcept {
  return {.label = kLabel, .file = "vsd_string_api", .line = line, .function = kFunction};
}

// One call of wz_save_var_val.
struct SaveRequest {
  const char* value;
  const char* name;
  int length;
  int flag;
  bool is_text;  // binary values are never printed
};

// The value ready to be stored: encoded or decoded if the flag says so.
struct StoredText {
  TrackedText text;  // null when the value cannot be stored
  int length = 0;
};

StoredText make_stored(const SaveRequest& request) noexcept {
  const char* value = request.value;
  int length = request.length;
  UrlText coded;
  if (is_coding_flag(request.flag)) {
    coded = url_coded(value, length, request.flag);
    if (coded != nullptr) {
      value = coded.get();
      length = to_int(std::strlen(value));
    }
  }
  TrackedText copy = copy_text(value, length, value_owner(__LINE__));
  return {.text = std::move(copy), .length = length};
}

// Replaces a heap value and its length; a null text empties the entry.
void replace_value(char*& value, unsigned int& length, StoredText stored) noexcept {
  WZLB_FREE(value, kLabel, -1);
  length = stored.text != nullptr ? static_cast<unsigned int>(stored.length) : 0;
  value = stored.text.release();
}

// Every variable that is searched out of a scratch variable follows its change at once.
void recompute_searches(const Context& context, int hash_code) noexcept {
  cr_scontents* block = context.block();
  if (block->searchInParam_start_idx == 0 || &get_val_of_searchInParam_from_any_param == nullptr) {
    return;
  }
  const auto* definitions = at_distance<SearchInParamTable>(block, block->searchInParam_start_idx);
  for (int i = 0; i < block->num_searchInParam_entries; ++i) {
    if (definitions[i].search_in_var_hashcode == hash_code) {
      get_val_of_searchInParam_from_any_param(context.cptr(), definitions[i].hash_code, block);
    }
  }
}

int save_scalar(const Context& context, int hash_code, UserVarEntry* entry,
                const SaveRequest& request) noexcept {
  if (entry == nullptr) {
    return kFailed;
  }
  replace_value(entry->value.value, entry->length, make_stored(request));
  if (entry->value.value == nullptr) {
    return kFailed;
  }
  const int saved_length = static_cast<int>(entry->length);
  if (request.is_text) {
    VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
                 "Final saved variable value = %s, length of the saved value is %d and length of "
                 "variable value = %d",
                 entry->value.value, saved_length, to_int(std::strlen(entry->value.value)));
  } else {
    VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
                 "Final saved variable saved value legth is %d", saved_length);
  }
  if (context.variable(hash_code).var_type == SCRATCH_VAR) {
    recompute_searches(context, hash_code);
  }
  return kSaved;
}

// The row key of a global index variable: the current value of the index variable it names.
TrackedText evaluate_key(const char* index_var_name) noexcept {
  const std::size_t length = std::strlen(index_var_name);
  TrackedText reference(
      static_cast<char*>(WZLB_MALLOC(static_cast<long>(length) + 3, "index key reference")));
  std::snprintf(reference.get(), length + 3, "{%s}", index_var_name);
  const char* key = wz_eval_string(reference.get());
  return copy_text(key, static_cast<long>(std::strlen(key)), WZ_BLOCK_OWNER("index key"));
}

int write_column(int row, char* key, char* value, int column) noexcept {
  return SourceAccess(row, Access::write).set_column(key, value, column);
}

// Writes a global index variable through to its data source. Whether the row was there to be
// updated is the data source's affair.
int save_global_index(const Context& context, const VarTransTableEntry& variable,
                      const SaveRequest& request) noexcept {
  if (&update_column_value_in_db == nullptr || &indexdatasource == nullptr ||
      indexdatasource == nullptr) {
    return kFailed;
  }
  const auto& descriptor = at_distance<GlobalIndexVarTable>(
      context.block(), context.block()->g_indexvar_start_idx)[variable.table_idx];
  const int row = descriptor.idx_ds_index_table;
  const int rows = &total_idxds_entries != nullptr ? total_idxds_entries : 0;
  if (row < 0 || (rows > 0 && row >= rows)) {  // a host may leave them uncounted
    return kFailed;
  }
  // The value may lie in the evaluation buffer, which the key is about to overwrite.
  const TrackedText value = copy_text(request.value, request.length, WZ_BLOCK_OWNER("index value"));
  const TrackedText key = evaluate_key(context.pool_text(descriptor.index_var_name));
  if (value == nullptr || key == nullptr) {
    return kFailed;
  }
  if (write_column(row, key.get(), value.get(), descriptor.param_seq_no) == 0) {
    back_up(row);
  }
  return kSaved;
}

// Elements deliberately take the value's text: neither the length of a binary value nor the
// encoding flag has an effect on them.
int save_element(const Context& context, ArrayReference reference,
                 const SaveRequest& request) noexcept {
  const VarTransTableEntry& variable = context.variable(reference.hash_code);
  UserVarEntry* entry = context.value_entry(variable);
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "var_hashcode = %ld",
               static_cast<long>(reference.hash_code));
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "var_ptr = %p",
               static_cast<const void*>(&variable));
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "user_var_table_idx = %d",
               static_cast<int>(variable.user_var_table_idx));
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
               "Variable %s is an array variable. array_idx = %d, "
               "cur_cptr->uvtable[uservar_idx].length = %d",
               request.name, reference.index, static_cast<int>(entry->length));
  if (!kWritable.has(variable.var_type)) {
    return kFailed;
  }
  // Unsigned, so that `name_count` is out of range; also the only index that a scalar can have.
  if (entry->length < static_cast<unsigned int>(reference.index) || !is_array(entry)) {
    std::fprintf(stderr, "Invalid index of the variable. Index = %d, Count = %d\n", reference.index,
                 static_cast<int>(entry->length));
    return kSaved;  // deliberately: scripts fill arrays in loops that run past the end
  }
  if (entry->value.array == nullptr) {
    return kFailed;
  }
  ArrayValEntry& element = entry->value.array[reference.index - 1];
  const int length = to_int(std::strlen(request.value));
  replace_value(
      element.value, element.length,
      {.text = copy_text(request.value, length, value_owner(__LINE__)), .length = length});
  return element.value != nullptr ? kSaved : kFailed;
}

int save(const SaveRequest& request) noexcept {
  const Context context = Context::current();
  const std::string_view name(request.name);
  const int hash_code = context.find(name);
  if (hash_code == kNotFound) {
    VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "var_Name = [%s], length = %d", request.name,
                 to_int(name.size()));
    const ArrayReference reference = find_array_reference(context, name);
    return reference.hash_code != kNotFound && reference.index != 0
               ? save_element(context, reference, request)
               : kFailed;
  }
  const VarTransTableEntry& variable = context.variable(hash_code);
  UserVarEntry* entry = context.value_entry(variable);
  if (is_array(entry)) {
    return save_element(context, {.hash_code = hash_code, .index = 1}, request);
  }
  if (kWritable.has(variable.var_type)) {
    return save_scalar(context, hash_code, entry, request);
  }
  return variable.var_type == VSD_GLOBAL_INDEX_VAR ? save_global_index(context, variable, request)
                                                   : kFailed;
}

}  // namespace
}  // namespace wz::script

int wz_save_var_val(const char* param_value, const char* param_name, int value_length, int flag,
                    int not_binary_flag) {
  using namespace wz::script;
  if (param_value == nullptr || param_name == nullptr) {
    return kFailed;
  }
  if (not_binary_flag != 0) {
    VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
                 "Method called. param_value = %s, param_name = %s, value_length = %d, flag = %d",
                 param_value, param_name, value_length, flag);
  } else {
    VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
                 "Method called. param_name = %s, value_length = %d, flag = %d", param_name,
                 value_length, flag);
  }
  return save({.value = param_value,
               .name = param_name,
               .length = value_length,
               .flag = flag,
               .is_text = not_binary_flag != 0});
}

int wz_save_string(const char* param_value, const char* param_name) {
  return wz_save_string_ex(param_value, param_name, WZ_FLAG_NONE);
}

int wz_save_string_ex(const char* param_value, const char* param_name, int flag) {
  const int length = param_value != nullptr ? wz::script::to_int(std::strlen(param_value)) : 0;
  return wz_save_var_val(param_value, param_name, length, flag, 1);
}

int wz_save_binary_val(const char* param_value, const char* param_name, int value_length) {
  return wz_save_var_val(param_value, param_name, value_length, WZ_FLAG_NONE, 0);
}

int wz_set_int_val(char* var, int val) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", val);
  return wz_save_string(text, var);
}
