#include "daemon/service/variable_table.h"

#include <wz/wzlb_alloc.h>

#include <cstring>

namespace vsd {
namespace {

constexpr const char* kValueLabel = "value_ptr->value.value ";
constexpr const char* kArrayLabel = "value_ptr->value.array";

bool is_array(const UserVarEntry& entry) {
  return (entry.flags & WZ_USER_VAR_IS_ARRAY) != 0;
}

void free_array(UserVarEntry& entry) noexcept {
  clear_values(entry);
  WZLB_FREE(entry.value.array, kArrayLabel, -1);
  entry.value.array = nullptr;
  entry.length = 0;
}

void allocate_array(UserVarEntry& entry, std::uint32_t elements) {
  const std::size_t size = elements * sizeof(ArrayValEntry);
  entry.value.array = static_cast<ArrayValEntry*>(WZLB_MALLOC(size, kArrayLabel));
  std::memset(entry.value.array, 0, size);
  entry.length = elements;
}

}  // namespace

void clear_values(UserVarEntry& entry) noexcept {
  if (!is_array(entry)) {
    if (entry.value.value != nullptr) {
      WZLB_FREE(entry.value.value, kValueLabel, -1);
      entry.value.value = nullptr;
    }
    entry.length = 0;
    return;
  }
  for (unsigned int i = 0; entry.value.array != nullptr && i < entry.length; ++i) {
    ArrayValEntry& element = entry.value.array[i];
    if (element.value != nullptr) {
      WZLB_FREE(element.value, kValueLabel, static_cast<int>(i));
      element = {};
    }
  }
}

void set_value(UserVarEntry& entry, std::string_view text) {
  clear_values(entry);
  entry.value.value = static_cast<char*>(WZLB_MALLOC(text.size() + 1, kValueLabel));
  std::memcpy(entry.value.value, text.data(), text.size());
  entry.value.value[text.size()] = '\0';
  entry.length = static_cast<unsigned int>(text.size());
}

VariableTable::VariableTable(const ServiceView& service)
    : prototypes_(service.variables()), entries_(service.record().table_size) {
  for (std::size_t slot = 0; slot < prototypes_.size(); ++slot) {
    if (prototypes_[slot].is_array) {
      entries_[slot].flags = WZ_USER_VAR_IS_ARRAY;
      if (prototypes_[slot].elements > 0) {
        allocate_array(entries_[slot], prototypes_[slot].elements);
      }
    }
  }
}

VariableTable::~VariableTable() {
  for (UserVarEntry& entry : entries_) {
    if (is_array(entry)) {
      free_array(entry);
    } else {
      clear_values(entry);
    }
  }
}

void VariableTable::reset() noexcept {
  for (std::size_t slot = 0; slot < prototypes_.size(); ++slot) {
    UserVarEntry& entry = entries_[slot];
    if (prototypes_[slot].is_array && prototypes_[slot].elements == 0) {
      free_array(entry);  // the search that fills it decides on its size each time
    } else {
      clear_values(entry);
    }
  }
}

}  // namespace vsd
