#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "tests/support/core_log.h"

// Out of memory must reach the code under test in the sanitizer builds too.
extern "C" WZ_API const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

using testing::Eq;
using testing::ExitedWithCode;

WzlbMemStats stats() {
  WzlbMemStats result;
  wzlb_get_mem_stats(&result);
  return result;
}

TEST(TrackedAllocation, GuardFollowsSizeAndPad) {
  for (const int pad : {0, 5}) {
    wzlb_set_mem_pad_length(pad);
    for (const int size : {1, 24, 25, 1000, 5000000}) {
      auto* block = static_cast<char*>(WZLB_MALLOC(size, "test"));
      std::memset(block, 'x', static_cast<std::size_t>(size));
      EXPECT_EQ(std::memcmp(block + size + pad, "CMemDbg", 7), 0) << size;
      block = static_cast<char*>(WZLB_REALLOC(block, 2 * size, "test", -1));
      EXPECT_EQ(block[size - 1], 'x');
      EXPECT_EQ(std::memcmp(block + 2 * size + pad, "CMemDbg", 7), 0) << size;
      WZLB_FREE(block, "test", -1);
    }
  }
  wzlb_set_mem_pad_length(0);
}

TEST(TrackedAllocation, BlocksAndPlainMallocMix) {
  std::free(WZLB_MALLOC(10, "test", "a further argument"));
  const WzlbMemStats before = stats();
  WZLB_FREE(std::calloc(1, 100), "test", -1);
  WZLB_FREE(strdup("plain"), "test", -1);
  WZLB_FREE(nullptr, "test", -1);
  EXPECT_EQ(stats().cumulative_freed, before.cumulative_freed) << "never counted as allocated";
  char* overrun = static_cast<char*>(WZLB_MALLOC(10, "test"));
  std::memset(overrun, 'x', 11);
  WZLB_FREE(overrun, "test", -1);
}

// Blocks that come back are handed out again: no two that live at a time may share a byte.
TEST(TrackedAllocation, LiveBlocksKeepTheirBytes) {
  std::thread([] {
    std::array<std::pair<char*, long>, 200> live{};
    std::minstd_rand random(7);  // NOLINT(cert-msc51-cpp): the same run each time
    for (int round = 0; round < 20000; ++round) {
      const std::size_t place = random() % live.size();
      auto& [block, size] = live[place];
      const std::string expected(static_cast<std::size_t>(size), static_cast<char>(place));
      ASSERT_EQ(std::string_view(block, expected.size()), expected) << round;
      const long next = static_cast<long>(random() % 600);
      if (block != nullptr && next > 0 && random() % 4 == 0) {
        block = static_cast<char*>(WZLB_REALLOC(block, next, "test", -1));
      } else {
        WZLB_FREE(block, "test", -1);
        block = static_cast<char*>(WZLB_MALLOC(next, "test"));
      }
      size = next;
      std::fill_n(block, size, static_cast<char>(place));
    }
    for (const auto& [block, size] : live) {
      WZLB_FREE(block, "test", -1);
    }
  }).join();
}

TEST(TrackedAllocation, GivingABlockBackTwiceEndsTheProcess) {
  constexpr auto kTwice = [](int size) {
    void* first = WZLB_MALLOC(size, "test");
    void* second = WZLB_MALLOC(size, "test");
    WZLB_FREE(first, "test", -1);
    WZLB_FREE(second, "test", -1);
    WZLB_FREE(first, "test", -1);
  };
  // By the library, by the C library, or by AddressSanitizer, asked for the size first.
  constexpr char kFound[] = "given back twice|double-free|bad-malloc_usable_size";
  EXPECT_DEATH(kTwice(12), kFound);
  EXPECT_DEATH(kTwice(500), kFound);
}

