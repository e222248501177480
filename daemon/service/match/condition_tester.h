// Tests the conditions of services and responses against one request after the other. One per
// worker; holds the compiled forms of what the image holds as text, made when they are first asked
// for, and the request's body as XML and as JSON, read when a condition first asks for it.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/message.h"
#include "daemon/service/match/json_body.h"
#include "daemon/service/match/regex.h"
#include "daemon/service/match/request_values.h"
#include "daemon/service/match/xml_body.h"
#include "daemon/service/service_image.h"

namespace vsd {

// Larger bodies are never read as XML or JSON: they would take many times their size.
inline constexpr std::size_t kMaxReadBody = 4 * 1024 * 1024;

class ConditionTester {
 public:
  enum class Outcome {
    holds,
    fails,
    absent,      // fails, because the request has no such value
    unreadable,  // the body is not what the condition reads, or too large for that
    too_long,    // testing was given up
  };

  explicit ConditionTester(const ServiceImage& image);

  // The next request. Its text must stay until end().
  void begin(const http::Request& request);
  // Forgets what was read of the request.
  void end() noexcept;

  // `seen`, when given, receives the first value that was compared.
  Outcome test(const ServiceView& service, const ConditionRow& condition,
               std::string* seen = nullptr);
  [[nodiscard]] bool all_hold(const ServiceView& service,
                              std::span<const ConditionRow> conditions) {
    for (const ConditionRow& condition : conditions) {
      if (test(service, condition) != Outcome::holds) {
        return false;
      }
    }
    return true;
  }
  // Whether a whole path matches the expression that the service has as URL.
  [[nodiscard]] bool url_matches(const ServiceView& service, std::string_view path);

 private:
  class Comparison;
  struct CompiledXPath {
    std::optional<XPath> xpath;
    std::vector<XmlNamespace> namespaces;
  };

  void visit_values(const ServiceView& service, const ConditionRow& condition,
                    Comparison& comparison);
  void visit_between(const ServiceView& service, const ConditionRow& condition,
                     Comparison& comparison);
  void visit_xpath(const ServiceView& service, const ConditionRow& condition,
                   Comparison& comparison);
  void visit_json(const ServiceView& service, const ConditionRow& condition,
                  Comparison& comparison);
  [[nodiscard]] std::string_view part(RequestPart part) const;
  // Null when the expression cannot be compiled any more, for want of memory.
  const Regex* regex(std::uint32_t number, std::string_view pattern, const RegexOptions& options);
  CompiledXPath& xpath(const ServiceView& service, const ConditionRow& condition);

  http::Request request_;
  std::vector<std::optional<Regex>> regexes_;  // by number
  std::deque<std::optional<CompiledXPath>> xpaths_;
  RegexMatcher matcher_;
  XmlBody xml_;
  JsonBody json_;
  std::string decoded_;  // reused
  std::string folded_;
};

}  // namespace vsd
