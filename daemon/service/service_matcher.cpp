#include "daemon/service/service_matcher.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <unordered_map>
#include <utility>

namespace vsd {
namespace {

// Method names are at most 8 characters and compare as one number.
using MethodCode = std::uint64_t;

MethodCode method_code(std::string_view method) {
  MethodCode code = 0;
  std::memcpy(&code, method.data(), std::min(method.size(), sizeof code));
  return code;
}

constexpr std::uint32_t kEmpty = 0;  // a slot's path number, counted from 1

struct Header {
  std::uint32_t slot_mask;  // slots - 1; slots is a power of two
  std::uint32_t path_count;
  std::uint32_t method_count;
  std::uint32_t reserved;
};

struct Slot {
  std::uint32_t hash;
  std::uint32_t path;  // counted from 1
};

struct Path {
  std::uint32_t text;  // distances in the text behind the tables
  std::uint32_t length;
  std::uint32_t allow;
  std::uint32_t allow_length;
  std::uint32_t first_method;
  std::uint32_t method_count;
};

struct Method {
  MethodCode code;
  std::uint64_t service;
};

// Addresses of the tables inside the block.
class Layout {
 public:
  explicit Layout(const Header& header) noexcept
      : slots(sizeof(Header)),
        methods(slots + (std::size_t{header.slot_mask} + 1) * sizeof(Slot)),
        paths(methods + header.method_count * sizeof(Method)),
        text(paths + header.path_count * sizeof(Path)) {}

  std::size_t slots;
  std::size_t methods;
  std::size_t paths;
  std::size_t text;
};

std::uint32_t hash_of(std::string_view path) noexcept {
  return static_cast<std::uint32_t>(std::hash<std::string_view>{}(path));
}

template <typename Record>
const Record* records(const std::byte* table, std::size_t distance) noexcept {
  return reinterpret_cast<const Record*>(table + distance);
}

// The routes regrouped by path, in the order of their first mention.
struct PathRoutes {
  std::string_view path;
  std::vector<std::pair<std::string_view, std::uint32_t>> methods;
};

std::vector<PathRoutes> group_by_path(std::span<const ServiceRoute> routes) {
  std::vector<PathRoutes> groups;
  std::unordered_map<std::string_view, std::size_t> numbers;
  for (const ServiceRoute& route : routes) {
    const auto [number, is_new] = numbers.try_emplace(route.path, groups.size());
    if (is_new) {
      groups.push_back({route.path, {}});
    }
    PathRoutes& group = groups[number->second];
    for (const std::string& method : route.methods) {
      const bool known = std::any_of(group.methods.begin(), group.methods.end(),
                                     [&](const auto& other) { return other.first == method; });
      if (!known && method.size() <= sizeof(MethodCode)) {
        group.methods.emplace_back(method, route.service);
      }
    }
  }
  return groups;
}

std::string allow_list(const PathRoutes& group) {
  std::string list;
  const auto add = [&list](std::string_view method) {
    list.append(list.empty() ? "" : ", ").append(method);
  };
  const auto has = [&group](std::string_view method) {
    return std::any_of(group.methods.begin(), group.methods.end(),
                       [&](const auto& other) { return other.first == method; });
  };
  for (const auto& [method, service] : group.methods) {
    add(method);
  }
  if (has("GET") && !has("HEAD")) {
    add("HEAD");
  }
  return list;
}

}  // namespace

std::vector<std::byte> build_route_table(std::span<const ServiceRoute> routes) {
  const std::vector<PathRoutes> groups = group_by_path(routes);
  Header header{};
  header.path_count = static_cast<std::uint32_t>(groups.size());
  std::uint32_t slots = 4;
  while (slots < 2 * groups.size()) {
    slots *= 2;
  }
  header.slot_mask = slots - 1;

  std::vector<Path> paths;
  std::vector<Method> methods;
  std::string text;
  const auto put_text = [&text](std::string_view added) {
    text.append(added);
    return static_cast<std::uint32_t>(text.size() - added.size());
  };
  std::vector<Slot> slot_table(slots, Slot{0, kEmpty});
  for (const PathRoutes& group : groups) {
    const std::string allow = allow_list(group);
    paths.push_back({put_text(group.path), static_cast<std::uint32_t>(group.path.size()),
                     put_text(allow), static_cast<std::uint32_t>(allow.size()),
                     static_cast<std::uint32_t>(methods.size()),
                     static_cast<std::uint32_t>(group.methods.size())});
    for (const auto& [method, service] : group.methods) {
      methods.push_back({method_code(method), service});
    }
    const std::uint32_t hash = hash_of(group.path);
    std::uint32_t slot = hash & header.slot_mask;
    while (slot_table[slot].path != kEmpty) {
      slot = (slot + 1) & header.slot_mask;
    }
    slot_table[slot] = {hash, static_cast<std::uint32_t>(paths.size())};
  }
  header.method_count = static_cast<std::uint32_t>(methods.size());

  const Layout layout(header);
  std::vector<std::byte> table(layout.text + text.size());
  const auto put = [&table](std::size_t distance, const auto* first, std::size_t count) {
    if (count > 0) {
      std::memcpy(table.data() + distance, first, count * sizeof *first);
    }
  };
  put(0, &header, 1);
  put(layout.slots, slot_table.data(), slot_table.size());
  put(layout.methods, methods.data(), methods.size());
  put(layout.paths, paths.data(), paths.size());
  put(layout.text, text.data(), text.size());
  return table;
}

ServiceMatch ServiceMatcher::match(std::string_view method,
                                   std::string_view target) const noexcept {
  const std::string_view path = target.substr(0, target.find('?'));
  const Header& header = *records<Header>(table_, 0);
  const Layout layout(header);
  const Slot* slots = records<Slot>(table_, layout.slots);
  const char* text = records<char>(table_, layout.text);
  const std::uint32_t hash = hash_of(path);
  const Path* entry = nullptr;
  // The table is at most half full, so there is always an empty slot to stop at.
  for (std::uint32_t slot = hash & header.slot_mask; slots[slot].path != kEmpty;
       slot = (slot + 1) & header.slot_mask) {
    const Path& candidate = records<Path>(table_, layout.paths)[slots[slot].path - 1];
    if (slots[slot].hash == hash &&
        std::string_view(text + candidate.text, candidate.length) == path) {
      entry = &candidate;
      break;
    }
  }
  ServiceMatch result;
  if (entry == nullptr) {
    return result;
  }
  const std::span<const Method> methods(
      records<Method>(table_, layout.methods) + entry->first_method, entry->method_count);
  const auto find = [&](std::string_view name) {
    const MethodCode code = method_code(name);
    const auto found = std::find_if(methods.begin(), methods.end(),
                                    [code](const Method& other) { return other.code == code; });
    if (found == methods.end()) {
      return false;
    }
    result.outcome = ServiceMatch::Outcome::found;
    result.service = static_cast<std::uint32_t>(found->service);
    return true;
  };
  if (method.size() > sizeof(MethodCode) || (!find(method) && !(method == "HEAD" && find("GET")))) {
    result.outcome = ServiceMatch::Outcome::no_method;
    result.allow = std::string_view(text + entry->allow, entry->allow_length);
  }
  return result;
}

}  // namespace vsd
