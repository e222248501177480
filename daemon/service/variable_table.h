// A connection's table of user variables: filled by the daemon before a script runs, read and
// rewritten by the library, emptied after the request.
#pragma once

#include <wz/wzlb_user_var.h>

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "daemon/service/service_image.h"

namespace vsd {

// Gives back the values of an entry: the text of a scalar, the elements of an array. The array
// itself stays.
void clear_values(UserVarEntry& entry) noexcept;

// Replaces a scalar by a tracked copy of `text` with a NUL behind it, as the library stores values.
void set_value(UserVarEntry& entry, std::string_view text);

// The table for one service; its memory is kept between requests.
class VariableTable {
 public:
  explicit VariableTable(const ServiceView& service);
  VariableTable(VariableTable&&) noexcept = default;
  VariableTable& operator=(VariableTable&&) = delete;
  VariableTable(const VariableTable&) = delete;
  VariableTable& operator=(const VariableTable&) = delete;
  ~VariableTable();

  [[nodiscard]] UserVarEntry* entries() { return entries_.data(); }
  [[nodiscard]] UserVarEntry& operator[](std::size_t slot) { return entries_[slot]; }

  // Back to the state in which a request starts.
  void reset() noexcept;

 private:
  std::span<const VariablePrototype> prototypes_;
  std::vector<UserVarEntry> entries_;
};

}  // namespace vsd
