#include "daemon/http/delay_queue.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>

namespace vsd::http {
namespace {

struct Waiting : DelayQueue::Item {};

// Random adds, removals and releases beside an ordered map of what must be in the queue.
TEST(DelayQueue, AgreesWithAnOrderedMap) {
  std::minstd_rand random(7);
  std::array<Waiting, 200> items;
  std::map<const DelayQueue::Item*, int> expected;  // when each is due
  DelayQueue queue;
  const auto at = [](int time) { return DelayQueue::TimePoint(std::chrono::seconds(time)); };
  for (int step = 0; step < 20000; ++step) {
    Waiting& item = items[random() % items.size()];
    const int time = static_cast<int>(random() % 100);
    switch (random() % 4) {
      case 0:
      case 1:
        if (expected.emplace(&item, time).second) {
          queue.add(item, at(time));
        }
        break;
      case 2:
        queue.remove(item);
        expected.erase(&item);
        break;
      default: {
        int earliest = 100;
        for (const auto& [known, due] : expected) {
          earliest = std::min(earliest, due);
        }
        const DelayQueue::Item* taken = queue.take_due(at(time));
        ASSERT_EQ(taken != nullptr, earliest <= time);
        if (taken != nullptr) {
          ASSERT_EQ(expected.at(taken), earliest);
          expected.erase(taken);
        }
      }
    }
    ASSERT_EQ(queue.size(), expected.size());
  }
}

}  // namespace
}  // namespace vsd::http
