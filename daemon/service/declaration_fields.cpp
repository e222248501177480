#include "daemon/service/declaration_fields.h"

#include <algorithm>
#include <charconv>

namespace vsd {
namespace {

constexpr bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr char to_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string list_of(std::span<const NamedValue> names) {
  std::string list;
  for (const NamedValue& known : names) {
    list += list.empty() ? "" : ", ";
    list += known.name;
  }
  return list;
}

std::optional<int> value_of(std::string_view text, std::span<const NamedValue> names) {
  for (const NamedValue& known : names) {
    if (equal_ignoring_case(known.name, text)) {
      return known.value;
    }
  }
  return std::nullopt;
}

}  // namespace

bool is_identifier(std::string_view text) {
  return !text.empty() && is_letter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '_';
  });
}

bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return to_lower(x) == to_lower(y);
         });
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t end = text.find(separator); end != std::string_view::npos;
       end = text.find(separator)) {
    parts.push_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  parts.push_back(text);
  return parts;
}

std::string_view trim_blanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

DeclarationFields::DeclarationFields(const WZApi& parsed, const Report& report, bool is_named)
    : report_(report) {
  if (is_named) {
    take_name(parsed);
  }
  for (int i = is_named ? 1 : 0; i < parsed.num_tokens; ++i) {
    fields_.push_back({parsed.api_fields[i].keyword, parsed.api_fields[i].value});
  }
}

void DeclarationFields::take_name(const WZApi& parsed) {
  const std::string first = parsed.api_fields[0].keyword;
  if (parsed.num_tokens == 0 || first.empty() || parsed.api_fields[0].value[0] != '\0') {
    report_("the name is missing; it must be the first field");
  } else if (!is_identifier(first)) {
    report_("'" + first + "' is no name: a letter, then letters, digits and '_'");
  } else {
    name_ = first;
  }
}

bool DeclarationFields::has(std::string_view keyword) const {
  return std::any_of(fields_.begin(), fields_.end(), [keyword](const Field& field) {
    return equal_ignoring_case(field.keyword, keyword);
  });
}

std::vector<std::string> DeclarationFields::texts(std::string_view keyword) {
  std::vector<std::string> values;
  for (Field& field : fields_) {
    if (equal_ignoring_case(field.keyword, keyword)) {
      field.used = true;
      values.push_back(field.value);
    }
  }
  return values;
}

std::optional<std::string> DeclarationFields::text(std::string_view keyword) {
  std::vector<std::string> values = texts(keyword);
  if (values.empty()) {
    return std::nullopt;
  }
  if (values.size() > 1) {
    report_(std::string(keyword) + "= is given more than once");
  }
  return std::move(values.front());
}

std::string DeclarationFields::required_text(std::string_view keyword) {
  std::optional<std::string> value = text(keyword);
  if (!value) {
    report_(std::string(keyword) + "= is missing");
  } else if (value->empty()) {
    report_(std::string(keyword) + "= has no value");
  }
  return value.value_or(std::string());
}

void DeclarationFields::bad(std::string_view keyword, const std::string& value,
                            const std::string& expected) {
  report_(std::string(keyword) + "=" + value + " is wrong: it must be " + expected);
}

int DeclarationFields::number(std::string_view keyword, int low, int high, int otherwise) {
  const std::optional<std::string> value = text(keyword);
  if (!value) {
    return otherwise;
  }
  int number = 0;
  const char* const end = value->data() + value->size();
  const auto [stop, error] = std::from_chars(value->data(), end, number);
  if (error != std::errc{} || stop != end || number < low || number > high) {
    bad(keyword, *value, "a number from " + std::to_string(low) + " to " + std::to_string(high));
    return otherwise;
  }
  return number;
}

bool DeclarationFields::yes_no(std::string_view keyword, bool otherwise) {
  constexpr NamedValue names[] = {{"YES", 1}, {"NO", 0}};
  return choice(keyword, names, otherwise ? 1 : 0) != 0;
}

int DeclarationFields::choice(std::string_view keyword, std::span<const NamedValue> names,
                              int otherwise) {
  const std::optional<std::string> value = text(keyword);
  if (!value) {
    return otherwise;
  }
  const std::optional<int> known = value_of(*value, names);
  if (!known) {
    bad(keyword, *value, "one of " + list_of(names));
  }
  return known.value_or(otherwise);
}

std::vector<int> DeclarationFields::choices(std::string_view keyword,
                                            std::span<const NamedValue> names) {
  std::vector<int> values;
  const std::optional<std::string> list = text(keyword);
  if (!list) {
    return values;
  }
  for (const std::string_view part : split(*list, '|')) {
    const std::optional<int> known = value_of(trim_blanks(part), names);
    if (!known) {
      bad(keyword, *list, "a list, separated by '|', of " + list_of(names));
      break;
    }
    values.push_back(*known);
  }
  return values;
}

void DeclarationFields::finish() {
  for (const Field& field : fields_) {
    if (!field.used) {
      report_("unknown keyword '" + field.keyword + "'");
    }
  }
}

}  // namespace vsd
