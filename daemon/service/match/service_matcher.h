// Finds the service for a request: by method and path through the image's index, then by the
// conditions of the services found there.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/message.h"
#include "daemon/service/match/condition_tester.h"
#include "daemon/service/match/near_misses.h"
#include "daemon/service/service_image.h"

namespace vsd {

// The part of a request target that is matched: everything before the query, as sent, without
// resolving escapes.
[[nodiscard]] inline std::string_view path_of(std::string_view target) noexcept {
  return target.substr(0, target.find('?'));
}

struct ServiceMatch {
  enum class Outcome : std::uint8_t {
    nothing,    // no service on this path, or none whose conditions hold
    no_method,  // services on this path answer other methods only
    found,
  };
  Outcome outcome = Outcome::nothing;
  std::optional<ServiceView> service;  // when found
};

// One per worker. Without conditions a match allocates nothing once the first requests have been
// served, and its cost does not depend on the number of services.
class ServiceMatcher {
 public:
  // `image` must outlive this object.
  explicit ServiceMatcher(const ServiceImage& image)
      : image_(image), index_(image.match_index()), tester_(image) {}

  // Makes `request` the current one, whose text must stay until end(), and finds its service: of
  // those whose method, path and conditions fit, the one that is first in the order of trying. HEAD
  // is served by the services for GET unless one for HEAD fits.
  [[nodiscard]] ServiceMatch match(const http::Request& request);
  // Forgets what was read of the current request.
  void end() noexcept { tester_.end(); }

  // Whether the current request fulfils the conditions of a response.
  [[nodiscard]] bool holds(const ServiceView& service, const ResponseRow& response) {
    return tester_.all_hold(service, service.conditions(response));
  }
  // The methods that some service answers at the current path, as the value of an Allow header.
  [[nodiscard]] std::string allowed_methods();
  // The services that came nearest to the current request, which none fitted. Looks at every
  // service, so it is meant for that case only.
  [[nodiscard]] NearMisses near_misses();

 private:
  // Services that the walk has reached; those whose URL is an expression have yet to match it.
  struct Reached {
    std::span<const MatchEntry> entries;
    bool is_regex = false;
  };
  struct Candidate {
    ServiceView service;
    std::uint32_t methods;
    bool is_regex;
  };

  void reach(std::uint32_t node, std::string_view rest, bool has_segment);
  void add(EntryRun run, bool is_regex);
  // Takes the next candidate in the order of trying off `left_`.
  std::optional<Candidate> next();
  // Whether the service answers a method, given its bit.
  [[nodiscard]] static bool answers(const Candidate& candidate, std::string_view method,
                                    std::uint32_t bit);
  [[nodiscard]] bool url_fits(const Candidate& candidate);
  std::optional<ServiceView> first_fit(std::string_view method, bool& is_answered);
  void add_miss(const ServiceView& service, MissRanking& ranking);

  const ServiceImage& image_;
  MatchIndex index_;
  ConditionTester tester_;
  http::Request request_;
  std::string_view path_;
  std::vector<Reached> reached_;  // by the walk; reused
  std::vector<Reached> left_;     // of these, what has not been tried
};

}  // namespace vsd
