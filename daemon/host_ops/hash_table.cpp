// Name lookup in a service image, and the growable tables that the library keeps for itself.
#include <wz/vsd_host.h>

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "daemon/host_ops/generated_value.h"
#include "daemon/host_ops/resolved_name.h"
#include "daemon/service/name_table.h"

namespace vsd {
namespace {

ResolvedName& resolved() noexcept {
  static ResolvedName last;
  return last;
}

using KeyIndex = std::unordered_map<std::string, int>;

// The tables live as long as the process: there is no operation that ends one.
KeyIndex* new_index() {
  static std::deque<KeyIndex> all;
  return &all.emplace_back();
}

KeyIndex* index_of(VsdHashTable* table) {
  return table == nullptr ? nullptr : static_cast<KeyIndex*>(table->host_data);
}

bool is_key(const char* key, int length) {
  return key != nullptr && length >= 0;
}

}  // namespace

const ResolvedName& last_resolved_name() noexcept {
  return resolved();
}

}  // namespace vsd

int vsd_hash_table_shm_get_param(char* table, char* name, int name_len, long next_state) {
  if (table == nullptr || name == nullptr || name_len < 0 || next_state <= 0) {
    return -1;
  }
  const int code = vsd::find_name(table, {name, static_cast<std::size_t>(name_len)}, next_state);
  if (code >= 0) {
    vsd::resolved() = {table, code};
    vsd::on_lookup(table, code);
  }
  return code;
}

void vsd_hash_table_init(VsdHashTable* table) {
  if (table != nullptr) {
    table->host_data = vsd::new_index();
  }
}

int vsd_hash_table_get(VsdHashTable* table, char* key, int len) {
  const vsd::KeyIndex* index = vsd::index_of(table);
  if (index == nullptr || !vsd::is_key(key, len)) {
    return -1;
  }
  const auto found = index->find(std::string(key, static_cast<std::size_t>(len)));
  return found == index->end() ? -1 : found->second;
}

int vsd_hash_table_add(VsdHashTable* table, char* key, int len) {
  vsd::KeyIndex* index = vsd::index_of(table);
  if (index == nullptr || !vsd::is_key(key, len)) {
    return -1;
  }
  const int next = static_cast<int>(index->size());
  return index->emplace(std::string(key, static_cast<std::size_t>(len)), next).first->second;
}
