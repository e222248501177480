// How long a service takes to answer, by several laws.
#include <wz/wz_script.h>
#include <wz/wzlb_poi.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "vsd/string_api/context.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

enum Mode { kNone = 0, kExponential = 1, kFixed = 2, kUniform = 3, kByLoad = 4 };

constexpr int kUnknown = -1;

int exponential_time() noexcept {
  return &g_erand_gen_idx != nullptr && g_erand_gen_idx >= 0
             ? wz_exp_sample(static_cast<unsigned int>(g_erand_gen_idx))
             : kUnknown;
}

int uniform_time(int low, int high) noexcept {
  if (&g_urand_gen_idx == nullptr || g_urand_gen_idx < 0) {
    return kUnknown;
  }
  const long width = std::clamp(long{high} - low, 0L, long{INT_MAX});
  return static_cast<int>(
      low + static_cast<long>(wz_get_random_max(g_urand_gen_idx, static_cast<int>(width))));
}

// From `idle` to `full` as the load goes from none to all. Limited before it becomes an integer,
// which a load far above the full one would not fit; bounds without a ratio give `idle`.
int time_by_load(int idle, int full) noexcept {
  double load = 0;
  if (&g_req_count != nullptr && &vsd_global_config != nullptr) {
    load = static_cast<double>(g_req_count) / vsd_global_config.g_sys_max_load;
  }
  const double time = idle * std::exp(load * std::log(static_cast<double>(full) / idle));
  if (std::isnan(time)) {
    return idle;
  }
  return static_cast<int>(std::clamp<double>(time, std::min(idle, full), std::max(idle, full)));
}

int service_time(int mode, int value1, int value2) noexcept {
  switch (mode) {
    case kNone:
      return 0;
    case kExponential:
      return exponential_time();
    case kFixed:
      return value1;
    case kUniform:
      return uniform_time(value1, value2);
    case kByLoad:
      return time_by_load(value1, value2);
    default:
      return kUnknown;
  }
}

}  // namespace
}  // namespace wz::script

int wz_get_svc_time(int mode, int value1, int value2) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, " method called mode = %d, value1 = %d, value2 = %d ", mode,
            value1, value2);
  const int time = service_time(mode, value1, value2);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, " svc time = %d", time);
  return time;
}
