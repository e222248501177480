// The arguments of a class: which ones it takes, with their bounds and defaults, and their values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "libwzfaker/table.h"

namespace wz::faker {

enum class Key : std::uint8_t {
  min,
  max,
  length,
  count,
  digits,
  days,
  locale,
  gender,
  format,
  values,
  country,
  brand,
  kind,
};
inline constexpr std::size_t kNumberKeys = 6;  // the first ones
inline constexpr std::size_t kKeys = 13;

// What a class takes under a key.
struct Rule {
  Key key;
  double low = 0;  // of numbers
  double high = 0;
  double initial = 0;
  bool is_whole = true;
  std::string_view choices;       // of texts: the only ones, between bars; empty: any that is not
  std::string_view initial_text;  // empty itself
};

constexpr Rule whole(Key key, double low, double high, double initial) {
  return {key, low, high, initial, true, {}, {}};
}
constexpr Rule real(Key key, double low, double high, double initial) {
  return {key, low, high, initial, false, {}, {}};
}
constexpr Rule choice(Key key, std::string_view choices, std::string_view initial) {
  return {key, 0, 0, 0, true, choices, initial};
}
constexpr Rule free_text(Key key, std::string_view initial) {
  return {key, 0, 0, 0, true, {}, initial};
}

using Rules = std::span<const Rule>;

// Whole numbers beyond this have no exact double.
inline constexpr double kLargestWhole = 9007199254740992.0;

inline constexpr std::string_view kLocaleNames = "en|de|fr|es|it";
inline constexpr Rule kLocaleRule[] = {choice(Key::locale, kLocaleNames, "en")};

// The values that a draw works with: the declared ones over the defaults.
class Arguments {
 public:
  // The defaults.
  explicit Arguments(Rules rules);

  // Takes `text`, `key=value` pairs between semicolons, which must stay as long as this object.
  // False when a key is not among the rules, a value does not fit, or `min` is above `max`.
  [[nodiscard]] bool read(std::string_view text, Rules rules);

  [[nodiscard]] double number(Key key) const { return numbers_[static_cast<std::size_t>(key)]; }
  [[nodiscard]] std::int64_t integer(Key key) const {
    return static_cast<std::int64_t>(number(key));
  }
  [[nodiscard]] std::string_view text(Key key) const {
    return texts_[static_cast<std::size_t>(key) - kNumberKeys];
  }
  [[nodiscard]] Locale locale() const { return locale_; }

 private:
  bool set(const Rule& rule, std::string_view value);

  std::array<double, kNumberKeys> numbers_{};
  std::array<std::string_view, kKeys - kNumberKeys> texts_{};
  Locale locale_ = Locale::en;
};

// The rules for people: "min=0 max=100", "gender=female|male", ...
[[nodiscard]] std::string describe(Rules rules);

// Calls `use` with each part of `list` between separators, in order, until it returns false.
template <typename Use>
void for_each_part(std::string_view list, char separator, Use use) {
  for (;;) {
    const std::size_t end = list.find(separator);
    if (!use(list.substr(0, end)) || end == std::string_view::npos) {
      return;
    }
    list.remove_prefix(end + 1);
  }
}

}  // namespace wz::faker
