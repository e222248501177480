#include "daemon/admin/traffic_counters.h"

#include <gtest/gtest.h>

namespace vsd {
namespace {

TEST(TrafficCounters, AddUpOverTheWorkers) {
  const TrafficCounters counters(2, 3);
  using namespace std::chrono_literals;
  for (const unsigned status : {200, 404, 200, 0}) {
    counters.count_answer(0, 1, status);
  }
  counters.count_answer(1, 1, 200);
  counters.count_answer(1, 2, 500);
  counters.count_latency(0, 1, 100us);  // on the bound
  counters.count_latency(1, 1, 101us);
  counters.count_latency(1, 1, 11s);
  const ServiceTotals totals = counters.totals(1);
  std::string text;
  for (const auto& [status, count] : totals.statuses) {
    text += std::to_string(status) + ":" + std::to_string(count) + " ";
  }
  EXPECT_EQ(text, "0:1 200:3 404:1 ");
  EXPECT_EQ(totals.requests(), 5U);
  EXPECT_EQ(totals.latencies.front(), 1U);
  EXPECT_EQ(totals.latencies[1], 1U);
  EXPECT_EQ(totals.latencies.back(), 1U);
  EXPECT_EQ(totals.latency_sum, 11s + 201us);
  EXPECT_EQ(counters.totals(0).requests(), 0U);
}

// A script may invent any number of statuses.
TEST(TrafficCounters, KeepAFewStatusesApart) {
  const TrafficCounters counters(1, 1);
  for (unsigned status = 200; status < 300; ++status) {
    counters.count_answer(0, 0, status);
  }
  const ServiceTotals totals = counters.totals(0);
  ASSERT_EQ(totals.statuses.size(), 8U);
  EXPECT_EQ(totals.statuses.back().status, kOtherStatus);
  EXPECT_EQ(totals.statuses.back().count, 93U);
  EXPECT_EQ(totals.requests(), 100U);
}

}  // namespace
}  // namespace vsd
