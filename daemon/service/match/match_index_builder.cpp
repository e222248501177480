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

using Ranks = std::vector<std::uint32_t>;

struct Node {
  std::map<std::string, std::uint32_t, std::less<>> children;
  std::uint32_t any_child = 0;
  Ranks here;
  Ranks below;
  Ranks regexes;
};

// The tree while it grows.
class MatchTree {
 public:
  MatchTree() : nodes_(1) {}

  // Services come in the order of their ranks, so every run is sorted.
  void add(const UrlPattern& pattern, std::uint32_t rank) {
    std::uint32_t number = MatchIndex::kRoot;
    for (const std::string& segment : pattern.segments) {
      number = child(number, segment);
    }
    Node& node = nodes_[number];
    switch (pattern.kind) {
      case UrlKind::below:
        node.below.push_back(rank);
        break;
      case UrlKind::regex:
        node.regexes.push_back(rank);
        break;
      case UrlKind::wildcard:
      case UrlKind::exact:
        node.here.push_back(rank);
        break;
    }
  }

  MatchIndexHeader place(ImageArena& arena) const {
    std::vector<MatchNode> nodes;
    Ranks ranks;
    for (const Node& node : nodes_) {
      nodes.push_back({node.any_child, place_run(node.here, ranks), place_run(node.below, ranks),
                       place_run(node.regexes, ranks)});
    }
    std::string texts;
    const std::vector<MatchEdge> edges = hash_edges(texts);
    MatchIndexHeader header;
    header.nodes = arena.append(nodes);
    header.edges = arena.append(edges);
    header.edge_mask = edges.size() - 1;
    header.ranks = arena.append(ranks);
    header.texts = arena.append(texts.data(), texts.size());
    return header;
  }

 private:
  static RankRun place_run(const Ranks& run, Ranks& all) {
    const RankRun placed{static_cast<std::uint32_t>(all.size()),
                         static_cast<std::uint32_t>(run.size())};
    all.insert(all.end(), run.begin(), run.end());
    return placed;
  }

  std::uint32_t child(std::uint32_t parent, const std::string& segment) {
    const auto next = static_cast<std::uint32_t>(nodes_.size());
    std::uint32_t& known =
        segment == kAnySegment ? nodes_[parent].any_child : nodes_[parent].children[segment];
    const std::uint32_t number = known == 0 ? next : known;
    known = number;
    if (number == next) {
      nodes_.emplace_back();
    }
    return number;
  }

  // At most half full, so there is always a free slot and runs stay short.
  std::vector<MatchEdge> hash_edges(std::string& texts) const {
    std::vector<MatchEdge> slots(std::bit_ceil(2 * nodes_.size() + 1));
    const std::size_t mask = slots.size() - 1;
    for (std::uint32_t parent = 0; parent < nodes_.size(); ++parent) {
      for (const auto& [segment, number] : nodes_[parent].children) {
        const std::uint32_t hash = edge_hash(parent, segment);
        std::size_t i = hash & mask;
        while (slots[i].child != 0) {
          i = (i + 1) & mask;
        }
        slots[i] = {hash, parent, number, static_cast<std::uint32_t>(texts.size()),
                    static_cast<std::uint32_t>(segment.size())};
        texts += segment;
      }
    }
    return slots;
  }

  std::vector<Node> nodes_;
};

}  // namespace

std::vector<std::uint32_t> rank_services(std::span<const ServiceDefinition> services) {
  std::vector<std::uint64_t> specificity;
  for (const ServiceDefinition& service : services) {
    specificity.push_back(specificity_of(service, url_pattern_of(service)));
  }
  Ranks order(services.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return std::tie(services[b].priority, specificity[b], services[a].name) <
           std::tie(services[a].priority, specificity[a], services[b].name);
  });
  return order;
}

MatchIndexHeader append_match_index(ImageArena& arena, std::span<const ServiceDefinition> services,
                                    std::span<const std::uint32_t> by_rank) {
  MatchTree tree;
  for (std::uint32_t rank = 0; rank < by_rank.size(); ++rank) {
    tree.add(url_pattern_of(services[by_rank[rank]]), rank);
  }
  return tree.place(arena);
}

}  // namespace vsd
