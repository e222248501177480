#include "daemon/service/match/url_pattern.h"

#include <algorithm>

#include "daemon/service/declaration_fields.h"

namespace vsd {
namespace {

constexpr std::string_view kAnyRest = "**";
constexpr std::string_view kSpecial = "\\^$.[|()?*+{";

// Whether an expression has alternatives outside all brackets, so that it has no common beginning.
// Bracketed classes and escapes are skipped.
bool has_open_alternative(std::string_view regex) {
  int depth = 0;
  for (std::size_t i = 0; i < regex.size(); ++i) {
    if (regex[i] == '\\') {
      ++i;
    } else if (regex[i] == '[') {
      i = std::min(regex.find(']', i + 2), regex.size() - 1);  // "[]" starts with a literal ']'
    } else if (regex[i] == '(' || regex[i] == ')') {
      depth += regex[i] == '(' ? 1 : -1;
    } else if (regex[i] == '|' && depth <= 0) {
      return true;
    }
  }
  return false;
}

// The whole literal segments that every path matched by an expression begins with. Finds too few
// rather than too many: settings inside the expression, quoting and nested classes are not read.
std::vector<std::string> leading_segments(std::string_view regex) {
  const bool is_plain = regex.find("(?") == regex.npos && regex.find("\\Q") == regex.npos &&
                        regex.find("(*") == regex.npos && regex.find("[:") == regex.npos &&
                        regex.find("[^]") == regex.npos;
  if (!is_plain || has_open_alternative(regex)) {
    return {};
  }
  if (regex.starts_with('^')) {
    regex.remove_prefix(1);
  }
  std::size_t end = regex.find_first_of(kSpecial);
  if (end != regex.npos && end > 0 && std::string_view("?*{").find(regex[end]) != regex.npos) {
    --end;  // the character before may be absent
  }
  const std::string_view literal = regex.substr(0, end);
  const std::size_t slash = literal.rfind('/');
  if (!literal.starts_with('/') || slash == 0) {
    return {};
  }
  const std::string_view path = literal.substr(1, slash - 1);
  const auto parts = split(path, '/');
  return {parts.begin(), parts.end()};
}

UrlPattern path_pattern(std::string_view url) {
  UrlPattern pattern;
  for (const std::string_view segment : split(url.substr(1), '/')) {
    if (segment == kAnyRest) {
      pattern.kind = UrlKind::below;
      break;
    }
    if (segment == kAnySegment) {
      pattern.kind = UrlKind::wildcard;
    }
    pattern.segments.emplace_back(segment);
  }
  return pattern;
}

}  // namespace

std::string url_fault(std::string_view url) {
  // A request target may hold any visible character; '?' would start the query and '#' never
  // arrives.
  const bool is_path = url.starts_with('/') && std::all_of(url.begin(), url.end(), [](char c) {
                         return c > ' ' && c != 0x7F && c != '?' && c != '#';
                       });
  if (!is_path) {
    return "it must be a path that starts with '/' and has no query";
  }
  const auto segments = split(url.substr(1), '/');
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const bool is_wildcard =
        segments[i] == kAnySegment || (segments[i] == kAnyRest && i + 1 == segments.size());
    if (segments[i].find('*') != std::string_view::npos && !is_wildcard) {
      return "a '*' stands for a whole segment and '**' for all that follow; url_regex= takes "
             "other patterns";
    }
  }
  return {};
}

UrlPattern url_pattern_of(const ServiceDefinition& service) {
  if (service.url_is_regex) {
    return {UrlKind::regex, leading_segments(service.url)};
  }
  return service.url.empty() ? UrlPattern{} : path_pattern(service.url);
}

std::uint64_t specificity_of(const ServiceDefinition& service, const UrlPattern& pattern) {
  constexpr std::size_t kCountLimit = 255;
  constexpr std::size_t kOrderedSegments = 32;
  std::uint64_t literals = 0;
  std::uint64_t places = 0;  // a bit for each literal segment, the first one highest
  for (std::size_t i = 0; i < pattern.segments.size(); ++i) {
    if (pattern.segments[i] != kAnySegment) {
      ++literals;
      places |= i < kOrderedSegments ? std::uint64_t{1} << (kOrderedSegments - 1 - i) : 0;
    }
  }
  const auto kind = static_cast<std::uint64_t>(pattern.kind);
  const std::uint64_t conditions = std::min(service.conditions.size(), kCountLimit);
  return kind << 48 | std::min(literals, std::uint64_t{kCountLimit}) << 40 | places << 8 |
         conditions;
}

}  // namespace vsd
