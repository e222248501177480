#include "daemon/service/match/condition_tester.h"

#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "daemon/service/declaration_fields.h"
#include "daemon/service/search_runner.h"

namespace vsd {
namespace {

// Nodes may lie within each other, so that their texts together exceed the body.
constexpr std::size_t kMaxComparedBytes = 64 * 1024 * 1024;

std::optional<double> number_of(std::string_view text) {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

// memmem takes linear time whatever the texts hold; std::string_view::find does not.
bool contains(std::string_view text, std::string_view part) {
  return part.empty() || memmem(text.data(), text.size(), part.data(), part.size()) != nullptr;
}

void fold(std::string_view text, std::string& out) {
  out.resize(text.size());
  std::transform(text.begin(), text.end(), out.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
}

// What the search engine has found; released with its blocks.
class SearchResult {
 public:
  SearchResult() = default;
  SearchResult(const SearchResult&) = delete;
  SearchResult& operator=(const SearchResult&) = delete;
  ~SearchResult() { free_var_value(&entry_); }

  UserVarEntry& entry() { return entry_; }

  void visit(ValueVisitor& visitor) const {
    if ((entry_.flags & WZ_USER_VAR_IS_ARRAY) == 0) {
      if (entry_.value.value != nullptr) {
        visitor.visit({entry_.value.value, entry_.length});
      }
      return;
    }
    for (unsigned i = 0; i < entry_.length; ++i) {
      const ArrayValEntry& found = entry_.value.array[i];
      if (visitor.visit(found.value == nullptr ? std::string_view()
                                               : std::string_view(found.value, found.length))) {
        return;
      }
    }
  }

 private:
  UserVarEntry entry_{};
};

}  // namespace

// Compares the values of a condition's subject until one fits.
class ConditionTester::Comparison final : public ValueVisitor {
 public:
  Comparison(ConditionTester& tester, const ServiceView& service, const ConditionRow& condition,
             std::string* seen)
      : tester_(tester),
        condition_(condition),
        wanted_(service.text(condition.value)),
        seen_(seen) {}

  bool visit(std::string_view value) override {
    if (seen_ != nullptr && outcome_ == Outcome::absent) {
      seen_->assign(value);
    }
    const bool fits = compare(value);
    if (outcome_ != Outcome::too_long) {
      outcome_ = fits ? Outcome::holds : Outcome::fails;
    }
    return outcome_ != Outcome::fails;
  }

  // A number fits every spelling of it.
  void visit_number(std::string_view value) {
    if (!visit(value) && condition_.test == ConditionTest::equals) {
      const auto number = number_of(value);
      outcome_ = number && number == number_of(wanted_) ? Outcome::holds : Outcome::fails;
    }
  }

  void give_up(Outcome outcome) { outcome_ = outcome; }

  // What could not be tested fails, negated or not.
  [[nodiscard]] Outcome outcome() const {
    if (!condition_.negated || outcome_ == Outcome::unreadable || outcome_ == Outcome::too_long) {
      return outcome_;
    }
    return outcome_ == Outcome::holds ? Outcome::fails : Outcome::holds;
  }

 private:
  bool compare(std::string_view value) {
    switch (condition_.test) {
      case ConditionTest::present:
        return true;
      case ConditionTest::equals:
        return condition_.ignore_case ? equal_ignoring_case(value, wanted_) : value == wanted_;
      case ConditionTest::contains:
        if (condition_.ignore_case) {  // the wanted text was folded when it was declared
          fold(value, tester_.folded_);
          value = tester_.folded_;
        }
        return contains(value, wanted_);
      case ConditionTest::regex:
        break;
    }
    const Regex* regex = tester_.regex(condition_.regex, wanted_, {condition_.ignore_case, false});
    const auto result =
        regex == nullptr ? RegexMatcher::Result::too_long : tester_.matcher_.match(*regex, value);
    if (result == RegexMatcher::Result::too_long) {
      outcome_ = Outcome::too_long;
    }
    return result == RegexMatcher::Result::match;
  }

  ConditionTester& tester_;
  const ConditionRow& condition_;
  std::string_view wanted_;
  std::string* seen_;
  Outcome outcome_ = Outcome::absent;
};

ConditionTester::ConditionTester(const ServiceImage& image)
    : regexes_(image.regex_count()), xpaths_(image.xpath_count()) {}

void ConditionTester::begin(const http::Request& request) {
  end();
  request_ = request;
  matcher_.begin();
}

void ConditionTester::end() noexcept {
  xml_.clear();
  json_.clear();
}

ConditionTester::Outcome ConditionTester::test(const ServiceView& service,
                                               const ConditionRow& condition, std::string* seen) {
  Comparison comparison(*this, service, condition, seen);
  visit_values(service, condition, comparison);
  return comparison.outcome();
}

bool ConditionTester::url_matches(const ServiceView& service, std::string_view path) {
  const Regex* compiled = regex(service.record().url_regex, service.url(), {false, true});
  return compiled != nullptr && matcher_.match(*compiled, path) == RegexMatcher::Result::match;
}

void ConditionTester::visit_values(const ServiceView& service, const ConditionRow& condition,
                                   Comparison& comparison) {
  const std::string_view name = service.text(condition.name);
  switch (condition.subject) {
    case ConditionSubject::query:
      visit_query(request_.target, name, comparison, decoded_);
      break;
    case ConditionSubject::header:
      visit_headers(request_.head, name, comparison);
      break;
    case ConditionSubject::cookie:
      visit_cookies(request_.head, name, comparison);
      break;
    case ConditionSubject::part:
      if (!part(condition.part).empty() || condition.test != ConditionTest::present) {
        comparison.visit(part(condition.part));
      }
      break;
    case ConditionSubject::between:
      visit_between(service, condition, comparison);
      break;
    case ConditionSubject::xpath:
      visit_xpath(service, condition, comparison);
      break;
    case ConditionSubject::json_pointer:
      visit_json(service, condition, comparison);
      break;
  }
}

void ConditionTester::visit_between(const ServiceView& service, const ConditionRow& condition,
                                    Comparison& comparison) {
  SearchResult result;
  SearchRunner(service, {&condition.between, 1})
      .run(condition.between, part(condition.between.part), result.entry());
  result.visit(comparison);
}

void ConditionTester::visit_xpath(const ServiceView& service, const ConditionRow& condition,
                                  Comparison& comparison) {
  const CompiledXPath& compiled = xpath(service, condition);
  if (!compiled.xpath || request_.body.size() > kMaxReadBody || !xml_.read(request_.body)) {
    comparison.give_up(Outcome::unreadable);
    return;
  }
  const XmlBody::Result result = xml_.evaluate(*compiled.xpath, compiled.namespaces);
  if (!result.is_good()) {
    comparison.give_up(Outcome::too_long);
    return;
  }
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < result.size(); ++i) {
    const std::string text = result.text(i);
    bytes += text.size();
    if (comparison.visit(text)) {
      return;
    }
    if (bytes > kMaxComparedBytes) {
      comparison.give_up(Outcome::too_long);
      return;
    }
  }
}

void ConditionTester::visit_json(const ServiceView& service, const ConditionRow& condition,
                                 Comparison& comparison) {
  if (request_.body.size() > kMaxReadBody || !json_.read(request_.body)) {
    comparison.give_up(Outcome::unreadable);
    return;
  }
  const auto found = json_.find(service.text(condition.name));
  if (found && found->is_number) {
    comparison.visit_number(found->text);
  } else if (found) {
    comparison.visit(found->text);
  }
}

std::string_view ConditionTester::part(RequestPart part) const {
  switch (part) {
    case RequestPart::head:
      return request_.head;
    case RequestPart::url:
      return request_.target;
    case RequestPart::body:
      break;
  }
  return request_.body;
}

const Regex* ConditionTester::regex(std::uint32_t number, std::string_view pattern,
                                    const RegexOptions& options) {
  std::optional<Regex>& compiled = regexes_[number];
  if (!compiled) {
    std::string ignored;  // the loader has compiled every expression once
    compiled = Regex::compile(pattern, options, ignored);
  }
  return compiled ? &*compiled : nullptr;
}

ConditionTester::CompiledXPath& ConditionTester::xpath(const ServiceView& service,
                                                       const ConditionRow& condition) {
  std::optional<CompiledXPath>& compiled = xpaths_[condition.xpath];
  if (!compiled) {
    std::string ignored;
    compiled.emplace();
    compiled->xpath = XPath::compile(std::string(service.text(condition.name)), ignored);
    for (const NamespaceRow& row : service.namespaces(condition)) {
      compiled->namespaces.push_back(
          {std::string(service.text(row.prefix)), std::string(service.text(row.uri))});
    }
  }
  return *compiled;
}

}  // namespace vsd
