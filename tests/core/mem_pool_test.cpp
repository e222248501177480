#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <array>
#include <cstring>
#include <vector>

#include "tests/support/capture.h"

namespace {

struct Record {
  Record* prev;
  Record* next;
  char slot_status;
  long payload;
};

struct Pool : wzlb_mp_handler {
  Pool(int init, int increment, int flag = 0, int size = sizeof(Record)) : wzlb_mp_handler{} {
    EXPECT_EQ(wzlb_mp_init(this, size, init, increment, flag), 0);
  }
  ~Pool() { wzlb_mp_destroy(this); }
  Record* get() { return static_cast<Record*>(wzlb_mp_get_slot(this)); }
};

std::vector<const void*> slots_of(const node* head, const node* tail) {
  std::vector<const void*> slots;
  const node* last = nullptr;
  for (const node* slot = head; slot != nullptr; slot = slot->next) {
    EXPECT_EQ(slot->prev, last);
    slots.push_back(last = slot);
  }
  EXPECT_EQ(tail, last);
  return slots;
}

using Slots = std::vector<const void*>;
Slots free_slots(const Pool& pool) {
  return slots_of(pool.free_head, pool.free_tail);
}
Slots busy_slots(const Pool& pool) {
  return slots_of(pool.busy_head, pool.busy_tail);
}

TEST(MemPool, BlocksFollowTheCountsAndTheMaximum) {
  struct Case {
    int init, increment, max;
    std::vector<std::size_t> blocks;
  };
  const Case cases[] = {
      {0, 0, 0, {10, 10, 10}}, {-1, 3, 0, {10, 3}},  {10, 10, 15, {10, 5}},
      {4, 2, 3, {3}},          {4, 2, 8, {4, 2, 2}},
  };
  for (const Case& c : cases) {
    Pool pool(c.init, c.increment);
    EXPECT_EQ(pool.free_head, nullptr) << "allocates nothing";
    wzlb_mp_set_max(&pool, c.max);
    for (const std::size_t count : c.blocks) {
      auto* const first = reinterpret_cast<char*>(pool.get());
      Slots left;
      for (std::size_t i = 1; i < count; ++i) {
        left.push_back(first + i * sizeof(Record));
        EXPECT_EQ(reinterpret_cast<const Record*>(left.back())->slot_status, 0);
      }
      EXPECT_EQ(free_slots(pool), left);
      EXPECT_EQ(reinterpret_cast<Record*>(first)->slot_status & 1, 1);
      while (pool.free_head != nullptr) {
        EXPECT_EQ(pool.get()->payload, 0);
      }
    }
    EXPECT_EQ(pool.num_malloced_slot, static_cast<int>(c.blocks.size()));
    if (c.max > 0) {
      wzlb_set_error(const_cast<char*>(""));
      EXPECT_EQ(wzlb_mp_create(&pool), -1);
      EXPECT_STREQ(wzlb_get_error(), "Memory pool max limit reached");
      EXPECT_EQ(pool.get(), nullptr);
    }
  }
}

TEST(MemPool, TheTwoFreesDifferInOrder) {
  Pool pool(4, 4);
  std::array<Record*, 4> slot{};
  for (Record*& each : slot) {
    each = pool.get();
  }
  slot[1]->payload = 7;
  wzlb_mp_free_slot(&pool, slot[1]);     // middle
  wzlb_mp_free_slot(&pool, slot[0]);     // head
  wzlb_mp_free_slot_ex(&pool, slot[3]);  // tail
  EXPECT_EQ(busy_slots(pool), Slots({slot[2]}));
  EXPECT_EQ(free_slots(pool), Slots({slot[3], slot[1], slot[0]}));
  // Freed twice, detached, foreign: every slot stays on the list that it is on.
  Record foreign{};
  for (Record* each : {slot[3], slot[1], slot[0], &foreign}) {
    wzlb_mp_free_slot(&pool, each);
    wzlb_mp_free_slot_ex(&pool, each);
  }
  EXPECT_EQ(free_slots(pool).size(), 3U);
  EXPECT_EQ(busy_slots(pool), Slots({slot[2]}));
  EXPECT_EQ(wzlb_mp_get_busy_head(&pool), slot[2]);
  EXPECT_EQ(pool.busy_tail, nullptr);
  wzlb_mp_free_busy_head(&pool, reinterpret_cast<wzlb_mp_handler*>(slot[2]));
  wzlb_mp_free_busy_head(&pool, reinterpret_cast<wzlb_mp_handler*>(slot[2]));
  EXPECT_EQ(free_slots(pool).size(), 4U);
  EXPECT_EQ(pool.get(), slot[2]);
  wzlb_mp_free_slot(&pool, slot[2]);
  EXPECT_NE(pool.free_head, reinterpret_cast<node*>(slot[2]));
  EXPECT_EQ(slot[1]->payload, 7) << "a freed slot keeps its contents";
}

TEST(MemPool, BusySlotsAreAQueue) {
  Pool pool(2, 2, 1);
  Record* const slot[] = {pool.get(), pool.get(), pool.get()};
  EXPECT_EQ(wzlb_mp_check_busy_head(&pool), slot[0]);
  EXPECT_EQ(wzlb_mp_get_busy_head(&pool), slot[0]);
  EXPECT_EQ(wzlb_mp_check_busy_head(&pool), slot[1]);
  wzlb_mp_free_busy_head(&pool, reinterpret_cast<wzlb_mp_handler*>(slot[0]));
  wzlb_mp_free_all_slots(&pool);
  EXPECT_EQ(free_slots(pool).size(), 4U);
  EXPECT_EQ(wzlb_mp_get_busy_head(&pool), nullptr);
  WzlbMemStats before;
  WzlbMemStats after;
  wzlb_get_mem_stats(&before);
  pool.get();
  wzlb_mp_destroy(&pool);
  wzlb_get_mem_stats(&after);
  EXPECT_EQ(after.cumulative_freed - before.cumulative_freed, 4 * sizeof(Record));
  EXPECT_TRUE(pool.slot_size == 0 && pool.free_head == nullptr && pool.num_malloced_slot == 0);
  EXPECT_EQ(pool.get(), nullptr);
}

TEST(MemPool, RefusesBadArguments) {
  wzlb_mp_handler pool;
  std::memset(&pool, 0xAA, sizeof pool);
  EXPECT_EQ(wzlb_mp_init(nullptr, 64, 1, 1, 0), 1);
  EXPECT_EQ(wzlb_mp_init(&pool, 0, 1, 1, 0), 1);
  EXPECT_EQ(wzlb_mp_create(&pool), 1);
  EXPECT_EQ(wzlb_mp_create(nullptr), 1);
  EXPECT_EQ(wzlb_mp_get_slot(&pool), nullptr);
  Pool negative(2, 2, 2, -8);
  EXPECT_EQ(negative.handler_flag, 0) << "only 1 asks for a lock";
  EXPECT_EQ(wz::test::stderr_of([&] { EXPECT_EQ(negative.get(), nullptr); }),
            "Trying to malloc a negative size memory size = -16 \n");
  for (wzlb_mp_handler* none : {static_cast<wzlb_mp_handler*>(nullptr), &pool}) {
    wzlb_mp_free_slot(none, nullptr);
    wzlb_mp_free_slot_ex(none, nullptr);
    wzlb_mp_free_busy_head(none, nullptr);
    wzlb_mp_free_all_slots(none);
    wzlb_mp_set_max(none, 1);
    EXPECT_EQ(wzlb_mp_get_busy_head(none), nullptr);
    wzlb_mp_destroy(none);
  }
  Pool tiny(3, 3, 0, 9);
  tiny.get();
  EXPECT_EQ(free_slots(tiny).size(), 2U) << "a slot has room for its head";
  Pool huge(2000000000, 1, 0, 2000000000);
  EXPECT_EXIT(huge.get(), testing::ExitedWithCode(1),
              "Out of Memory \\(size = -?[0-9]+\\): Allocating memory pool \n");
  for (const auto& [code, text] : {std::pair(2, "Error: Memory allocation failure"),
                                   {3, "Error: Invalid Pointer Passed"},
                                   {4, "Error: Invalid Memory Alignment"},
                                   {1, "Unknown Error Type"},
                                   {0, "Unknown Error Type"},
                                   {5, "Unknown Error Type"},
                                   {-1, "Unknown Error Type"}}) {
    EXPECT_STREQ(mpool_errstr(code), text);
  }
}

}  // namespace
