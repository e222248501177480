// What the parts of the id table share: how a string is looked for.
//
// Beside the fields that callers see, a table keeps what spares cache misses and comparisons. It
// never changes what a lookup finds:
//
//   - A tag of the hash in the padding of each entry; 0 stands for any.
//   - Behind the head entries, as many short forms: tag, length, id and, up to a length, the text,
//     in half a cache line. A short form stands within a window that the hash selects. Most lookups
//     are answered from one; an entry without one is found in its chain.
//   - Behind those, for each head a word with a bit for each string that went into its chain; most
//     lookups of unknown strings end there. Bits stay when strings are removed.
//   - At the end, list nodes of ids that were used again, for the next ids to be released.
//
// Hash and comparison may cover different bytes: the hash ends at the NUL, the comparison at the
// caller's length. Only where the two agree ("regular" strings) do equal strings have equal hashes,
// and only those have tags, short forms and bits of their own.
#pragma once

#include <wz/wzlb_get_norm_obj_id.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "libwzcore/wzlb_get_norm_obj_id/norm_hash.h"

namespace wz::norm_id {

constexpr long long kEmpty = -1;
constexpr long long kNoData = -1;

struct Text {
  const char* bytes;
  int length;            // as the caller gave it
  std::size_t compared;  // bytes up to the length or up to and with the NUL, whichever ends first
  bool regular;          // the length ends at the NUL
  int index;             // of the head entry
  std::uint32_t tag;     // 0 unless regular
  std::uint16_t bit;     // all bits unless regular
  int window;            // first short form to look at
};

// A regular entry in short, or tag 0.
struct alignas(32) ShortForm {
  static constexpr std::size_t kRoom = 20;

  std::uint32_t tag;
  int length;
  int id;
  std::array<char, kRoom> text;  // the string, or its 8-byte offset when it is longer
};
static_assert(sizeof(ShortForm) == 32);

constexpr int kWindow = 16;

// What lies behind the head entries.
struct Hidden {
  ShortForm* forms;              // `size` + kWindow elements
  std::uint16_t* chain_bits;     // `size` words
  FreeNormIdList** spare_nodes;  // head of a list
};

// Where the parts begin, in bytes from the start of the short forms.
constexpr std::size_t bits_offset(std::size_t size) {
  return (size + kWindow) * sizeof(ShortForm);
}
constexpr std::size_t spare_offset(std::size_t size) {
  return bits_offset(size) + (size * sizeof(std::uint16_t) + 7) / 8 * 8;
}

inline Hidden hidden_of(const NormObjKey& key) {
  const auto size = static_cast<std::size_t>(key.size);
  auto* const end = reinterpret_cast<char*>(key.nt + size);
  const std::size_t past = reinterpret_cast<std::uintptr_t>(end) % alignof(ShortForm);
  char* const start = end + (alignof(ShortForm) - past) % alignof(ShortForm);
  return {reinterpret_cast<ShortForm*>(start),
          reinterpret_cast<std::uint16_t*>(start + bits_offset(size)),
          reinterpret_cast<FreeNormIdList**>(start + spare_offset(size))};
}

// Bytes of the head entries and all that lies behind them.
inline std::size_t heads_size(int size) {
  const auto count = static_cast<std::size_t>(size);
  return count * sizeof(NormTable) + alignof(ShortForm) + spare_offset(count) +
         sizeof(FreeNormIdList*);
}

constexpr std::size_t kTagOffset = offsetof(NormTable, slot_status) + 4;
static_assert(kTagOffset + sizeof(std::uint32_t) == offsetof(NormTable, str));

inline std::uint32_t tag_of(const NormTable& entry) {
  std::uint32_t tag = 0;
  std::memcpy(&tag, reinterpret_cast<const char*>(&entry) + kTagOffset, sizeof tag);
  return tag;
}

inline void set_tag(NormTable& entry, std::uint32_t tag) {
  std::memcpy(reinterpret_cast<char*>(&entry) + kTagOffset, &tag, sizeof tag);
}

inline bool is_usable(const NormObjKey* key) {
  return key != nullptr && key->nt != nullptr && key->size > 0 && key->prime > 0;
}

inline bool is_empty(const char* text) {
  return text == nullptr || *text == '\0';
}

// A string that is not empty with a length above 0, in a usable table.
inline Text make_text(const NormObjKey& key, const char* bytes, int length) {
  const std::size_t terminated = std::strlen(bytes);
  const std::uint64_t hash = hash_of({bytes, terminated});
  Text text{};
  text.bytes = bytes;
  text.length = length;
  text.compared = std::min(static_cast<std::size_t>(length), terminated + 1);
  text.regular = static_cast<std::size_t>(length) == terminated;
  text.index = reduce(hash, key.size, key.prime);
  text.tag = text.regular ? static_cast<std::uint32_t>(hash >> 32) | 1U : 0;
  text.bit = static_cast<std::uint16_t>(text.regular ? 1U << ((hash >> 29) & 15) : ~0U);
  // The upper bits of a product depend on every byte, so windows are spread evenly.
  const std::uint64_t spread = (hash * 0x9E3779B97F4A7C15U) >> 32;
  text.window = static_cast<int>((spread * static_cast<std::uint64_t>(key.size)) >> 32);
  return text;
}

inline bool matches(const NormObjKey& key, const NormTable& entry, const Text& text) {
  if (entry.len != text.length) {
    return false;
  }
  const std::uint32_t tag = tag_of(entry);
  if (tag != text.tag && tag != 0 && text.tag != 0) {
    return false;
  }
  return std::memcmp(key.bigbuf.buffer + entry.str, text.bytes, text.compared) == 0;
}

inline bool matches(const NormObjKey& key, const ShortForm& form, const Text& text) {
  if (form.tag != text.tag || form.length != text.length) {
    return false;
  }
  const char* bytes = form.text.data();
  if (text.compared > ShortForm::kRoom) {
    long long offset = 0;
    std::memcpy(&offset, bytes, sizeof offset);
    bytes = key.bigbuf.buffer + offset;
  }
  return std::memcmp(bytes, text.bytes, text.compared) == 0;
}

// The short form of a text, or null when it has none.
inline const ShortForm* find_short(const NormObjKey& key, const Text& text) {
  const ShortForm* form = hidden_of(key).forms + text.window;
  const ShortForm* const end = form + kWindow;
  for (; text.regular && form != end && form->tag != 0; ++form) {
    if (matches(key, *form, text)) {
      return form;
    }
  }
  return nullptr;
}

// Gives a new entry of `text` a short form, if there is room in its window, or takes it away.
void add_short(const NormObjKey& key, const Text& text, const NormTable& entry);
void remove_short(const NormObjKey& key, const Text& text);

inline bool may_hold(const NormObjKey& key, const Text& text) {
  return (hidden_of(key).chain_bits[text.index] & text.bit) != 0;
}

// The matching entry of the text's chain, or null. A chain behind an empty head is out of reach.
inline NormTable* find(const NormObjKey& key, const Text& text) {
  NormTable* entry = key.nt + text.index;
  if (!may_hold(key, text) || entry->str == kEmpty) {
    return nullptr;
  }
  while (entry != nullptr && !matches(key, *entry, text)) {
    entry = entry->nt_next;
  }
  return entry;
}

// Releases an id; the node is one that was used before, if there is any.
void release_id(NormObjKey& key, int id);

}  // namespace wz::norm_id
