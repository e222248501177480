// All services by the segments of their paths: a tree that lies flat in the service image. Its
// nodes are the slots of one hash table, found by the parent's number and the segment that leads to
// them. A node is a cache line and holds what a request needs of it, so that a request walks down
// with one memory access per segment, however many services there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "daemon/service/name_table.h"

namespace vsd {

// A service as the index knows it: enough to pass it over without looking at its record.
struct MatchEntry {
  std::uint32_t rank = 0;     // its place in the order of trying
  std::uint32_t methods = 0;  // a bit for each method that it answers, by number
  std::uint64_t service = 0;  // distance of its record from the start of the image
};

// A run of entries, by ascending rank.
struct EntryRun {
  std::uint32_t first = 0;
  std::uint32_t count = 0;
};

struct alignas(64) MatchNode {
  static constexpr std::size_t kInlineText = 20;

  std::uint32_t hash = 0;
  std::uint32_t parent = kFree;
  std::uint32_t any_child = 0;  // the node behind a `*` segment; 0: none, the root is no child
  std::uint32_t length = 0;     // of the segment that leads here
  EntryRun here;                // services whose path ends here
  EntryRun below;               // services for this path and everything below it
  EntryRun regexes;             // services whose expression begins with this path
  // The segment's text; of a longer one, its 4-byte distance among the texts.
  char text[kInlineText] = {};

  static constexpr std::uint32_t kFree = 0xFFFFFFFF;      // no node: the search ends
  static constexpr std::uint32_t kUnhashed = 0xFFFFFFFE;  // reached by its number only
};
static_assert(sizeof(MatchNode) == 64);

// Where the parts of the index lie. Distances count from the start of the image.
struct MatchIndexHeader {
  std::uint64_t nodes = 0;  // the root, the slots, and the nodes behind `*` segments
  std::uint64_t mask = 0;   // number of slots, a power of two, less 1
  std::uint64_t entries = 0;
  std::uint64_t texts = 0;
  std::uint64_t methods = 0;  // name table: a method's number is its code
  std::int64_t method_slots = 0;
};

[[nodiscard]] inline std::uint32_t segment_hash(std::uint32_t parent,
                                                std::string_view segment) noexcept {
  const std::uint32_t mixed = name_hash(segment) ^ parent * 0x9E3779B1U;
  return mixed ^ mixed >> 15U;
}

// The index of an image, valid as long as that.
class MatchIndex {
 public:
  static constexpr std::uint32_t kRoot = 0;
  static constexpr std::uint32_t kFirstSlot = 1;
  // Stands for all methods from this number on: whether one of them is answered, the record says.
  static constexpr unsigned kOtherMethods = 31;

  MatchIndex(const std::byte* base, const MatchIndexHeader& header)
      : nodes_(reinterpret_cast<const MatchNode*>(base + header.nodes)),
        entries_(reinterpret_cast<const MatchEntry*>(base + header.entries)),
        texts_(reinterpret_cast<const char*>(base + header.texts)),
        methods_(reinterpret_cast<const char*>(base + header.methods)),
        method_slots_(header.method_slots),
        mask_(static_cast<std::size_t>(header.mask)) {}

  [[nodiscard]] const MatchNode& node(std::uint32_t number) const { return nodes_[number]; }

  [[nodiscard]] std::span<const MatchEntry> entries(EntryRun run) const {
    return {entries_ + run.first, run.count};
  }

  // The bit of a method among those of an entry; 0 when no service answers it.
  [[nodiscard]] std::uint32_t method_bit(std::string_view method) const {
    const int number = find_name(methods_, method, method_slots_);
    return number < 0 ? 0 : bit_of(static_cast<unsigned>(number));
  }
  [[nodiscard]] static constexpr std::uint32_t bit_of(unsigned number) {
    return 1U << (number < kOtherMethods ? number : kOtherMethods);
  }

  // The node behind a literal segment, or 0.
  [[nodiscard]] std::uint32_t child(std::uint32_t parent, std::string_view segment) const {
    const std::uint32_t hash = segment_hash(parent, segment);
    for (std::size_t i = hash & mask_;; i = (i + 1) & mask_) {
      const MatchNode& slot = nodes_[kFirstSlot + i];
      if (slot.parent == MatchNode::kFree) {
        return 0;
      }
      if (slot.hash == hash && slot.parent == parent && slot.length == segment.size() &&
          same_name(text_of(slot), segment.data(), segment.size())) {
        return static_cast<std::uint32_t>(kFirstSlot + i);
      }
    }
  }

 private:
  [[nodiscard]] const char* text_of(const MatchNode& node) const {
    if (node.length <= MatchNode::kInlineText) {
      return node.text;
    }
    std::uint32_t distance = 0;
    std::memcpy(&distance, node.text, sizeof distance);
    return texts_ + distance;
  }

  const MatchNode* nodes_;
  const MatchEntry* entries_;
  const char* texts_;
  const char* methods_;
  std::int64_t method_slots_;
  std::size_t mask_;
};

}  // namespace vsd
