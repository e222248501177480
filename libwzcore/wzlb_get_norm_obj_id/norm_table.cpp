// Set-up, released ids and tear-down of an id table.
#include "libwzcore/wzlb_get_norm_obj_id/norm_table.h"

#include <sys/mman.h>
#include <wz/wzlb_alloc.h>

#include "libwzcore/internal/trace.h"

using namespace wz::norm_id;

namespace {

constexpr char kHeadsLabel[] = "NormalTableInit";
constexpr char kNamesLabel[] = "NormalTableInit.id_name";
constexpr char kPoolLabel[] = "Normal Table Memory Pool";
constexpr char kReleasedLabel[] = "FreeNormIdList";

constexpr int kFirstSlots = 64;
constexpr int kFurtherSlots = 16;

// Lookups go to random places of the heads: large pages keep most of their addresses translated.
void ask_for_large_pages(void* block, std::size_t size) {
  constexpr std::uintptr_t kPage = 4096;
  constexpr std::size_t kWorthwhile = std::size_t{4} << 20;
  if (size < kWorthwhile) {
    return;
  }
  const std::size_t skipped = kPage - reinterpret_cast<std::uintptr_t>(block) % kPage;
  const std::size_t whole_pages = (size - skipped) / kPage * kPage;
  madvise(static_cast<char*>(block) + skipped, whole_pages, MADV_HUGEPAGE);  // only a hint
}

void clear_heads(NormObjKey& key) {
  FreeNormIdList** const spare_nodes = hidden_of(key).spare_nodes;
  const auto bytes = reinterpret_cast<char*>(spare_nodes) - reinterpret_cast<char*>(key.nt);
  std::memset(static_cast<void*>(key.nt), 0, static_cast<std::size_t>(bytes));
  for (int i = 0; i < key.size; ++i) {
    key.nt[i].str = kEmpty;
  }
}

bool create_pool(NormObjKey& key) {
  key.nt_mpool = static_cast<wzlb_mp_handler*>(WZLB_MALLOC(sizeof(wzlb_mp_handler), kPoolLabel));
  wzlb_mp_init(key.nt_mpool, sizeof(NormTable), kFirstSlots, kFurtherSlots, 0);
  if (wzlb_mp_create(key.nt_mpool) == 0) {
    return true;
  }
  WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_HASH, "Error: Unable to create NT_MPOOL");
  WZLB_FREE(key.nt_mpool, "Freeing NT_MPOOL", -1);
  key.nt_mpool = nullptr;
  return false;
}

void free_nodes(FreeNormIdList*& head) {
  while (head != nullptr) {
    FreeNormIdList* const node = head;
    head = node->next_free_id;
    WZLB_FREE(node, kReleasedLabel, -1);
  }
}

void free_released_ids(NormObjKey& key) {
  free_nodes(key.free_norm_id_list_head);
  free_nodes(*hidden_of(key).spare_nodes);
  key.free_norm_id_list_tail = nullptr;
}

}  // namespace

void wz::norm_id::add_short(const NormObjKey& key, const Text& text, const NormTable& entry) {
  if (!text.regular) {
    return;
  }
  ShortForm* form = hidden_of(key).forms + text.window;
  ShortForm* const end = form + kWindow;
  form = std::find_if(form, end, [](const ShortForm& each) { return each.tag == 0; });
  if (form == end) {
    return;
  }
  form->tag = text.tag;
  form->length = entry.len;
  form->id = entry.idx;
  if (text.compared <= ShortForm::kRoom) {
    std::memcpy(form->text.data(), text.bytes, text.compared);
  } else {
    std::memcpy(form->text.data(), &entry.str, sizeof entry.str);
  }
}

void wz::norm_id::remove_short(const NormObjKey& key, const Text& text) {
  ShortForm* const forms = hidden_of(key).forms + text.window;
  for (ShortForm* form = forms; text.regular && form != forms + kWindow; ++form) {
    if (matches(key, *form, text)) {
      form->tag = 0;
      return;
    }
  }
}