TEST(TrackedAllocation, StatisticsOfAThread) {
  std::thread([] {
    void* first = WZLB_MALLOC(1000, "test");
    void* second = WZLB_MALLOC(3000000, "test");
    second = WZLB_REALLOC(second, 4000000, "test", 1);
    first = WZLB_REALLOC(first, 400, "test", 0);
    void* third = WZLB_REALLOC(nullptr, 7, "test", 0);
    EXPECT_EQ(WZLB_MALLOC(0, "test"), nullptr);
    EXPECT_EQ(stats().cumulative_allocated, 4001007U);
    EXPECT_EQ(stats().cumulative_freed, 600U);
    EXPECT_EQ(stats().num_allocations, 3U);
    wzlb_reset_periodic_mem_stats();
    for (void* block : {first, second, third}) {
      WZLB_FREE(block, "test", -1);
    }
    EXPECT_EQ(stats().cumulative_freed, stats().cumulative_allocated);
    EXPECT_EQ(stats().periodic_allocated, 0U);
    EXPECT_EQ(stats().periodic_freed, 4000407U);
  }).join();
  EXPECT_EQ(wzlb_get_mem_chunk_size(nullptr, 17), 17U);
}

TEST(TrackedAllocation, ImpossibleRequestsEndTheProcess) {
  constexpr auto kMalloc = [](long size) { wzlb_tracked_malloc(size, "label", "a.c", 7, "f"); };
  constexpr auto kRealloc = [](long size) {
    wzlb_tracked_realloc(std::malloc(1), size, "label", 3, "a.c", 7, "f");
  };
  EXPECT_EXIT(kMalloc(-5), ExitedWithCode(255),
              Eq("a.c|7|f|label|WZLB: Trying to malloc a negative size (-5)\n"));
  EXPECT_EXIT(kRealloc(0), ExitedWithCode(255),
              Eq("a.c|7|f|label|WZLB: Trying to realloc a negative or 0 size (0) for index 3\n"));
  // Only the low 32 bits of a size are printed.
  EXPECT_EXIT(
      kMalloc(LONG_MAX - 100), ExitedWithCode(255),
      testing::ContainsRegex("WZLB: a.c\\|7\\|f\\| Out of Memory \\(size = -101\\): label \n"));
  EXPECT_EXIT(
      kRealloc(LONG_MAX - 100), testing::KilledBySignal(SIGABRT),
      testing::ContainsRegex("WZLB: ERROR 12\\|a.c\\|7\\|f\\| Out of Memory \\(size = -101\\): "
                             "label for index 3 err msg Cannot allocate memory\n"));
}

TEST(TrackedAllocation, TracesNameTheCaller) {
  std::string text = wz::test::core_log_of(0xFFFF, WZLB_MODULE_MEMORY, [] {
    std::thread([] {
      void* block = wzlb_tracked_malloc(1048576, "label", "a.c", 7, "f");
      wzlb_tracked_free(block, "label", 3, "a.c", 8, "g");
      wzlb_tracked_malloc(0, "label", "a.c", 9, "h");
    }).join();
  });
  text = std::regex_replace(text, std::regex(R"(\n[^|]*\|)"), "\n");
  text = std::regex_replace(text, std::regex("0x[0-9a-f]+"), "PTR");
  EXPECT_EQ(text,
            "\na.c|7|f|size = 1048576"
            "\na.c|7|f|WZLB_MALLOC'ed (label) done. ptr = PTR, size = 1048576, allocated size = "
            "1048576"
            "\na.c|7|f|MEM_STATS: Cumulative allocated memory = 1.000 MB, periodic allocated "
            "memory = 1.000 MB, Cumulative freed memory = 0.000 MB, periodic freed memory = 0.000 "
            "MB, Cumulative Net allocated memory =  1.000 MB, Periodic Net allocated memory =  "
            "1.000 MB"
            "\na.c|8|g|WZLB_FREE'ed (label) Freed. ptr = $PTR$ for index 3, allocated_size = "
            "1048576"
            "\na.c|9|h|size = 0"
            "\na.c|9|h|WZLB: Trying to malloc a 0 size\n");
}

}  // namespace
