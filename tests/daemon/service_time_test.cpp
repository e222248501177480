#include "daemon/service/service_time.h"

#include <gtest/gtest.h>
#include <wz/vsd_host.h>

#include <algorithm>
#include <vector>

#include "daemon/host_ops/host_ops.h"

namespace vsd {
namespace {

TEST(ServiceTimes, HaveTheDeclaredDistribution) {
  seed_host_generators(1, 0, 5);
  set_full_load(100);
  g_req_count = 50;
  ServiceTimeSource source;
  const struct {
    ServiceTime time;
    double median;
    double percentile99;
  } cases[] = {
      {{ServiceTimeMode::none, 5, 5}, 0, 0},
      {{ServiceTimeMode::fixed, 40, 0}, 40, 40},
      {{ServiceTimeMode::exponential, 1000, 0}, 693, 4605},
      {{ServiceTimeMode::uniform, 1000, 3000}, 2000, 2980},
      {{ServiceTimeMode::by_load, 100, 400}, 200, 200},  // half the full load
      {{ServiceTimeMode::log_normal, 1000, 8000}, 1000, 8000},
  };
  for (const auto& each : cases) {
    std::vector<double> drawn(20000);
    std::generate(drawn.begin(), drawn.end(),
                  [&] { return static_cast<double>(source.draw(each.time).count()); });
    std::sort(drawn.begin(), drawn.end());
    // About six standard errors.
    EXPECT_NEAR(drawn[drawn.size() / 2], each.median, each.median * 0.05);
    EXPECT_NEAR(drawn[drawn.size() / 100 * 99], each.percentile99, each.percentile99 * 0.15);
  }
}

}  // namespace
}  // namespace vsd
