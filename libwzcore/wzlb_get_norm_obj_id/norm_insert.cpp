// The inserting forms. They share one search and one insertion and differ in which lengths they
// take, where a new string's id comes from and what they report.
#include <wz/wzlb_alloc.h>

#include <cstdio>

#include "libwzcore/internal/trace.h"
#include "libwzcore/wzlb_get_norm_obj_id/norm_table.h"

using namespace wz::norm_id;

namespace {

constexpr unsigned int kBadInput = static_cast<unsigned int>(-1);
constexpr int kNamesStep = 16;

// Where a text is, or where it would go.
struct Place {
  NormTable* match;  // or null
  NormTable* last;   // of the chain that was walked; null for an empty head
  int walked;        // entries of that chain; 1 for an empty head
};

Place find_place(const NormObjKey& key, const Text& text) {
  NormTable* entry = key.nt + text.index;
  if (entry->str == kEmpty) {
    return {nullptr, nullptr, 1};
  }
  const bool known = may_hold(key, text);
  int walked = 0;
  for (NormTable* last = nullptr;; entry = entry->nt_next) {
    if (entry == nullptr) {
      return {nullptr, last, walked};
    }
    if (known && matches(key, *entry, text)) {
      return {entry, nullptr, 0};
    }
    last = entry;
    ++walked;
  }
}

// The new entry. An empty head keeps the chain behind it.
NormTable* insert(NormObjKey& key, const Text& text, const Place& place, int id) {
  NormTable* entry = key.nt + text.index;
  if (place.last != nullptr) {
    entry = static_cast<NormTable*>(wzlb_mp_get_slot(key.nt_mpool));
    entry->nt_next = nullptr;
    place.last->nt_next = entry;
  }
  entry->str = wzlb_bigbuf_copy_into_bigbuf(&key.bigbuf, wz::mutable_text(text.bytes), text.length);
  entry->len = text.length;
  entry->idx = id;
  entry->data = kNoData;
  set_tag(*entry, text.tag);
  std::uint16_t& bits = hidden_of(key).chain_bits[text.index];
  bits = static_cast<std::uint16_t>(bits | text.bit);
  add_short(key, text, *entry);
  return entry;
}

NormTable* insert_with_data(NormObjKey& key, const Text& text, const Place& place, int id,
                            NormTableData* data) {
  NormTable* const entry = insert(key, text, place, id);
  if (data != nullptr) {
    entry->data = wzlb_bigbuf_copy_into_bigbuf(&key.bigbuf, data->bytes, sizeof data->bytes);
  }
  key.prev_id = std::max(key.prev_id, id);
  return entry;
}

void record_name(NormObjKey& key, NormTable* entry) {
  if (key.id_name == nullptr || entry->idx < 0) {
    return;
  }
  while (entry->idx >= key.max_norm_id_size) {
    const int size = key.max_norm_id_size + kNamesStep;
    key.id_name = static_cast<NormTable**>(
        WZLB_REALLOC(key.id_name, static_cast<std::size_t>(size) * sizeof(NormTable*),
                     "NormalTableInit.id_name", -1));
    std::memset(key.id_name + key.max_norm_id_size, 0xFF, kNamesStep * sizeof(NormTable*));
    key.max_norm_id_size = size;
  }
  key.id_name[entry->idx] = entry;
}

// Takes the oldest released id; its node waits for the next release.
int take_released_id(NormObjKey& key) {
  FreeNormIdList* const node = key.free_norm_id_list_head;
  key.free_norm_id_list_head = node->next_free_id;
  if (key.free_norm_id_list_head == nullptr) {
    key.free_norm_id_list_tail = nullptr;
  }
  FreeNormIdList*& spare = *hidden_of(key).spare_nodes;
  node->next_free_id = spare;
  spare = node;
  return node->free_id;
}

void report(int* target, int value) {
  if (target != nullptr) {
    *target = value;
  }
}

NormTable* insert_generated(NormObjKey& key, const Text& text, const Place& place) {
  return insert(key, text, place, ++key.prev_id);
}

// Finds the text or has `insert_new` insert it; the id, or what `length` 0 or below yields.
template <typename InsertNew>
unsigned int get_or_insert(NormObjKey* key, char* in_str, int length, int* flag_new,
                           unsigned int for_zero, unsigned int for_negative, InsertNew insert_new) {
  if (!is_usable(key) || is_empty(in_str)) {
    return kBadInput;
  }
  if (length == 0 && for_zero == 0) {
    length = static_cast<int>(std::strlen(in_str));
  }
  if (length == 0) {
    return for_zero;
  }
  report(flag_new, 0);
  if (length < 0) {
    return for_negative;
  }
  const Text text = make_text(*key, in_str, length);
  if (may_hold(*key, text)) {
    if (const ShortForm* const form = find_short(*key, text)) {
      return static_cast<unsigned int>(form->id);
    }
  }
  const Place place = find_place(*key, text);
  if (place.match != nullptr) {
    return static_cast<unsigned int>(place.match->idx);
  }
  report(flag_new, place.walked);
  return static_cast<unsigned int>(insert_new(text, place)->idx);
}

// A zero length is measured instead of refused.
constexpr unsigned int kMeasure = 0;

}  // namespace

