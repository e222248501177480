// Name lookup in a service image, and the growable tables that the library keeps for itself.
#include <wz/vsd_host.h>
#include <wz/wzlb_get_norm_obj_id.h>

#include <algorithm>
#include <deque>
#include <string>
#include <string_view>

#include "daemon/host_ops/generated_value.h"
#include "daemon/host_ops/resolved_name.h"
#include "daemon/service/name_table.h"

namespace vsd {
namespace {

ResolvedName& resolved() noexcept {
  static ResolvedName last;
  return last;
}

// Keys to the numbers of their arrival.
class KeyIndex {
 public:
  KeyIndex() { wzlb_init_norm_id_table_v2(&table_, kHeads, kTextBytes); }
  KeyIndex(const KeyIndex&) = delete;
  KeyIndex& operator=(const KeyIndex&) = delete;
  ~KeyIndex() { wzlb_obj_hash_destroy(&table_); }

  // -1 when there is none.
  int find(std::string_view key) {
    put(key);
    return std::max(wzlb_get_norm_id(&table_, text_.data(), static_cast<int>(text_.size())), -1);
  }
  // The number that the key has, or now gets.
  int add(std::string_view key) {
    put(key);
    return static_cast<int>(
        wzlb_get_or_gen_norm_id(&table_, text_.data(), static_cast<int>(text_.size()), nullptr));
  }

 private:
  static constexpr int kHeads = 256;
  static constexpr int kTextBytes = 16 * 1024;  // more is asked for as needed

  // The table wants a NUL behind its strings and takes no empty one, hence the sign in front.
  void put(std::string_view key) { text_.assign(1, '=').append(key); }

  NormObjKey table_{};
  std::string text_;
};

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
  vsd::KeyIndex* index = vsd::index_of(table);
  if (index == nullptr || !vsd::is_key(key, len)) {
    return -1;
  }
  return index->find({key, static_cast<std::size_t>(len)});
}

int vsd_hash_table_add(VsdHashTable* table, char* key, int len) {
  vsd::KeyIndex* index = vsd::index_of(table);
  if (index == nullptr || !vsd::is_key(key, len)) {
    return -1;
  }
  return index->add({key, static_cast<std::size_t>(len)});
}
