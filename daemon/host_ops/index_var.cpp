// Index variables: the value of another variable selects a row.
#include <wz/vsd_host.h>

#include <algorithm>
#include <string_view>

#include "daemon/service/service_image.h"

int get_index_var_idx(VarTableEntry* descriptor, connection* cptr, int, cr_scontents* block) {
  if (descriptor == nullptr || cptr == nullptr || cptr->scptr == nullptr || block == nullptr) {
    return -1;
  }
  const vsd::ServiceView service(*cptr);
  const auto* first = reinterpret_cast<const VarTableEntry*>(reinterpret_cast<const char*>(block) +
                                                             block->indexvar_start_idx);
  const vsd::IndexRow& index = service.indexes()[static_cast<std::size_t>(descriptor - first)];
  const VarTransTableEntry& key_variable = service.variable(index.key_hash_code);
  const UserVarEntry& entry = cptr->uvtable[key_variable.user_var_table_idx];
  if (entry.value.value == nullptr) {
    return -1;
  }
  const std::string_view key(entry.value.value, entry.length);
  const auto keys = service.keys(index);
  const auto found = std::lower_bound(keys.begin(), keys.end(), key,
                                      [&service](vsd::TextRef candidate, std::string_view wanted) {
                                        return service.text(candidate) < wanted;
                                      });
  return found != keys.end() && service.text(*found) == key ? static_cast<int>(found - keys.begin())
                                                            : -1;
}
