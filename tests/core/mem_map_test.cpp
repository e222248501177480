#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <regex>
#include <string>
#include <thread>
#include <utility>

#include "libwzcore/internal/trace.h"
#include "tests/support/core_log.h"

namespace {

using wz::mutable_text;

constexpr char kHeader[] =
    "AbsoluteTimeStamp|Address|Size|FileName|LineNo|FunctionName|Message!!\n";

// Every test runs in a thread of its own, which begins without a map.
template <typename Test>
void in_thread(Test test) {
  std::thread(test).join();
}

void* address(std::uintptr_t number) {
  return reinterpret_cast<void*>(number);  // recorded, never read
}

int add(std::uintptr_t number, const char* label = "label", std::size_t size = 8) {
  return wzlb_mem_map_add(address(number), size, mutable_text(label), mutable_text("a.c"), 7,
                          mutable_text("f"));
}

// The dump with every time stamp replaced by "T".
std::string dump() {
  const wz::test::TemporaryFolder folder;
  std::string path = (folder.path() / "dump").string();
  EXPECT_EQ(wzlb_mem_map_dump(path.data()), 0);
  static const std::regex kTime(R"((^|\n)\d\d/\d\d/\d\d \d\d:\d\d:\d\d\|)");
  return std::regex_replace(wz::test::content_of(path), kTime, "$1T|");
}

TEST(MemMap, RecordsNothingWithoutAMap) {
  in_thread([] {
    char name[] = "/none/dump";
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(add(0x10), -1);
      EXPECT_EQ(wzlb_mem_map_remove(address(0x10)), -1);
      EXPECT_EQ(wzlb_mem_map_dump(name), -1);
      EXPECT_EQ(wzlb_mem_map_free(), -1);
      wzlb_mem_map_create_entry(3);
      void* block = WZLB_MALLOC(10, "before");
      ASSERT_EQ(wzlb_mem_map_init(), 0);
      EXPECT_EQ(wzlb_mem_map_init(), -1);
      WZLB_FREE(block, "before", -1);
      EXPECT_EQ(dump(), kHeader);
      for (char* bad : {static_cast<char*>(nullptr), mutable_text(""), name}) {
        EXPECT_EQ(wzlb_mem_map_dump(bad), -1);
      }
      EXPECT_EQ(wzlb_mem_map_free(), 0);
    }
  });
}

TEST(MemMap, DumpsBelowTheNewestEntry) {
  in_thread([] {
    ASSERT_EQ(wzlb_mem_map_init(), 0);
    for (std::uintptr_t number = 1; number <= 5; ++number) {
      EXPECT_EQ(add(number), 0);
    }
    EXPECT_EQ(add(2, "again", 9), 0) << "overwritten in place";
    EXPECT_EQ(add(0), -1);
    EXPECT_EQ(add(6, ""), -1);
    EXPECT_EQ(add(6, nullptr), -1);
    EXPECT_EQ(wzlb_mem_map_remove(address(3)), 0);
    EXPECT_EQ(wzlb_mem_map_remove(address(3)), -1);
    EXPECT_EQ(wzlb_mem_map_remove(nullptr), -1);
    const std::string lines = std::string(kHeader) +
                              "T|0x1|8|a.c|7|f|label\nT|0x2|9|a.c|7|f|again\n"
                              "T|0x4|8|a.c|7|f|label\n";
    EXPECT_EQ(dump(), lines);
    // A removed entry is never used again: the address comes back behind the others.
    EXPECT_EQ(add(3, std::string(300, 'x').c_str()), 0);
    EXPECT_EQ(add(7), 0);
    EXPECT_EQ(dump(),
              lines + "T|0x5|8|a.c|7|f|label\nT|0x3|8|a.c|7|f|" + std::string(255 - 8, 'x') + "\n");
    wzlb_mem_map_create_entry(1 << 30);
    EXPECT_EQ(dump().substr(0, lines.size()), lines) << "never read beyond the array";
    EXPECT_EQ(wzlb_mem_map_free(), 0);
  });
}

