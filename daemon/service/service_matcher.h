// Finds the service for a method and a path. The table is one block of memory without pointers, so
// that it can lie in the shared service image: a hash table of paths, each with the methods that
// some service answers there. Paths are compared as sent, without resolving escapes.
//
// Only whole paths are looked up. Patterns would be tried after the hash table has found nothing,
// from a list of their own behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vsd {

// What one service answers.
struct ServiceRoute {
  std::string path;
  std::vector<std::string> methods;  // of at most 8 characters
  std::uint32_t service = 0;         // the number that a match yields
};

// The table as bytes, to be kept at an address that is a multiple of 8. Where two services answer
// the same method and path, the first one stands.
std::vector<std::byte> build_route_table(std::span<const ServiceRoute> routes);

struct ServiceMatch {
  enum class Outcome : std::uint8_t { no_path, no_method, found };
  Outcome outcome = Outcome::no_path;
  std::uint32_t service = 0;  // when found
  std::string_view allow;     // when only the method differs: the list for an Allow header
};

class ServiceMatcher {
 public:
  // Keeps the address; the table must outlive the matcher.
  explicit ServiceMatcher(const std::byte* table) noexcept : table_(table) {}

  // `target` is the request target; its query is ignored. HEAD is served by services for GET.
  [[nodiscard]] ServiceMatch match(std::string_view method, std::string_view target) const noexcept;

 private:
  const std::byte* table_;
};

}  // namespace vsd
