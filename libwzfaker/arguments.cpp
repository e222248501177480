#include "libwzfaker/arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace wz::faker {
namespace {

constexpr std::array<std::string_view, kKeys> kKeyNames = {
    "min",    "max",    "length", "count",   "digits", "days", "locale",
    "gender", "format", "values", "country", "brand",  "kind"};

std::string_view name_of(Key key) {
  return kKeyNames[static_cast<std::size_t>(key)];
}

bool is_number(Key key) {
  return static_cast<std::size_t>(key) < kNumberKeys;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t");
  return start == std::string_view::npos
             ? std::string_view()
             : text.substr(start, text.find_last_not_of(" \t") + 1 - start);
}

// The position of `value` in a list between bars; -1 when it is not there.
int position_in(std::string_view choices, std::string_view value) {
  int position = -1;
  int current = 0;
  for_each_part(choices, '|', [&](std::string_view part) {
    if (part == value) {
      position = current;
    }
    ++current;
    return position < 0;
  });
  return position;
}

const Rule* find_rule(Rules rules, std::string_view name) {
  const auto found = std::find_if(rules.begin(), rules.end(),
                                  [name](const Rule& r) { return name_of(r.key) == name; });
  return found == rules.end() ? nullptr : &*found;
}

}  // namespace

Arguments::Arguments(Rules rules) {
  for (const Rule& rule : rules) {
    if (is_number(rule.key)) {
      numbers_[static_cast<std::size_t>(rule.key)] = rule.initial;
    } else {
      texts_[static_cast<std::size_t>(rule.key) - kNumberKeys] = rule.initial_text;
    }
  }
}

bool Arguments::set(const Rule& rule, std::string_view value) {
  if (is_number(rule.key)) {
    double number = 0;
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error != std::errc{} || stop != end || !(number >= rule.low && number <= rule.high) ||
        (rule.is_whole && number != std::trunc(number))) {
      return false;
    }
    numbers_[static_cast<std::size_t>(rule.key)] = number;
    return true;
  }
  if (rule.key == Key::locale) {
    value = value.substr(0, value.find_first_of("_-"));  // de_AT and de-AT are German too
    locale_ = static_cast<Locale>(std::max(0, position_in(rule.choices, value)));
  }
  texts_[static_cast<std::size_t>(rule.key) - kNumberKeys] = value;
  return rule.choices.empty() ? !value.empty() : position_in(rule.choices, value) >= 0;
}

bool Arguments::read(std::string_view text, Rules rules) {
  bool good = true;
  for_each_part(text, ';', [&](std::string_view part) {
    if (trimmed(part).empty()) {
      return true;
    }
    const std::size_t equals = part.find('=');
    const Rule* rule = find_rule(rules, trimmed(part.substr(0, equals)));
    good = rule != nullptr && equals != std::string_view::npos &&
           set(*rule, trimmed(part.substr(equals + 1)));
    return good;
  });
  return good && !(number(Key::min) > number(Key::max) && find_rule(rules, "max") != nullptr);
}

std::string describe(Rules rules) {
  std::string text;
  for (const Rule& rule : rules) {
    text += text.empty() ? "" : " ";
    text += name_of(rule.key);
    text += '=';
    if (is_number(rule.key)) {
      std::array<char, 64> number{};
      std::snprintf(number.data(), number.size(), "%.15g", rule.initial);
      text += number.data();
    } else {
      text += rule.choices.empty() ? rule.initial_text : rule.choices;
    }
  }
  return text;
}

}  // namespace wz::faker
