// The conditions that a service or a response sets to requests: from fields to definitions.
#pragma once

#include <optional>
#include <string_view>

#include "daemon/service/declaration_fields.h"
#include "daemon/service/service_definition.h"

namespace vsd {

// The keywords by which a wz_match says what it looks at.
inline constexpr std::string_view kConditionSubjects =
    "query=, header=, cookie=, part=, LB=, body_xpath=, body_json=";

// Reads the condition among the fields of a declaration; nothing when there is none. A request's
// header is named by `header_keyword`, because on a wz_response line `header=` is a header of the
// answer. Reports everything that would keep the condition from being evaluated: expressions are
// compiled once here.
[[nodiscard]] std::optional<ConditionDefinition> read_condition(
    DeclarationFields& fields, std::string_view header_keyword,
    const DeclarationFields::Report& report);

// The condition in one line, for comparison with others and for messages: equal texts mean equal
// conditions.
[[nodiscard]] std::string to_string(const ConditionDefinition& condition);

// What is wrong with a regular expression; nothing when it is right.
[[nodiscard]] std::string regex_fault(std::string_view pattern);

}  // namespace vsd
