// A memory pool against a model of its two lists: every byte is an operation on it.
#include <wz/wzlb.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::require;

struct Record {
  node header;
  std::uint64_t payload;
};

class PoolAndModel {
 public:
  PoolAndModel(int init, int increment, int maximum, int flag) {
    require(wzlb_mp_init(&pool_, sizeof(Record), init, increment, flag) == 0);
    wzlb_mp_set_max(&pool_, maximum);
  }
  PoolAndModel(const PoolAndModel&) = delete;
  PoolAndModel& operator=(const PoolAndModel&) = delete;
  ~PoolAndModel() {
    while (!detached_.empty()) {
      give_back();
    }
    wzlb_mp_destroy(&pool_);
    require(pool_.free_head == nullptr && pool_.slot_size == 0);
  }

  void get() {
    auto* const slot = static_cast<Record*>(wzlb_mp_get_slot(&pool_));
    if (free_.empty()) {
      if (slot == nullptr) {
        require(pool_.num_slots_max > 0 && slots_ >= pool_.num_slots_max);
        return;
      }
      add_block(slot);
    }
    require(slot == free_.front() && slot->payload == payload_of(slot));
    free_.pop_front();
    busy_.push_back(slot);
  }

  void free_slot(std::size_t choice, bool to_head) {
    if (busy_.empty()) {
      return;
    }
    const auto chosen = busy_.begin() + static_cast<std::ptrdiff_t>(choice % busy_.size());
    Record* const slot = *chosen;
    busy_.erase(chosen);
    if (to_head) {
      wzlb_mp_free_slot_ex(&pool_, slot);
      free_.push_front(slot);
    } else {
      wzlb_mp_free_slot(&pool_, slot);
      free_.push_back(slot);
    }
  }

  // Freed twice: still free, and still there once.
  void free_again(std::size_t choice) {
    if (!free_.empty()) {
      wzlb_mp_free_slot(&pool_, free_[choice % free_.size()]);
      free_.clear();
      for (node* slot = pool_.free_head; slot != nullptr; slot = slot->next) {
        free_.push_back(reinterpret_cast<Record*>(slot));
      }
    }
  }

  void detach() {
    auto* const slot = static_cast<Record*>(wzlb_mp_get_busy_head(&pool_));
    require(slot == (busy_.empty() ? nullptr : busy_.front()));
    if (slot != nullptr) {
      busy_.pop_front();
      detached_.push_back(slot);
    }
  }

  void give_back() {
    if (!detached_.empty()) {
      wzlb_mp_free_busy_head(&pool_, reinterpret_cast<wzlb_mp_handler*>(detached_.back()));
      free_.push_front(detached_.back());
      detached_.pop_back();
    }
  }

  void free_all() {
    wzlb_mp_free_all_slots(&pool_);
    free_.insert(free_.end(), busy_.begin(), busy_.end());
    busy_.clear();
  }

  void check() {
    require(wzlb_mp_check_busy_head(&pool_) == (busy_.empty() ? nullptr : busy_.front()));
    check_list(pool_.free_head, pool_.free_tail, free_);
    check_list(pool_.busy_head, pool_.busy_tail, busy_);
    require(static_cast<long>(free_.size() + busy_.size() + detached_.size()) == slots_);
  }

 private:
  static std::uint64_t payload_of(const Record* slot) {
    return reinterpret_cast<std::uintptr_t>(slot) * 31;
  }

  static void check_list(const node* head, const node* tail, const std::deque<Record*>& expected) {
    const node* last = nullptr;
    for (const Record* slot : expected) {
      require(head == &slot->header && head->prev == last);
      last = head;
      head = head->next;
    }
    require(head == nullptr && tail == last);
  }

  // The pool took a block, of which `first` is handed out already.
  void add_block(Record* first) {
    require((first->header.slot_status & 1) == 1);
    free_.push_back(first);
    for (node* slot = pool_.free_head; slot != nullptr; slot = slot->next) {
      require(slot == &free_.back()[1].header && (slot->slot_status & 1) == 0);
      free_.push_back(reinterpret_cast<Record*>(slot));
    }
    for (Record* slot : free_) {
      require(slot->payload == 0);
      slot->payload = payload_of(slot);
    }
    slots_ += static_cast<long>(free_.size());
    require(pool_.num_slots_max <= 0 || slots_ <= pool_.num_slots_max);
  }

  wzlb_mp_handler pool_{};
  std::deque<Record*> free_;
  std::deque<Record*> busy_;
  std::vector<Record*> detached_;
  long slots_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) {
    return 0;
  }
  PoolAndModel pool(data[0] % 8, data[1] % 8, data[2] % 32, data[3] % 2);
  for (std::size_t i = 4; i < std::min<std::size_t>(size, 2000); ++i) {
    const std::size_t choice = data[i] / 8U;
    switch (data[i] % 8) {
      case 0:
        pool.free_slot(choice, false);
        break;
      case 1:
        pool.free_slot(choice, true);
        break;
      case 2:
        pool.detach();
        break;
      case 3:
        pool.give_back();
        break;
      case 4:
        pool.free_again(choice);
        break;
      case 5:
        choice == 31 ? pool.free_all() : pool.get();
        break;
      default:
        pool.get();
        break;
    }
    pool.check();
  }
  return 0;
}
