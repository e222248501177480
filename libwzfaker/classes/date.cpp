// Dates and times, in UTC.
#include <array>
#include <ctime>

#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr std::int64_t kDay = 86400;  // seconds
constexpr double kMostDays = 36525;   // a hundred years
constexpr double kMostYears = 9999;
constexpr std::string_view kDate = "%Y-%m-%d";

constexpr Rule kYearsRules[] = {whole(Key::min, 1, kMostYears, 1970),
                                whole(Key::max, 1, kMostYears, 2037),
                                free_text(Key::format, kDate)};
constexpr Rule kYearRules[] = {whole(Key::min, 1, kMostYears, 1970),
                               whole(Key::max, 1, kMostYears, 2037)};
constexpr Rule kDaysRules[] = {whole(Key::days, 1, kMostDays, 365), free_text(Key::format, kDate)};
constexpr Rule kBirthRules[] = {whole(Key::min, 0, 150, 18), whole(Key::max, 0, 150, 90),
                                free_text(Key::format, kDate)};

// Seconds from the epoch to the start of a year.
std::int64_t start_of_year(std::int64_t year) {
  std::tm start{};
  start.tm_year = static_cast<int>(year - 1900);
  start.tm_mday = 1;
  return timegm(&start);
}

// Appends an instant as the argument `format` says, or as `otherwise`; at most 1023 bytes.
void append_instant(Draw& draw, std::int64_t instant, std::string_view format) {
  const std::time_t seconds = instant;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 1024> text{};
  const std::string terminated(format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const std::size_t length = std::strftime(text.data(), text.size(), terminated.c_str(), &parts);
#pragma GCC diagnostic pop
  draw.out.append(text.data(), length);
}

std::int64_t instant_of_years(Draw& draw) {
  return draw.random.between(start_of_year(draw.arguments.integer(Key::min)),
                             start_of_year(draw.arguments.integer(Key::max) + 1) - 1);
}

void make_date(Draw& draw) {
  append_instant(draw, instant_of_years(draw), draw.arguments.text(Key::format));
}

void make_timestamp(Draw& draw) {
  append_instant(draw, instant_of_years(draw), "%Y-%m-%dT%H:%M:%SZ");
}

void make_unix(Draw& draw) {
  append_number(draw.out, instant_of_years(draw));
}

void make_year(Draw& draw) {
  append_number(draw.out, draw.random.between(draw.arguments.integer(Key::min),
                                              draw.arguments.integer(Key::max)));
}

template <int sign>
void make_near(Draw& draw) {
  const std::int64_t distance = draw.random.between(1, draw.arguments.integer(Key::days) * kDay);
  append_instant(draw, std::time(nullptr) + sign * distance, draw.arguments.text(Key::format));
}

// Somebody of a whole number of years.
void make_birth_date(Draw& draw) {
  constexpr double kYear = 365.2425;  // days
  const std::int64_t age =
      draw.random.between(draw.arguments.integer(Key::min), draw.arguments.integer(Key::max));
  const std::int64_t days =
      static_cast<std::int64_t>(static_cast<double>(age) * kYear) + draw.random.between(1, 364);
  append_instant(draw, std::time(nullptr) - days * kDay, draw.arguments.text(Key::format));
}

void make_time(Draw& draw) {
  append_instant(draw, draw.random.between(0, kDay - 1), "%H:%M:%S");
}

constexpr ClassDefinition kClasses[] = {
    {"date.date", "date from the start of year min to the end of year max", make_date, kYearsRules},
    {"date.past", "date within the last days", make_near<-1>, kDaysRules},
    {"date.future", "date within the next days", make_near<1>, kDaysRules},
    {"date.birth", "birth date at an age of min to max", make_birth_date, kBirthRules},
    {"date.timestamp", "date and time, ISO 8601", make_timestamp, kYearRules},
    {"date.unix", "seconds since 1970", make_unix, kYearRules},
    {"date.time", "time of day", make_time},
    {"date.year", "year", make_year, kYearRules},
    {"date.month", "name of a month", from_list<Section::month>, kLocaleRule},
    {"date.weekday", "name of a weekday", from_list<Section::weekday>, kLocaleRule},
};

}  // namespace

std::span<const ClassDefinition> date_classes() {
  return kClasses;
}

}  // namespace wz::faker
