#include "daemon/service/match/service_matcher.h"

#include <algorithm>

namespace vsd {

void ServiceMatcher::add(EntryRun run, bool is_regex) {
  if (run.count > 0) {
    reached_.push_back({index_.entries(run), is_regex});
  }
}

// Goes down the literal branch in a loop and into `*` branches by recursion. Each node has one way
// to it, so none is visited twice.
void ServiceMatcher::reach(std::uint32_t number, std::string_view rest, bool has_segment) {
  for (;;) {
    const MatchNode& node = index_.node(number);
    add(node.below, false);
    add(node.regexes, true);
    if (!has_segment) {
      add(node.here, false);
      return;
    }
    const std::size_t slash = rest.find('/');
    const std::string_view segment = rest.substr(0, slash);
    has_segment = slash != std::string_view::npos;
    rest.remove_prefix(has_segment ? slash + 1 : rest.size());
    if (node.any_child != 0 && !segment.empty()) {
      reach(node.any_child, rest, has_segment);
    }
    number = index_.child(number, segment);
    if (number == 0) {
      return;
    }
  }
}

std::optional<ServiceMatcher::Candidate> ServiceMatcher::next() {
  Reached* first = nullptr;
  for (Reached& run : left_) {
    if (!run.entries.empty() &&
        (first == nullptr || run.entries.front().rank < first->entries.front().rank)) {
      first = &run;
    }
  }
  if (first == nullptr) {
    return std::nullopt;
  }
  const MatchEntry& entry = first->entries.front();
  first->entries = first->entries.subspan(1);
  return Candidate{image_.service_at(entry.service), entry.methods, first->is_regex};
}

bool ServiceMatcher::answers(const Candidate& candidate, std::string_view method,
                             std::uint32_t bit) {
  const bool may = (candidate.methods & bit) != 0;
  const bool is_certain = bit != MatchIndex::bit_of(MatchIndex::kOtherMethods);
  return may && (is_certain || candidate.service.answers(method));
}

bool ServiceMatcher::url_fits(const Candidate& candidate) {
  return !candidate.is_regex || tester_.url_matches(candidate.service, path_);
}

std::optional<ServiceView> ServiceMatcher::first_fit(std::string_view method, bool& is_answered) {
  const std::uint32_t bit = index_.method_bit(method);
  left_ = reached_;
  while (const auto candidate = next()) {
    const ServiceView& service = candidate->service;
    if (answers(*candidate, method, bit) && url_fits(*candidate)) {
      is_answered = true;
      if (tester_.all_hold(service, service.conditions())) {
        return service;
      }
    }
  }
  return std::nullopt;
}

ServiceMatch ServiceMatcher::match(const http::Request& request) {
  tester_.begin(request);
  request_ = request;
  path_ = request.path.empty() ? path_of(request.target) : request.path;
  reached_.clear();
  if (path_.starts_with('/')) {
    reach(MatchIndex::kRoot, path_.substr(1), true);
  }
  bool is_answered = false;
  ServiceMatch match;
  match.service = first_fit(request.method, is_answered);
  if (!match.service && request.method == "HEAD") {
    match.service = first_fit("GET", is_answered);
  }
  if (match.service) {
    match.outcome = ServiceMatch::Outcome::found;
  } else if (!is_answered && !allowed_methods().empty()) {
    match.outcome = ServiceMatch::Outcome::no_method;
  }
  return match;
}

std::string ServiceMatcher::allowed_methods() {
  std::vector<std::string_view> methods;
  const auto add_method = [&methods](std::string_view method) {
    if (std::find(methods.begin(), methods.end(), method) == methods.end()) {
      methods.push_back(method);
    }
  };
  left_ = reached_;
  while (const auto candidate = next()) {
    if (url_fits(*candidate)) {
      for (const TextRef method : candidate->service.methods()) {
        add_method(candidate->service.text(method));
      }
    }
  }
  if (std::find(methods.begin(), methods.end(), "GET") != methods.end()) {
    add_method("HEAD");
  }
  std::string list;
  for (const std::string_view method : methods) {
    list.append(list.empty() ? "" : ", ").append(method);
  }
  return list;
}

// What did not fit of a service on the right path: its method, or one of its conditions in their
// order.
void ServiceMatcher::add_miss(const ServiceView& service, MissRanking& ranking) {
  const bool is_head_of_get = request_.method == "HEAD" && service.answers("GET");
  if (!service.answers(request_.method) && !is_head_of_get) {
    ranking.add_on_path(service, 0, method_failure(service, request_.method));
    return;
  }
  std::size_t fulfilled = 1;
  std::string seen;
  for (const ConditionRow& condition : service.conditions()) {
    seen.clear();
    const ConditionTester::Outcome outcome = tester_.test(service, condition, &seen);
    if (outcome != ConditionTester::Outcome::holds) {
      ranking.add_on_path(service, fulfilled, condition_failure(service, condition, outcome, seen));
      return;
    }
    ++fulfilled;
  }
}

NearMisses ServiceMatcher::near_misses() {
  MissRanking ranking;
  left_ = reached_;
  const bool is_raw = !request_.path.empty();
  while (const auto candidate = next()) {
    if (candidate->service.record().is_raw == is_raw && url_fits(*candidate)) {
      add_miss(candidate->service, ranking);
    }
  }
  for (std::uint32_t rank = 0; !is_raw && !ranking.is_decided() && rank < image_.size(); ++rank) {
    if (const ServiceView service = image_.service_by_rank(rank); !service.record().is_raw) {
      ranking.add_by_path(service, path_);
    }
  }
  return ranking.result(path_);
}

}  // namespace vsd
