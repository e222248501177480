#include "daemon/service/service_time.h"

#include <wz/vsd_host.h>
#include <wz/wz_script.h>
#include <wz/wzlb_poi.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vsd {
namespace {

constexpr double kNormal99 = 2.3263478740408408;  // the normal distribution's 99th percentile
constexpr double kLongest = 86400e3;              // milliseconds; the tail has no end

std::chrono::milliseconds library_time(const ServiceTime& time) {
  return std::chrono::milliseconds(
      std::max(wz_get_svc_time(static_cast<int>(time.mode), time.value1, time.value2), 0));
}

}  // namespace

std::chrono::milliseconds ServiceTimeSource::draw(const ServiceTime& time) {
  switch (time.mode) {
    case ServiceTimeMode::none:
      break;
    case ServiceTimeMode::exponential:
      return draw_exponential(time);
    case ServiceTimeMode::fixed:
    case ServiceTimeMode::uniform:
    case ServiceTimeMode::by_load:
      return library_time(time);
    case ServiceTimeMode::log_normal:
      return draw_log_normal(time);
  }
  return std::chrono::milliseconds{0};
}

// The library's function draws from one generator with one mean, which is the scripts'; a declared
// mean has a generator of its own, lent to the function for the call.
std::chrono::milliseconds ServiceTimeSource::draw_exponential(const ServiceTime& time) {
  if (exponential_ < 0) {
    exponential_ = wz_exp_init(time.value1, random_());
  }
  wz_poi_reinit(static_cast<unsigned>(exponential_), time.value1);
  const int scripts = std::exchange(g_erand_gen_idx, exponential_);
  const auto drawn = library_time(time);
  g_erand_gen_idx = scripts;
  return drawn;
}

std::chrono::milliseconds ServiceTimeSource::draw_log_normal(const ServiceTime& time) {
  const double median = std::log(time.value1);
  const double sigma = (std::log(time.value2) - median) / kNormal99;
  const double drawn = std::lognormal_distribution<double>(median, sigma)(random_);
  return std::chrono::milliseconds(std::lround(std::min(drawn, kLongest)));
}

}  // namespace vsd
