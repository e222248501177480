// What the URL of a service may be: a path, a path with `*` segments, a path that ends in `**` and
// stands for everything below it, or a regular expression.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/service/service_definition.h"

namespace vsd {

// By growing specificity.
enum class UrlKind : std::uint8_t { below, regex, wildcard, exact };

// A path as the segments behind its first '/'. One that ends in '/' has an empty last segment.
struct UrlPattern {
  UrlKind kind = UrlKind::exact;
  // Literal texts and kAnySegment. Of a regular expression, the leading segments that each of its
  // paths has; of UrlKind::below, what stands before the `**`.
  std::vector<std::string> segments;
};

// Stands for one segment of at least one character; no literal segment can look like it.
inline constexpr std::string_view kAnySegment = "*";

// What is wrong with a path that may hold wildcards; nothing when it is right.
[[nodiscard]] std::string url_fault(std::string_view url);

// The pattern of a service that the loader has checked.
[[nodiscard]] UrlPattern url_pattern_of(const ServiceDefinition& service);

// Higher is more specific: first the kind of the URL, then the number of literal segments, then
// which of them come first, then the number of conditions.
[[nodiscard]] std::uint64_t specificity_of(const ServiceDefinition& service,
                                           const UrlPattern& pattern);

}  // namespace vsd