unsigned int wzlb_get_or_gen_norm_id(NormObjKey* key, char* in_str, int in_strlen, int* flag_new) {
  return get_or_insert(
      key, in_str, in_strlen, flag_new, kMeasure, 0,
      [key](const Text& text, const Place& place) { return insert_generated(*key, text, place); });
}

unsigned int wzlb_get_or_gen_norm_id_ex(NormObjKey* key, char* in_str, int in_strlen, int* flag_new,
                                        int* hs) {
  return get_or_insert(key, in_str, in_strlen, flag_new, kBadInput, kBadInput,
                       [key, hs](const Text& text, const Place& place) {
                         if (place.last == nullptr) {
                           report(hs, text.index);
                         }
                         return insert_generated(*key, text, place);
                       });
}

unsigned int wzlb_get_or_set_norm_id(NormObjKey* key, char* in_str, int in_strlen, int* flag_new) {
  return get_or_insert(key, in_str, in_strlen, flag_new, kBadInput, 0,
                       [key](const Text& text, const Place& place) {
                         NormTable* const entry = insert_generated(*key, text, place);
                         record_name(*key, entry);
                         return entry;
                       });
}

unsigned int wzlb_get_set_or_gen_norm_id(NormObjKey* key, char* in_str, int in_strlen,
                                         int* flag_new, int normid) {
  return get_or_insert(key, in_str, in_strlen, flag_new, kMeasure, 0,
                       [=](const Text& text, const Place& place) {
                         if (normid == -1) {
                           return insert_generated(*key, text, place);
                         }
                         report(flag_new, 1);
                         NormTableData data{};
                         return insert_with_data(*key, text, place, normid, &data);
                       });
}

unsigned int wzlb_get_set_or_gen_norm_id_ex(NormObjKey* key, char* in_str, int in_strlen,
                                            int* flag_new) {
  return get_or_insert(key, in_str, in_strlen, flag_new, kMeasure, 0,
                       [key](const Text& text, const Place& place) {
                         if (key->free_norm_id_list_head == nullptr) {
                           return insert_generated(*key, text, place);
                         }
                         NormTableData data{};
                         return insert_with_data(*key, text, place, take_released_id(*key), &data);
                       });
}

unsigned int wzlb_set_norm_id(NormObjKey* key, char* in_str, int in_strlen, int normid) {
  return wzlb_set_norm_id_and_data(key, in_str, in_strlen, normid, 0);
}

unsigned int wzlb_set_norm_id_and_data(NormObjKey* key, char* in_str, int in_strlen, int normid,
                                       char data) {
  NormTableData value{};
  value.byte = data;
  return wzlb_set_norm_id_and_data_ex(key, in_str, in_strlen, normid, &value);
}

unsigned int wzlb_set_norm_id_and_data_ex(NormObjKey* key, char* in_str, int in_strlen, int normid,
                                          NormTableData* data) {
  if (!is_usable(key) || is_empty(in_str)) {
    return 0;
  }
  if (in_strlen < 0) {
    std::fprintf(stderr,
                 "Error: Obtained hash index '%d' for string '%s' is not correct. Hence returning.",
                 -1, in_str);
    return 0;
  }
  return get_or_insert(key, in_str, in_strlen, nullptr, kMeasure, 0,
                       [=](const Text& text, const Place& place) {
                         return insert_with_data(*key, text, place, normid, data);
                       });
}
