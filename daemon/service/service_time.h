// How long a service takes: the declared distribution and the draws from it.
#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace vsd {

// The modes of wz_svc_time; those up to 4 have the numbers of wz_get_svc_time.
enum class ServiceTimeMode : std::int32_t {
  none = 0,
  exponential = 1,  // mean value1
  fixed = 2,        // value1
  uniform = 3,      // from value1 to below value2
  by_load = 4,      // from value1 without load towards value2 under full load
  log_normal = 5,   // median value1, 99 of 100 below value2
};

struct ServiceTime {
  ServiceTimeMode mode = ServiceTimeMode::none;
  std::int32_t value1 = 0;  // milliseconds
  std::int32_t value2 = 0;
};

// Draws service times, with the library's function where it has the mode. One per worker, seeded
// when it is made.
class ServiceTimeSource {
 public:
  [[nodiscard]] std::chrono::milliseconds draw(const ServiceTime& time);

 private:
  [[nodiscard]] std::chrono::milliseconds draw_exponential(const ServiceTime& time);
  [[nodiscard]] std::chrono::milliseconds draw_log_normal(const ServiceTime& time);

  std::mt19937_64 random_{std::random_device{}()};
  int exponential_ = -1;  // the library's generator of declared means, made on first use
};

}  // namespace vsd
