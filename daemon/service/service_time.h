// How long a service takes: the declared distribution and the draws from it.
#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace vsd {

// The modes of wz_svc_time; those up to 4 have the numbers of wz_get_svc_time.
enum class ServiceTimeMode : std::int32_t {
  none = 0,
  fixed = 2,       // value1
  log_normal = 5,  // median value1, 99 of 100 below value2
};

struct ServiceTime {
  ServiceTimeMode mode = ServiceTimeMode::none;
  std::int32_t value1 = 0;  // milliseconds
  std::int32_t value2 = 0;
};

// Draws service times. One per worker, seeded when it is made.
class ServiceTimeSource {
 public:
  [[nodiscard]] std::chrono::milliseconds draw(const ServiceTime& time);

 private:
  [[nodiscard]] std::chrono::milliseconds draw_log_normal(const ServiceTime& time);

  std::mt19937_64 random_{std::random_device{}()};
};

}  // namespace vsd
