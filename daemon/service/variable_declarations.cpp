#include "daemon/service/variable_declarations.h"

#include <regex.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <limits>

#include "daemon/service/data_source_declarations.h"
#include "daemon/service/date_declaration.h"
#include "daemon/service/generated_declarations.h"

namespace vsd {
namespace {

using Report = DeclarationFields::Report;

constexpr int kMaxArraySize = 1000000;
constexpr int kMaxInt = std::numeric_limits<int>::max();

constexpr NamedValue kRequestParts[] = {{"body", static_cast<int>(RequestPart::body)},
                                        {"head", static_cast<int>(RequestPart::head)},
                                        {"url", static_cast<int>(RequestPart::url)}};
constexpr NamedValue kMethods[] = {
    {"Reverse", WZ_METHOD_REVERSE},      {"Upper", WZ_METHOD_UPPER},
    {"Lower", WZ_METHOD_LOWER},          {"TrimLeft", WZ_METHOD_TRIM_LEFT},
    {"TrimRight", WZ_METHOD_TRIM_RIGHT}, {"Trim", WZ_METHOD_TRIM}};
constexpr NamedValue kConversions[] = {
    {"TextToURL", VAR_CONVERT_TEXT_TO_URL},       {"URLToText", VAR_CONVERT_URL_TO_TEXT},
    {"HTMLToURL", VAR_CONVERT_HTML_TO_URL},       {"URLToHTML", VAR_CONVERT_URL_TO_HTML},
    {"TextToHTML", VAR_CONVERT_TEXT_TO_HTML},     {"HTMLToText", VAR_CONVERT_HTML_TO_TEXT},
    {"TextToBase64", VAR_CONVERT_TEXT_TO_BASE64}, {"Base64ToText", VAR_CONVERT_BASE64_TO_TEXT},
    {"TextToHex", VAR_CONVERT_TEXT_TO_HEX}};
constexpr NamedValue kRegexes[] = {{"LB", WZ_SEARCH_LB_IS_REGEX}, {"RB", WZ_SEARCH_RB_IS_REGEX}};

void read_scratch(DeclarationFields&, const DeclarationPlace&, const Report&,
                  VariableDefinition& variable) {
  variable.kind = SCRATCH_VAR;
  variable.source = ScratchSource{};
}

void read_scratch_array(DeclarationFields& fields, const DeclarationPlace&, const Report& report,
                        VariableDefinition& variable) {
  if (!fields.has("size")) {
    report("size= is missing");
  }
  variable.kind = SCRATCH_VAR;
  variable.is_array = true;
  variable.source =
      ScratchSource{static_cast<unsigned>(fields.number("size", 1, kMaxArraySize, 1))};
}

void read_search_text(DeclarationFields& fields, SearchSource& search) {
  const std::string in = fields.text("in").value_or("body");
  const auto* part = std::find_if(std::begin(kRequestParts), std::end(kRequestParts),
                                  [&in](const NamedValue& known) { return known.name == in; });
  if (part != std::end(kRequestParts)) {
    search.part = static_cast<RequestPart>(part->value);
  } else {
    search.in_variable = in;
  }
}

void check_regex(const char* keyword, const std::string& pattern, const Report& report) {
  regex_t compiled{};
  const int error = regcomp(&compiled, pattern.c_str(), REG_EXTENDED);
  if (error == 0) {
    regfree(&compiled);
    return;
  }
  std::array<char, 256> text{};
  regerror(error, &compiled, text.data(), text.size());
  report(std::string(keyword) + "= is no regular expression: " + text.data());
}

void read_search(DeclarationFields& fields, const DeclarationPlace&, const Report& report,
                 VariableDefinition& variable) {
  SearchSource search;
  search.left = fields.required_text("LB");
  search.right = fields.required_text("RB");
  read_search_text(fields, search);
  search.ordinal = read_ordinal(fields);
  search.save_offset = fields.number("SaveOffset", 0, kMaxInt, 0);
  search.save_length = fields.number("SaveLen", 0, kMaxInt, -1);
  search.ignore_case = fields.yes_no("IgnoreCase", false);
  search.convert = static_cast<std::int8_t>(fields.choice("Convert", kConversions, 0));
  for (const int method : fields.choices("Method", kMethods)) {
    search.methods += static_cast<char>(method);
  }
  for (const int side : fields.choices("RE", kRegexes)) {
    (side == WZ_SEARCH_LB_IS_REGEX ? search.left_is_regex : search.right_is_regex) = true;
  }
  if (search.left_is_regex) {
    check_regex("LB", search.left, report);
  }
  if (search.right_is_regex) {
    check_regex("RB", search.right, report);
  }
  variable.kind = VSD_SEARCH_VAR;
  variable.is_array = search.ordinal == WZ_ORD_ALL;
  variable.source = std::move(search);
}

void read_query(DeclarationFields& fields, const DeclarationPlace&, const Report&,
                VariableDefinition& variable) {
  variable.kind = VSD_QUERY_VAR;
  variable.source =
      QuerySource{fields.text("name").value_or(variable.name), fields.yes_no("decode", true)};
}

void read_request(DeclarationFields& fields, const DeclarationPlace&, const Report&,
                  VariableDefinition& variable) {
  variable.kind = VSD_REQUEST_VAR;
  variable.source = RequestSource{read_request_part(fields, "part")};
}

void read_date(DeclarationFields& fields, const DeclarationPlace& place, const Report& report,
               VariableDefinition& variable) {
  for (const std::string_view keyword :
       {"format", "MinDays", "MaxDays", "offset", "REFRESH", "DayType", "UNIQUE"}) {
    fields.allow(keyword);
  }
  DateSource date;
  if (std::string problem = read_date_declaration(place.text, place.line, date); !problem.empty()) {
    report(std::move(problem));
  }
  if (date.format.size() >= VSD_DATE_FORMAT_SIZE / 2) {
    report("format= is longer than " + std::to_string(VSD_DATE_FORMAT_SIZE / 2 - 1) +
           " characters");
  }
  variable.kind = VSD_DATE_VAR;
  variable.source = std::move(date);
}

// The declaration's text tells which of the three it is.
void read_generated(DeclarationFields& fields, const DeclarationPlace& place, const Report& report,
                    VariableDefinition& variable) {
  for (const std::string_view keyword : {"format", "min", "max", "REFRESH", "Charset", "Class"}) {
    fields.allow(keyword);
  }
  GeneratedSource generated;
  const std::string_view api =
      trim_blanks(std::string_view(place.text).substr(0, place.text.find('(')));
  if (std::string problem = read_generated_declaration(api, place.text, place.line, generated);
      !problem.empty()) {
    report(std::move(problem));
  }
  variable.kind = generated.kind;
  variable.source = std::move(generated);
}

}  // namespace

VariableReader find_variable_reader(std::string_view api) {
  struct Known {
    std::string_view api;
    VariableReader read;
  };
  constexpr Known readers[] = {
      {"wz_scratch_var", read_scratch},
      {"wz_scratch_array", read_scratch_array},
      {"wz_search_var", read_search},
      {"wz_query_var", read_query},
      {"wz_request_var", read_request},
      {"wz_date_var", read_date},
      {"wz_random_number_var", read_generated},
      {"wz_random_string_var", read_generated},
      {"wz_unique_number_var", read_generated},
      {"wz_index_var", read_index},
      {"wz_global_index_var", read_global_index},
  };
  for (const Known& known : readers) {
    if (known.api == api) {
      return known.read;
    }
  }
  return nullptr;
}

int read_ordinal(DeclarationFields& fields) {
  const auto words = fields.texts("ORD");
  if (!words.empty() && equal_ignoring_case(words.front(), "ALL")) {
    return WZ_ORD_ALL;
  }
  if (!words.empty() && equal_ignoring_case(words.front(), "ANY")) {
    return WZ_ORD_ANY;
  }
  return fields.number("ORD", 1, kMaxInt, 1);
}

RequestPart read_request_part(DeclarationFields& fields, std::string_view keyword) {
  return static_cast<RequestPart>(
      fields.choice(keyword, kRequestParts, static_cast<int>(RequestPart::body)));
}

std::string read_named_file(DeclarationFields& fields, std::string_view keyword,
                            const std::filesystem::path& folder, const Report& report,
                            std::filesystem::path& path) {
  const std::string name = fields.required_text(keyword);
  if (name.empty()) {
    return {};
  }
  path = folder / name;
  std::error_code ignored;
  std::ifstream file(path, std::ios::binary);
  if (!std::filesystem::is_regular_file(path, ignored) || !file) {
    report("file " + name + " is missing or cannot be read");
    return {};
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace vsd
