#include "daemon/service/behaviour_declarations.h"

#include <charconv>
#include <limits>

namespace vsd {
namespace {

constexpr int kLongestTime = 86400000;  // milliseconds

constexpr NamedValue kModes[] = {
    {"NONE", static_cast<int>(ServiceTimeMode::none)},
    {"0", static_cast<int>(ServiceTimeMode::none)},
    {"EXPONENTIAL", static_cast<int>(ServiceTimeMode::exponential)},
    {"1", static_cast<int>(ServiceTimeMode::exponential)},
    {"FIXED", static_cast<int>(ServiceTimeMode::fixed)},
    {"2", static_cast<int>(ServiceTimeMode::fixed)},
    {"UNIFORM", static_cast<int>(ServiceTimeMode::uniform)},
    {"3", static_cast<int>(ServiceTimeMode::uniform)},
    {"LOAD", static_cast<int>(ServiceTimeMode::by_load)},
    {"4", static_cast<int>(ServiceTimeMode::by_load)},
    {"LOGNORMAL", static_cast<int>(ServiceTimeMode::log_normal)},
    {"5", static_cast<int>(ServiceTimeMode::log_normal)},
};

struct NamedFault {
  std::string_view name;
  http::Fault fault;
};

constexpr NamedFault kFaults[] = {
    {"reset", http::Fault::reset},
    {"empty", http::Fault::empty},
    {"garbage", http::Fault::garbage},
    {"close-mid-body", http::Fault::close_mid_body},
};

// What is wrong with the values of a mode; empty when nothing is.
std::string_view problem_of(const ServiceTime& time) {
  switch (time.mode) {
    case ServiceTimeMode::log_normal:
      return time.value1 > 0 && time.value1 < time.value2
                 ? ""
                 : "mode=LOGNORMAL needs value1= (the median) above 0 and value2= (the 99th "
                   "percentile) above that";
    case ServiceTimeMode::exponential:
      return time.value1 > 0 ? "" : "mode=EXPONENTIAL needs value1= (the mean) above 0";
    case ServiceTimeMode::uniform:
      return time.value1 <= time.value2 ? "" : "mode=UNIFORM needs a value2= not below value1=";
    case ServiceTimeMode::by_load:
      return time.value1 > 0 && time.value1 <= time.value2
                 ? ""
                 : "mode=LOAD needs value1= above 0 and value2= not below it";
    case ServiceTimeMode::none:
    case ServiceTimeMode::fixed:
      break;
  }
  return "";
}

// The rate of "slow(rate)"; 0 for any other text.
std::uint32_t slow_rate(std::string_view text) {
  constexpr std::string_view kOpen = "slow(";
  if (text.size() <= kOpen.size() || !equal_ignoring_case(text.substr(0, kOpen.size()), kOpen) ||
      text.back() != ')') {
    return 0;
  }
  const std::string_view number =
      trim_blanks(text.substr(kOpen.size(), text.size() - kOpen.size() - 1));
  std::uint32_t rate = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), rate);
  return error == std::errc{} && end == number.data() + number.size() ? rate : 0;
}

}  // namespace

ServiceTime read_service_time(DeclarationFields& fields, const DeclarationFields::Report& report) {
  ServiceTime time;
  if (!fields.has("mode")) {
    report("mode= is missing");
  }
  time.mode = static_cast<ServiceTimeMode>(
      fields.choice("mode", kModes, static_cast<int>(ServiceTimeMode::none)));
  time.value1 = fields.number("value1", 0, kLongestTime, 0);
  time.value2 = fields.number("value2", 0, kLongestTime, 0);
  if (const std::string_view problem = problem_of(time); !problem.empty()) {
    report(std::string(problem));
  }
  return time;
}

void read_fault(DeclarationFields& fields, const DeclarationFields::Report& report,
                ResponseDefinition& response) {
  const auto text = fields.text("fault");
  if (!text) {
    return;
  }
  for (const NamedFault& known : kFaults) {
    if (equal_ignoring_case(known.name, *text)) {
      response.fault = known.fault;
      return;
    }
  }
  response.bytes_per_second = slow_rate(*text);
  if (response.bytes_per_second == 0) {
    report("fault=" + *text +
           " is wrong: it must be one of reset, empty, garbage, close-mid-body, or \"slow(N)\" "
           "with N bytes per second");
    return;
  }
  response.fault = http::Fault::slow;
}

bool needs_template(http::Fault fault) {
  return fault != http::Fault::reset && fault != http::Fault::empty &&
         fault != http::Fault::garbage;
}

}  // namespace vsd
