// All services by the segments of their paths: a tree that lies flat in the service image, one hash
// table for the edges of all its nodes. A request walks it once, segment by segment, and reads a
// handful of cache lines however many services there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "daemon/service/name_table.h"

namespace vsd {

// A run of ranks, ascending. A rank is the place of a service in the order of trying.
struct RankRun {
  std::uint32_t first = 0;
  std::uint32_t count = 0;
};

struct MatchNode {
  std::uint32_t any_child = 0;  // the node behind a `*` segment; 0: none, the root is no child
  RankRun here;                 // services whose path ends here
  RankRun below;                // services for this path and everything below it
  RankRun regexes;              // services whose expression begins with this path
};

// A slot of the table of edges.
struct MatchEdge {
  std::uint32_t hash = 0;
  std::uint32_t parent = 0;
  std::uint32_t child = 0;  // 0: the slot is free and ends the search
  std::uint32_t text = 0;   // distance of the segment's text among the texts
  std::uint32_t length = 0;
};

// Where the parts of the index lie. Distances count from the start of the image.
struct MatchIndexHeader {
  std::uint64_t nodes = 0;
  std::uint64_t edges = 0;
  std::uint64_t edge_mask = 0;  // number of slots, a power of two, less 1
  std::uint64_t ranks = 0;
  std::uint64_t texts = 0;
};

[[nodiscard]] inline std::uint32_t edge_hash(std::uint32_t parent,
                                             std::string_view segment) noexcept {
  const std::uint32_t mixed = name_hash(segment) ^ parent * 0x9E3779B1U;
  return mixed ^ mixed >> 15U;
}

// The index of an image, valid as long as that.
class MatchIndex {
 public:
  static constexpr std::uint32_t kRoot = 0;

  MatchIndex(const std::byte* base, const MatchIndexHeader& header)
      : nodes_(reinterpret_cast<const MatchNode*>(base + header.nodes)),
        edges_(reinterpret_cast<const MatchEdge*>(base + header.edges)),
        ranks_(reinterpret_cast<const std::uint32_t*>(base + header.ranks)),
        texts_(reinterpret_cast<const char*>(base + header.texts)),
        mask_(static_cast<std::size_t>(header.edge_mask)) {}

  [[nodiscard]] const MatchNode& node(std::uint32_t number) const { return nodes_[number]; }

  [[nodiscard]] std::span<const std::uint32_t> ranks(RankRun run) const {
    return {ranks_ + run.first, run.count};
  }

  // The node behind a literal segment, or 0.
  [[nodiscard]] std::uint32_t child(std::uint32_t parent, std::string_view segment) const {
    const std::uint32_t hash = edge_hash(parent, segment);
    for (std::size_t i = hash & mask_;; i = (i + 1) & mask_) {
      const MatchEdge& edge = edges_[i];
      if (edge.child == 0) {
        return 0;
      }
      if (edge.hash == hash && edge.parent == parent && edge.length == segment.size() &&
          same_name(texts_ + edge.text, segment.data(), segment.size())) {
        return edge.child;
      }
    }
  }

 private:
  const MatchNode* nodes_;
  const MatchEdge* edges_;
  const std::uint32_t* ranks_;
  const char* texts_;
  std::size_t mask_;
};

}  // namespace vsd
