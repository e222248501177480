#include "daemon/service/match/condition_declaration.h"

#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <array>

#include "daemon/service/match/json_body.h"
#include "daemon/service/match/regex.h"
#include "daemon/service/match/xml_body.h"
#include "daemon/service/variable_declarations.h"

namespace vsd {
namespace {

using Report = DeclarationFields::Report;

struct Subject {
  std::string_view keyword;
  ConditionSubject subject;
};
constexpr std::string_view kHeader = "header";
constexpr Subject kSubjects[] = {
    {"query", ConditionSubject::query},
    {kHeader, ConditionSubject::header},
    {"cookie", ConditionSubject::cookie},
    {"part", ConditionSubject::part},
    {"LB", ConditionSubject::between},
    {"body_xpath", ConditionSubject::xpath},
    {"body_json", ConditionSubject::json_pointer},
};

struct Test {
  std::string_view keyword;
  ConditionTest test;
};
constexpr Test kTests[] = {{"equals", ConditionTest::equals},
                           {"contains", ConditionTest::contains},
                           {"regex", ConditionTest::regex}};

bool is_name_character(char c) {
  return is_identifier(std::string_view(&c, 1)) || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
         c == '.' || static_cast<unsigned char>(c) >= 0x80;
}

// The prefixes that an XPath expression uses: names before a single colon, outside of quotes.
std::vector<std::string_view> prefixes_of(std::string_view xpath) {
  std::vector<std::string_view> prefixes;
  std::size_t begin = 0;  // of the name that ends at `i`
  for (std::size_t i = 0; i < xpath.size(); ++i) {
    const char c = xpath[i];
    if (c == '"' || c == '\'') {
      i = std::min(xpath.find(c, i + 1), xpath.size() - 1);
    } else if (is_name_character(c)) {
      continue;
    } else if (c == ':' && i > begin && xpath.substr(i, 2) != "::") {
      prefixes.push_back(xpath.substr(begin, i - begin));
    }
    begin = i + 1;
  }
  return prefixes;
}

void check_namespaces(const ConditionDefinition& condition, const Report& report) {
  std::vector<std::string_view> known = {"xml"};
  for (const std::string_view declared : condition.namespaces) {
    const std::size_t sign = declared.find('=');
    if (sign == 0 || sign == declared.npos || sign + 1 == declared.size()) {
      report("ns=" + std::string(declared) + " is wrong: it must be a prefix, '=' and a URI");
    }
    known.push_back(declared.substr(0, sign));
  }
  for (const std::string_view prefix : prefixes_of(condition.name)) {
    if (std::find(known.begin(), known.end(), prefix) == known.end()) {
      report("body_xpath= uses the prefix '" + std::string(prefix) + "', which no ns= declares");
    }
  }
}

void check_name(const ConditionDefinition& condition, const Report& report) {
  std::string fault;
  if (condition.subject == ConditionSubject::json_pointer) {
    if (fault = JsonBody::pointer_fault(condition.name); !fault.empty()) {
      report("body_json=" + condition.name + " is wrong: " + fault);
    }
  } else if (condition.subject == ConditionSubject::xpath) {
    if (!XPath::compile(condition.name, fault)) {
      report("body_xpath= is no XPath expression: " + fault);
    }
    check_namespaces(condition, report);
  }
}

void read_between(DeclarationFields& fields, const Report& report, SearchSource& search) {
  search.left = fields.required_text("LB");
  search.right = fields.required_text("RB");
  search.part = read_request_part(fields, "in");
  search.ordinal = read_ordinal(fields);
  if (search.ordinal == WZ_ORD_ANY) {
    report("ORD=ANY would match by chance; a number or ALL is needed");
  }
}

void read_test(DeclarationFields& fields, const Report& report, ConditionDefinition& condition) {
  condition.ignore_case = fields.yes_no("IgnoreCase", false);
  condition.negated = fields.yes_no("negate", false);
  int count = fields.has("present") ? 1 : 0;
  if (!fields.yes_no("present", true)) {
    condition.negated = !condition.negated;
  }
  for (const Test& known : kTests) {
    if (auto value = fields.text(known.keyword)) {
      ++count;
      condition.test = known.test;
      condition.value = *std::move(value);
    }
  }
  if (count > 1) {
    report("equals=, contains=, regex= and present= exclude each other");
  }
  if (condition.test == ConditionTest::contains && condition.value.empty()) {
    report("contains= has no value");
  }
  if (condition.test == ConditionTest::regex) {
    if (const std::string fault = regex_fault(condition.value); !fault.empty()) {
      report("regex= is no regular expression: " + fault);
    }
  }
}

void to_lower_case(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
}

}  // namespace

std::optional<ConditionDefinition> read_condition(DeclarationFields& fields,
                                                  std::string_view header_keyword,
                                                  const Report& report) {
  std::optional<ConditionDefinition> condition;
  for (const Subject& known : kSubjects) {
    const std::string_view keyword = known.keyword == kHeader ? header_keyword : known.keyword;
    if (!fields.has(keyword)) {
      continue;
    }
    if (condition) {
      report(std::string(keyword) + "= is a condition of its own; a declaration holds one");
      fields.allow(keyword);
      continue;
    }
    condition.emplace();
    condition->subject = known.subject;
    if (known.subject == ConditionSubject::between) {
      read_between(fields, report, condition->between);
    } else if (known.subject == ConditionSubject::part) {
      condition->part = read_request_part(fields, keyword);
    } else if (known.subject == ConditionSubject::json_pointer) {
      condition->name = fields.text(keyword).value_or("");  // empty: the whole document
    } else {
      condition->name = fields.required_text(keyword);
    }
  }
  if (!condition) {
    return condition;
  }
  if (condition->subject == ConditionSubject::xpath) {
    condition->namespaces = fields.texts("ns");
  }
  check_name(*condition, report);
  read_test(fields, report, *condition);
  if (condition->ignore_case && condition->test == ConditionTest::contains) {
    to_lower_case(condition->value);  // as the text is before it is searched
  }
  condition->between.ignore_case = condition->ignore_case;
  return condition;
}

std::string to_string(const ConditionDefinition& condition) {
  const std::array<std::string, 9> parts = {
      std::to_string(static_cast<int>(condition.subject)),
      condition.name,
      std::to_string(static_cast<int>(condition.part)),
      condition.between.left,
      condition.between.right + std::to_string(static_cast<int>(condition.between.part)),
      std::to_string(condition.between.ordinal),
      std::to_string(static_cast<int>(condition.test)),
      condition.value,
      std::string(condition.negated ? "not" : "") + (condition.ignore_case ? "any case" : "")};
  std::string text;
  for (const std::string& part : parts) {
    text.append(part).push_back('\0');
  }
  for (const std::string& declared : condition.namespaces) {
    text.append(declared).push_back('\0');
  }
  return text;
}

std::string regex_fault(std::string_view pattern) {
  std::string fault;
  return Regex::compile(pattern, {}, fault) ? std::string() : fault;
}

}  // namespace vsd
