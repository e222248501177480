// What the parts of the id table share: how a string is looked for.
//
// Beside the fields that callers see, a table keeps three things that spare cache misses and
// comparisons. They only ever rule entries out: what a lookup finds is decided by the bytes.
//
//   - A tag of the hash in the padding of each entry; 0 rules nothing out.
//   - Per head a word with a bit for each string that went into its chain, behind the head
//     entries. Bits stay when strings are removed.
//   - Behind the words, list nodes of ids that were used again, for the next ids to be released.
//
// Hash and comparison may cover different bytes: the hash ends at the NUL, the comparison at the
// caller's length. Only where the two agree ("regular" strings) do equal strings have equal hashes,
// and only there anything is ruled out.
#pragma once

#include <wz/wzlb_get_norm_obj_id.h>

#include <algorithm>
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
  std::uint32_t bit;     // all bits unless regular
};

// What lies behind the head entries.
struct Hidden {
  std::uint32_t* chain_bits;     // `size` words
  FreeNormIdList** spare_nodes;  // head of a list
};

inline Hidden hidden_of(const NormObjKey& key) {
  auto* const words = reinterpret_cast<std::uint32_t*>(key.nt + key.size);
  // An even number of words, so that the pointer is aligned.
  return {words, reinterpret_cast<FreeNormIdList**>(words + key.size + key.size % 2)};
}

inline std::size_t heads_size(int size) {
  const auto count = static_cast<std::size_t>(size);
  return count * sizeof(NormTable) + (count + count % 2) * sizeof(std::uint32_t) +
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
  text.bit = text.regular ? 1U << ((hash >> 29) & 31) : ~0U;
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
