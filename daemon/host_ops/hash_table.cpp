// Name lookup in a service image, and the growable tables that the library keeps for itself.
#include <wz/vsd_host.h>

#include <deque>
#include <string_view>

#include "daemon/host_ops/generated_value.h"
#include "daemon/host_ops/resolved_name.h"
#include "daemon/name_ids.h"
#include "daemon/service/name_table.h"

namespace vsd {
namespace {

ResolvedName& resolved() noexcept {
  static ResolvedName last;
  return last;
}

constexpr int kUsualKeys = 256;

// The tables live as long as the process: there is no operation that ends one.
NameIds* new_index() {
  static std::deque<NameIds> all;
  return &all.emplace_back(kUsualKeys);
}

NameIds* index_of(VsdHashTable* table) {
  return table == nullptr ? nullptr : static_cast<NameIds*>(table->host_data);
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
  vsd::NameIds* index = vsd::index_of(table);
  if (index == nullptr || !vsd::is_key(key, len)) {
    return -1;
  }
  return index->find({key, static_cast<std::size_t>(len)});
}

int vsd_hash_table_add(VsdHashTable* table, char* key, int len) {
  vsd::NameIds* index = vsd::index_of(table);
  if (index == nullptr || !vsd::is_key(key, len)) {
    return -1;
  }
  return index->add({key, static_cast<std::size_t>(len)});
}
