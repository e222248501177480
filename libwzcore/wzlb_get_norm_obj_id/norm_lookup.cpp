// Lookups and deletions.
#include "libwzcore/internal/trace.h"
#include "libwzcore/wzlb_get_norm_obj_id/norm_table.h"

using namespace wz::norm_id;

namespace {

constexpr int kBadInput = -1;
constexpr int kUnknown = -2;

// Whether `id` has an element of its own in the reverse array; unused ones are all ones.
bool is_recorded(const NormObjKey& key, int id) {
  return key.id_name != nullptr && id >= 0 && id < key.max_norm_id_size &&
         key.id_name[id] != nullptr &&
         reinterpret_cast<std::uintptr_t>(key.id_name[id]) != ~std::uintptr_t{0};
}

NormTableData data_of(const NormObjKey& key, const NormTable& entry) {
  NormTableData data{};
  if (entry.data > 0) {
    std::memcpy(&data, key.bigbuf.buffer + entry.data, sizeof data);
  }
  return data;
}

void clear_entry(NormTable& entry) {
  entry.str = kEmpty;
  entry.len = -1;
  entry.idx = -1;
}

// The second entry of a chain takes the head's place.
void move_to_head(NormObjKey& key, NormTable* head) {
  NormTable* const second = head->nt_next;
  std::memcpy(static_cast<void*>(head), second, sizeof *head);
  if (is_recorded(key, head->idx) && key.id_name[head->idx] == second) {
    key.id_name[head->idx] = head;
  }
  wzlb_mp_free_slot(key.nt_mpool, second);
}

void unchain(NormObjKey& key, NormTable* head, NormTable* entry) {
  NormTable* before = head;
  while (before->nt_next != entry) {
    before = before->nt_next;
  }
  before->nt_next = entry->nt_next;
  wzlb_mp_free_slot(key.nt_mpool, entry);
}

}  // namespace

int wzlb_get_norm_id(NormObjKey* key, char* in_str, int in_strlen) {
  if (!is_usable(key) || is_empty(in_str) || in_strlen == 0) {
    return kBadInput;
  }
  if (in_strlen < 0) {
    return kUnknown;
  }
  const Text text = make_text(*key, in_str, in_strlen);
  if (!may_hold(*key, text)) {
    return kUnknown;
  }
  if (const ShortForm* const form = find_short(*key, text)) {
    return form->id;
  }
  const NormTable* const entry = find(*key, text);
  return entry != nullptr ? entry->idx : kUnknown;
}

int wzlb_get_norm_id_hash_data_ex(NormObjKey* key, char* in_str, int in_strlen, int* hs,
                                  NormTableData* data) {
  if (!is_usable(key) || is_empty(in_str) || in_strlen == 0) {
    return kBadInput;
  }
  const bool hashed = in_strlen > 0;
  const Text text = hashed ? make_text(*key, in_str, in_strlen) : Text{};
  if (hs != nullptr) {
    *hs = hashed ? text.index : -1;
  }
  if (!hashed) {
    return kUnknown;
  }
  const NormTable* const entry = find(*key, text);
  if (data != nullptr && entry != nullptr) {
    *data = data_of(*key, *entry);
  } else if (data != nullptr && key->nt[text.index].str == kEmpty) {
    *data = NormTableData{};
  }
  return entry != nullptr ? entry->idx : kUnknown;
}

int wzlb_get_norm_id_hash_data(NormObjKey* key, char* in_str, int in_strlen, int* hs, int* value) {
  NormTableData data{};
  if (value != nullptr) {
    data.value = *value;
  }
  const int id = wzlb_get_norm_id_hash_data_ex(key, in_str, in_strlen, hs, &data);
  if (value != nullptr) {
    *value = data.value;
  }
  return id;
}

char* wzlb_get_norm_table_data(NormObjKey* key, int norm_id) {
  if (key == nullptr || norm_id < 0) {
    return wz::mutable_text("InvalidInput");
  }
  // An entry whose head was emptied or filled anew is no longer that of the id.
  if (!is_recorded(*key, norm_id) || key->id_name[norm_id]->idx != norm_id) {
    return wz::mutable_text("NormIdNameNotFound");
  }
  return wzlb_bigbuf_get_value(&key->bigbuf, key->id_name[norm_id]->str);
}

int wzlb_delete_norm_id(NormObjKey* key, int hash) {
  if (!is_usable(key) || hash < 0 || hash >= key->size || key->nt[hash].str == kEmpty) {
    return -1;
  }
  for (const NormTable* entry = key->nt + hash; entry != nullptr; entry = entry->nt_next) {
    remove_short(*key, make_text(*key, key->bigbuf.buffer + entry->str, entry->len));
  }
  clear_entry(key->nt[hash]);
  key->nt[hash].data = kNoData;
  return 0;
}

int wzlb_delete_norm_id_ex(NormObjKey* key, char* in_str, int in_strlen, int* norm_id) {
  if (!is_usable(key) || is_empty(in_str) || in_strlen <= 0) {
    return -1;
  }
  const Text text = make_text(*key, in_str, in_strlen);
  NormTable* const entry = find(*key, text);
  if (entry == nullptr) {
    return -1;
  }
  const int id = entry->idx;
  // The entry's own text: the caller's may go on behind the length that was compared.
  remove_short(*key, make_text(*key, key->bigbuf.buffer + entry->str, entry->len));
  if (is_recorded(*key, id)) {
    key->id_name[id] = nullptr;
  }
  release_id(*key, id);
  if (norm_id != nullptr) {
    *norm_id = id;
  }
  NormTable* const head = key->nt + text.index;
  if (entry != head) {
    unchain(*key, head, entry);
  } else if (head->nt_next != nullptr) {
    move_to_head(*key, head);
  } else {
    clear_entry(*head);
  }
  return 0;
}
