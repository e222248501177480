#include "daemon/service/match/near_misses.h"

#include <algorithm>

namespace vsd {
namespace {

constexpr std::size_t kMaxQuoted = 80;  // characters of one quotation
constexpr std::size_t kOnPath = 1000;   // above every similarity
constexpr char kHexDigits[] = "0123456789ABCDEF";

std::string part_name(RequestPart part) {
  switch (part) {
    case RequestPart::head:
      return "head";
    case RequestPart::url:
      return "URL";
    case RequestPart::body:
      break;
  }
  return "body";
}

std::string subject_text(const ServiceView& service, const ConditionRow& condition) {
  const std::string name = quoted(service.text(condition.name));
  switch (condition.subject) {
    case ConditionSubject::query:
      return "query parameter " + name;
    case ConditionSubject::header:
      return "header " + name;
    case ConditionSubject::cookie:
      return "cookie " + name;
    case ConditionSubject::between:
      return "text between " + quoted(service.text(condition.between.left)) + " and " +
             quoted(service.text(condition.between.right)) + " of the " +
             part_name(condition.between.part);
    case ConditionSubject::xpath:
      return "XPath " + name;
    case ConditionSubject::json_pointer:
      return "JSON pointer " + name;
    case ConditionSubject::part:
      break;
  }
  return part_name(condition.part);
}

std::string demand_text(const ServiceView& service, const ConditionRow& condition) {
  const std::string value = quoted(service.text(condition.value));
  const std::string must = condition.negated ? " must not " : " must ";
  switch (condition.test) {
    case ConditionTest::equals:
      return must + "be " + value;
    case ConditionTest::contains:
      return must + "contain " + value;
    case ConditionTest::regex:
      return must + "match " + value;
    case ConditionTest::present:
      break;
  }
  return must + "be present";
}

// How much of a URL and a path is alike at their ends, in thousandths.
std::size_t similarity(std::string_view url, std::string_view path) {
  const std::size_t shorter = std::min(url.size(), path.size());
  std::size_t front = 0;
  while (front < shorter && url[front] == path[front]) {
    ++front;
  }
  std::size_t back = 0;
  while (back < shorter - front && url[url.size() - 1 - back] == path[path.size() - 1 - back]) {
    ++back;
  }
  return (front + back) * (kOnPath - 1) / std::max<std::size_t>({url.size(), path.size(), 1});
}

}  // namespace

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (out.size() > kMaxQuoted) {
      return out + "...\"";
    }
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out.append({'\\', c});
    } else if (byte >= ' ' && byte < 0x7F) {
      out += c;
    } else {
      out.append({'\\', 'x', kHexDigits[byte >> 4U], kHexDigits[byte & 0xFU]});
    }
  }
  return out + '"';
}

std::string method_failure(const ServiceView& service, std::string_view method) {
  std::string wanted;
  for (const TextRef known : service.methods()) {
    wanted.append(wanted.empty() ? "" : " or ").append(service.text(known));
  }
  return "method must be " + wanted + " but is " + quoted(method);
}

std::string path_failure(const ServiceView& service, std::string_view path) {
  const bool is_regex = service.record().url_regex != kNotCompiled;
  return std::string("path must ") + (is_regex ? "match " : "be ") + quoted(service.url()) +
         " but is " + quoted(path);
}

std::string condition_failure(const ServiceView& service, const ConditionRow& condition,
                              ConditionTester::Outcome outcome, std::string_view seen) {
  std::string text = subject_text(service, condition) + demand_text(service, condition);
  switch (outcome) {
    case ConditionTester::Outcome::absent:
      return text + " but is absent";
    case ConditionTester::Outcome::unreadable:
      return text + (condition.subject == ConditionSubject::xpath
                         ? " but the body cannot be read as XML"
                         : " but the body cannot be read as JSON");
    case ConditionTester::Outcome::too_long:
      return text + " but the test takes too long";
    case ConditionTester::Outcome::fails:
    case ConditionTester::Outcome::holds:
      break;
  }
  const bool says_enough = condition.subject == ConditionSubject::part ||
                           (condition.negated && condition.test == ConditionTest::present);
  return says_enough ? text : text + " but is " + quoted(seen);
}

void MissRanking::add_on_path(const ServiceView& service, std::size_t fulfilled,
                              std::string failed) {
  insert({&service.record(), kOnPath + fulfilled, std::move(failed)});
}

void MissRanking::add_by_path(const ServiceView& service, std::string_view path) {
  const bool is_known =
      std::any_of(nearest_.begin(), nearest_.end(),
                  [&service](const Ranked& ranked) { return ranked.service == &service.record(); });
  if (!is_known) {
    insert({&service.record(), similarity(service.url(), path), {}});
  }
}

bool MissRanking::is_decided() const {
  return nearest_.back().score >= kOnPath;
}

void MissRanking::insert(Ranked ranked) {
  const auto place = std::find_if(nearest_.begin(), nearest_.end(), [&ranked](const Ranked& other) {
    return other.service == nullptr || other.score < ranked.score;
  });
  if (place != nearest_.end()) {
    std::move_backward(place, nearest_.end() - 1, nearest_.end());
    *place = std::move(ranked);
  }
}

NearMisses MissRanking::result(std::string_view path) const {
  NearMisses misses;
  for (const Ranked& ranked : nearest_) {
    if (ranked.service != nullptr) {
      const ServiceView service(*ranked.service);
      misses.items[misses.count++] = {std::string(service.name()), ranked.failed.empty()
                                                                       ? path_failure(service, path)
                                                                       : ranked.failed};
    }
  }
  return misses;
}

std::string no_match_text(std::string_view method, std::string_view path,
                          const NearMisses& misses) {
  std::string text = "No service fits " + quoted(method) + " " + quoted(path) + ".\n";
  if (misses.count > 0) {
    text += "Nearest services:\n";
  }
  for (std::size_t i = 0; i < misses.count; ++i) {
    text += "  " + misses.items[i].service + ": " + misses.items[i].failed + "\n";
  }
  return text;
}

}  // namespace vsd