TEST(MemMap, GrowsByTenEntriesWithoutRecordingItself) {
  in_thread([] {
    WzlbMemStats before;
    WzlbMemStats after;
    ASSERT_EQ(wzlb_mem_map_init(), 0);
    for (std::uintptr_t number = 1; number <= 10240; ++number) {
      EXPECT_EQ(add(0x1000 + number), 0);
      if (number % 3 == 0) {
        EXPECT_EQ(wzlb_mem_map_remove(address(0x1000 + number)), 0);
      }
    }
    wzlb_get_mem_stats(&before);
    EXPECT_EQ(std::pair(mem_map_entry_max, mem_map_max_norm_id), std::pair(10240, 10239));
    EXPECT_EQ(add(0x9000), 0);
    wzlb_get_mem_stats(&after);
    EXPECT_EQ(std::pair(mem_map_entry_max, mem_map_max_norm_id), std::pair(10250, 10240));
    EXPECT_EQ((after.cumulative_allocated - before.cumulative_allocated) / sizeof(ZelMemoryMap),
              10U);
    const std::string text = dump();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 10240 - 3413);
    EXPECT_EQ(text.find("ZelMemoryMap"), std::string::npos);
    EXPECT_EQ(wzlb_mem_map_free(), 0);
  });
}

TEST(MemMap, FindsALeakByFileLineAndLabel) {
  in_thread([] {
    ASSERT_EQ(wzlb_mem_map_init(), 0);
    void* kept = WZLB_MALLOC(100, "kept for long");
    const int line = __LINE__ + 1;
    void* leak = WZLB_MALLOC(33, "forgotten");
    void* grown = WZLB_REALLOC(WZLB_MALLOC(5, "grown"), 50, "grown", -1);
    WZLB_FREE(kept, "kept for long", -1);
    WZLB_FREE(grown, "grown", -1);
    // Given back by another thread, it stays listed here; that thread's map does not know it.
    void* crossing = WZLB_MALLOC(44, "crossing");
    std::thread([crossing] {
      ASSERT_EQ(wzlb_mem_map_init(), 0);
      WZLB_FREE(crossing, "crossing", -1);
      EXPECT_EQ(dump(), kHeader);
      wzlb_mem_map_free();
    }).join();
    void* newest = WZLB_MALLOC(1, "newest");
    const std::string text = dump();
    EXPECT_TRUE(std::regex_search(
        text, std::regex("^[^\n]*\nT\\|0x[0-9a-f]+\\|33\\|[^|\n]*mem_map_test.cpp\\|" +
                         std::to_string(line) +
                         "\\|operator\\(\\)\\|forgotten\n"
                         "T\\|0x[0-9a-f]+\\|44\\|[^\n]*\\|crossing\n$")))
        << text;
    EXPECT_EQ(wzlb_mem_map_free(), 0);
    WZLB_FREE(leak, "forgotten", -1);
    WZLB_FREE(newest, "newest", -1);
  });
}

TEST(MemMap, Traces) {
  const std::string log = wz::test::core_log_of(-1, WZLB_MODULE_MEMORY, [] {
    in_thread([] {
      add(1);
      wzlb_mem_map_remove(address(1));
      wzlb_mem_map_free();
      wzlb_mem_map_init();
      wzlb_mem_map_init();
      add(0);
      add(1);
      add(1);
      wzlb_mem_map_remove(address(1));
      wzlb_mem_map_remove(address(1));
      wzlb_mem_map_remove(nullptr);
      wzlb_mem_map_dump(nullptr);
      wzlb_mem_map_dump(mutable_text("/none/dump"));
      wzlb_mem_map_free();
    });
  });
  wz::test::expect_in_order(
      log, {"Memory map is not initialized", "Memory map is not initialized",
            "Memory Map not intialized", "Memory Map already intialized",
            "Memory map - address or msg is NULL", "Entry added timestamp = ",
            ", address = 0x1, size = 8, message = a.c|7|f|label", "Error: Timestamp = ",
            ", Address = 0x1, size = 8, message = a.c|7|f|label, already exists in map so "
            "overwriting.",
            "Entry added", "Deleted normid = 0", "Memory 0x1 is not found in map",
            "Memory map - address is NULL", "Memory dump file is NULL",
            "Error in opening the file '/none/dump'"});
}

}  // namespace
