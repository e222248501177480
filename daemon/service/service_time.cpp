#include "daemon/service/service_time.h"

#include <algorithm>
#include <cmath>

namespace vsd {
namespace {

constexpr double kNormal99 = 2.3263478740408408;  // the normal distribution's 99th percentile
constexpr double kLongest = 86400e3;              // milliseconds; the tail has no end

}  // namespace

std::chrono::milliseconds ServiceTimeSource::draw(const ServiceTime& time) {
  switch (time.mode) {
    case ServiceTimeMode::none:
      break;
    case ServiceTimeMode::fixed:
      return std::chrono::milliseconds(time.value1);
    case ServiceTimeMode::log_normal:
      return draw_log_normal(time);
  }
  return std::chrono::milliseconds{0};
}

std::chrono::milliseconds ServiceTimeSource::draw_log_normal(const ServiceTime& time) {
  const double median = std::log(time.value1);
  const double sigma = (std::log(time.value2) - median) / kNormal99;
  const double drawn = std::lognormal_distribution<double>(median, sigma)(random_);
  return std::chrono::milliseconds(std::lround(std::min(drawn, kLongest)));
}

}  // namespace vsd
