#include "daemon/service/service_time.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace vsd {
namespace {

TEST(ServiceTimes, HaveTheDeclaredDistribution) {
  ServiceTimeSource source;
  const struct {
    ServiceTime time;
    double median;
    double percentile99;
  } cases[] = {
      {{ServiceTimeMode::none, 5, 5}, 0, 0},
      {{ServiceTimeMode::fixed, 40, 0}, 40, 40},
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
