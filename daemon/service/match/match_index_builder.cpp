#include <algorithm>
#include <bit>
#include <map>
#include <numeric>
#include <string>
#include <tuple>

#include "daemon/service/match/match_index.h"
#include "daemon/service/match/url_pattern.h"
#include "daemon/service/service_image_layout.h"

namespace vsd {
namespace {

using Entries = std::vector<MatchEntry>;

struct Branch {
  std::map<std::string, std::uint32_t, std::less<>> children;
  std::uint32_t any_child = 0;
  Entries here;
  Entries below;
  Entries regexes;
};

// The tree while it grows; its branches become the nodes of the index.
class MatchTree {
 public:
  MatchTree() : branches_(1) {}

  // Services come in the order of their ranks, so every run is sorted.
  void add(const UrlPattern& pattern, const MatchEntry& entry) {
    std::uint32_t number = 0;
    for (const std::string& segment : pattern.segments) {
      number = child(number, segment);
    }
    Branch& branch = branches_[number];
    switch (pattern.kind) {
      case UrlKind::below:
        branch.below.push_back(entry);
        break;
      case UrlKind::regex:
        branch.regexes.push_back(entry);
        break;
      case UrlKind::wildcard:
      case UrlKind::exact:
        branch.here.push_back(entry);
        break;
    }
  }

  MatchIndexHeader place(ImageArena& arena) {
    // At most half full, so there is always a free slot and runs stay short.
    mask_ = std::bit_ceil(2 * branches_.size() + 1) - 1;
    nodes_.assign(MatchIndex::kFirstSlot + mask_ + 1, MatchNode());
    nodes_[MatchIndex::kRoot].parent = MatchNode::kUnhashed;
    fill(MatchIndex::kRoot, branches_.front());
    MatchIndexHeader header;
    header.nodes = arena.append(nodes_, alignof(MatchNode));
    header.mask = mask_;
    header.entries = arena.append(entries_);
    header.texts = arena.append(texts_.data(), texts_.size());
    return header;
  }

 private:
  std::uint32_t child(std::uint32_t parent, const std::string& segment) {
    const auto next = static_cast<std::uint32_t>(branches_.size());
    std::uint32_t& known =
        segment == kAnySegment ? branches_[parent].any_child : branches_[parent].children[segment];
    const std::uint32_t number = known == 0 ? next : known;
    known = number;
    if (number == next) {
      branches_.emplace_back();
    }
    return number;
  }

  EntryRun place_run(const Entries& run) {
    const EntryRun placed{static_cast<std::uint32_t>(entries_.size()),
                          static_cast<std::uint32_t>(run.size())};
    entries_.insert(entries_.end(), run.begin(), run.end());
    return placed;
  }

  // Writes a branch into its node and all below it into nodes of their own. Goes as deep as a path
  // has segments, which the length of a declaration's value bounds.
  void fill(std::uint32_t number, const Branch& branch) {
    nodes_[number].here = place_run(branch.here);
    nodes_[number].below = place_run(branch.below);
    nodes_[number].regexes = place_run(branch.regexes);
    if (branch.any_child != 0) {
      const auto any = static_cast<std::uint32_t>(nodes_.size());
      nodes_[number].any_child = any;
      nodes_.emplace_back().parent = MatchNode::kUnhashed;
      fill(any, branches_[branch.any_child]);
    }
    for (const auto& [segment, child_branch] : branch.children) {
      fill(hash_node(number, segment), branches_[child_branch]);
    }
  }

  // Takes a slot for the node behind `segment`.
  std::uint32_t hash_node(std::uint32_t parent, const std::string& segment) {
    const std::uint32_t hash = segment_hash(parent, segment);
    std::size_t i = hash & mask_;
    while (nodes_[MatchIndex::kFirstSlot + i].parent != MatchNode::kFree) {
      i = (i + 1) & mask_;
    }
    MatchNode& node = nodes_[MatchIndex::kFirstSlot + i];
    node.hash = hash;
    node.parent = parent;
    node.length = static_cast<std::uint32_t>(segment.size());
    if (segment.size() <= MatchNode::kInlineText) {
      segment.copy(node.text, segment.size());
    } else {
      const auto distance = static_cast<std::uint32_t>(texts_.size());
      std::memcpy(node.text, &distance, sizeof distance);
      texts_ += segment;
    }
    return static_cast<std::uint32_t>(MatchIndex::kFirstSlot + i);
  }

  std::vector<Branch> branches_;
  std::vector<MatchNode> nodes_;
  std::size_t mask_ = 0;
  Entries entries_;
  std::string texts_;
};

// Numbers the methods of all services.
class MethodNumbers {
 public:
  std::uint32_t bits_of(const ServiceDefinition& service) {
    std::uint32_t bits = 0;
    for (const std::string_view method : service.methods) {
      const auto known = std::find(names_.begin(), names_.end(), method);
      bits |= MatchIndex::bit_of(static_cast<unsigned>(known - names_.begin()));
      if (known == names_.end()) {
        names_.push_back(method);
      }
    }
    return bits;
  }

  void place(ImageArena& arena, MatchIndexHeader& header) const {
    const NameTable table = build_name_table(names_);
    header.methods = arena.append(table.bytes);
    header.method_slots = table.slots;
  }

 private:
  std::vector<std::string_view> names_;
};

}  // namespace

std::vector<std::uint32_t> rank_services(std::span<const ServiceDefinition> services) {
  std::vector<std::uint64_t> specificity;
  for (const ServiceDefinition& service : services) {
    specificity.push_back(specificity_of(service, url_pattern_of(service)));
  }
  std::vector<std::uint32_t> order(services.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return std::tie(services[b].priority, specificity[b], services[a].name) <
           std::tie(services[a].priority, specificity[a], services[b].name);
  });
  return order;
}

MatchIndexHeader append_match_index(ImageArena& arena, std::span<const ServiceDefinition> services,
                                    std::span<const std::uint64_t> records,
                                    std::span<const std::uint32_t> by_rank) {
  MatchTree tree;
  MethodNumbers methods;
  for (std::uint32_t rank = 0; rank < by_rank.size(); ++rank) {
    const std::uint32_t number = by_rank[rank];
    const ServiceDefinition& service = services[number];
    tree.add(url_pattern_of(service), {rank, methods.bits_of(service), records[number]});
  }
  MatchIndexHeader header = tree.place(arena);
  methods.place(arena, header);
  return header;
}

}  // namespace vsd
