// The value that a variable has in a template, by its kind.
#pragma once

#include <array>

#include "vsd/string_api/context.h"
#include "vsd/string_api/tracked_text.h"

namespace wz::script {

// Bytes of a value; null text when there is none. Borrowed from the host or from ValueStorage.
struct Value {
  const char* text = nullptr;
  std::size_t length = 0;
};

// Keeps what a kind had to compute alive until it is written.
struct ValueStorage {
  TrackedText date;
  std::array<char, 8> port;  // 65535 and a NUL
};

// The value of a variable of a kind that has none in the uvtable. `after_name` is the template's
// text from the character that ended the name: date variables read their format and offset from it.
Value computed_value(const Context& context, const VarTransTableEntry& variable, char* after_name,
                     ValueStorage& storage) noexcept;

// Element `index` (from 1) of an array; no value when it has no such element.
inline Value element_value(const UserVarEntry& entry, int index) noexcept {
  if (entry.value.array == nullptr || static_cast<unsigned>(index) > entry.length) {
    return {};
  }
  const ArrayValEntry& element = entry.value.array[index - 1];
  return {.text = element.value, .length = element.length};
}

}  // namespace wz::script
