#include "daemon/host_ops/generated_value.h"

#include <wz/wzlb_alloc.h>
#include <wz/wzlb_random_number.h>
#include <wz/wzlb_random_string.h>
#include <wz/wzlb_unique_number.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "daemon/host_ops/worker_place.h"

namespace vsd {
namespace {

constexpr int kAllocated = 1;
constexpr int kNoParent = -1;

struct FreeTracked {
  void operator()(char* text) const noexcept { WZLB_FREE(text, "generated value", -1); }
};
using Block = std::unique_ptr<char, FreeTracked>;

Block new_number(const GeneratedRow& row, char* format) {
  return Block(wzlb_get_random_number(row.min, row.max, format, static_cast<int>(row.text.length),
                                      nullptr, kAllocated));
}

Block new_string(const GeneratedRow& row, char* characters) {
  if (row.faker_class < 0) {
    return Block(wzlb_get_random_string(row.min, row.max, characters, nullptr));
  }
  RandomStringTableEntry entry{};
  entry.faker_class_id = row.faker_class;
  entry.faker_class_args = WZ_BIGBUF_UNSET;  // the id carries them
  char* value = nullptr;
  wzlb_fill_fake_data(&entry, &value, nullptr);
  return Block(value);
}

Block new_value(const GeneratedRow& row, const ServiceView& service) {
  char* text = const_cast<char*>(service.c_text(row.text));  // read only
  switch (row.kind) {
    case VSD_RANDOM_NUMBER_VAR:
      return new_number(row, text);
    case VSD_RANDOM_STRING_VAR:
      return new_string(row, text);
    default:
      return Block(
          wzlb_get_unique_number(text, row.digits, nullptr, worker_place().index, kNoParent));
  }
}

std::string_view text_of(const Block& value) {
  return value != nullptr ? std::string_view(value.get()) : std::string_view();
}

}  // namespace

void refresh_generated(ConnectionState& state, const char* table, int hash_code) {
  const ServiceView service(state.record());
  if (service.name_table() != table) {
    return;
  }
  const VarTransTableEntry& variable = service.variable(hash_code);
  if (variable.var_type != VSD_RANDOM_NUMBER_VAR && variable.var_type != VSD_RANDOM_STRING_VAR &&
      variable.var_type != VSD_UNIQUE_NUMBER_VAR) {
    return;
  }
  const GeneratedRow& row = service.generated()[static_cast<std::size_t>(variable.table_idx)];
  UserVarEntry& entry = state.entry(variable.user_var_table_idx);
  if (!row.once_per_session) {
    set_value(entry, text_of(new_value(row, service)));
    return;
  }
  if (entry.value.value != nullptr) {
    return;  // this request has it already
  }
  auto& texts = state.session().texts;
  auto found = texts.find(&row);
  if (found == texts.end()) {
    found = texts.emplace(&row, text_of(new_value(row, service))).first;
  }
  set_value(entry, found->second);
}

}  // namespace vsd
