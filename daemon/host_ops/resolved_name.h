// The variable that the library has looked up last.
#pragma once

namespace vsd {

// The library passes a date reference without the variable it belongs to, right after it has
// resolved the variable's name; one request at a time runs in a process, so the last lookup that
// found something tells which variable it is.
struct ResolvedName {
  const char* table = nullptr;  // null: nothing has been resolved yet
  int hash_code = -1;
};

[[nodiscard]] const ResolvedName& last_resolved_name() noexcept;

}  // namespace vsd