void wz::norm_id::release_id(NormObjKey& key, int id) {
  FreeNormIdList*& spare = *hidden_of(key).spare_nodes;
  FreeNormIdList* node = spare;
  if (node != nullptr) {
    spare = node->next_free_id;
  } else {
    node = static_cast<FreeNormIdList*>(WZLB_MALLOC(sizeof(FreeNormIdList), kReleasedLabel));
  }
  *node = {id, nullptr};
  (key.free_norm_id_list_tail != nullptr ? key.free_norm_id_list_tail->next_free_id
                                         : key.free_norm_id_list_head) = node;
  key.free_norm_id_list_tail = node;
}

int wzlb_init_norm_id_table(NormObjKey* key, int size) {
  return wzlb_init_norm_id_table_v2(key, size, WZLB_BIGBUF_DEFAULT_SIZE);
}

int wzlb_init_norm_id_table_v2(NormObjKey* key, int size, int big_buf_size) {
  if (key == nullptr) {
    return -1;
  }
  WZLB_TRACE(WZLB_LEVEL_2, WZLB_MODULE_HASH, "size = %d, big_buf_size = %d", size, big_buf_size);
  *key = NormObjKey{};
  key->size = wzlb_change_to_2_power_n(size);
  if (key->size < 1) {
    return -1;
  }
  key->prime = get_prime(key->size);
  key->prev_id = -1;
  if (wzlb_bigbuf_init_ex(&key->bigbuf, big_buf_size) != 0) {
    return -1;
  }
  key->nt = static_cast<NormTable*>(WZLB_MALLOC(heads_size(key->size), kHeadsLabel));
  ask_for_large_pages(key->nt, heads_size(key->size));
  clear_heads(*key);
  *hidden_of(*key).spare_nodes = nullptr;
  return create_pool(*key) ? 0 : -1;
}

int wzlb_init_norm_id_table_ex(NormObjKey* key, int size) {
  if (key == nullptr) {
    return -1;
  }
  wzlb_init_norm_id_table(key, size);
  const std::size_t bytes = static_cast<std::size_t>(key->size) * sizeof(NormTable*);
  key->id_name = static_cast<NormTable**>(WZLB_MALLOC(bytes, kNamesLabel));
  if (key->id_name != nullptr) {
    std::memset(key->id_name, 0xFF, bytes);
  }
  return 0;
}

void wzlb_set_start_norm_id(NormObjKey* key, int start_normid) {
  if (key != nullptr) {
    key->prev_id = std::max(key->prev_id, start_normid);
  }
}

void wzlb_add_id_in_free_list(NormObjKey* key, int data) {
  if (is_usable(key)) {
    release_id(*key, data);
  }
}

int wzlb_obj_hash_reset(NormObjKey* key) {
  if (!is_usable(key)) {
    return -1;
  }
  WZLB_TRACE(WZLB_LEVEL_2, WZLB_MODULE_HASH, "prev_id = %d", key->prev_id);
  wzlb_mp_free_all_slots(key->nt_mpool);
  clear_heads(*key);
  if (key->id_name != nullptr) {
    std::fill_n(key->id_name, key->max_norm_id_size, nullptr);
  }
  key->prev_id = -1;
  key->bigbuf.offset = 0;
  free_released_ids(*key);
  return 0;
}

int wzlb_obj_hash_destroy(NormObjKey* key) {
  if (key == nullptr) {
    return -1;
  }
  if (key->nt_mpool != nullptr) {
    wzlb_mp_destroy(key->nt_mpool);
    WZLB_FREE(key->nt_mpool, kPoolLabel, -1);
  }
  wzlb_bigbuf_free(&key->bigbuf);
  if (key->nt != nullptr) {
    free_released_ids(*key);
    WZLB_FREE(key->nt, kHeadsLabel, -1);
  }
  WZLB_FREE(key->id_name, kNamesLabel, -1);
  *key = NormObjKey{};
  WZLB_TRACE(WZLB_LEVEL_2, WZLB_MODULE_HASH, "Method exiting");
  return 0;
}
