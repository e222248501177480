#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

struct Record {
  node header;
  long payload;
};

struct SharedPool : testing::Test {
  SharedPool() { wzlb_mp_init(&pool, sizeof(Record), 4, 4, 1); }
  ~SharedPool() override { wzlb_mp_destroy(&pool); }

  template <typename Action>
  static void in_eight_threads(Action action) {
    std::vector<std::thread> threads;
    for (long id = 1; id <= 8; ++id) {
      threads.emplace_back(action, id);
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  Record* get() { return static_cast<Record*>(wzlb_mp_get_slot(&pool)); }

  wzlb_mp_handler pool{};
};

TEST_F(SharedPool, NeverHandsASlotToTwoThreads) {
  std::atomic<int> clashes = 0;
  in_eight_threads([&](long id) {
    for (int round = 0; round < 500; ++round) {
      Record* const slots[] = {get(), get(), get()};
      for (Record* slot : slots) {
        slot->payload = id;
      }
      wzlb_mp_check_busy_head(&pool);
      for (Record* slot : slots) {
        clashes += slot->payload == id ? 0 : 1;
      }
      wzlb_mp_free_slot(&pool, slots[1]);
      wzlb_mp_free_slot_ex(&pool, slots[0]);
      wzlb_mp_free_slot(&pool, slots[2]);
    }
  });
  EXPECT_EQ(clashes, 0);
  EXPECT_EQ(pool.busy_head, nullptr);
  int free_slots = 0;
  for (node* slot = pool.free_head; slot != nullptr; slot = slot->next) {
    ++free_slots;
  }
  EXPECT_EQ(free_slots, 4 * pool.num_malloced_slot);
}

TEST_F(SharedPool, ConsumersTakeEverySlotOfTheQueueOnce) {
  for (int i = 0; i < 1000; ++i) {
    get()->payload = 0;
  }
  in_eight_threads([&](long) {
    while (auto* slot = static_cast<Record*>(wzlb_mp_get_busy_head(&pool))) {
      ++slot->payload;
      wzlb_mp_free_busy_head(&pool, reinterpret_cast<wzlb_mp_handler*>(slot));
    }
  });
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(get()->payload, 1);
  }
}

}  // namespace
