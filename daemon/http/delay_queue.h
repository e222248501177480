// What waits for its time: a heap with the earliest in front that knows where each item lies, so
// that an item whose client has left is taken out at once instead of staying until it is due.
#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace vsd::http {

class DelayQueue {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  // Something that can wait in one queue at a time; must be removed before it is destroyed.
  class Item {
   public:
    Item() = default;
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

   protected:
    ~Item() = default;

   private:
    friend DelayQueue;
    static constexpr std::size_t kNotQueued = static_cast<std::size_t>(-1);
    std::size_t position_ = kNotQueued;
  };

  [[nodiscard]] bool empty() const noexcept { return heap_.empty(); }
  [[nodiscard]] std::size_t size() const noexcept { return heap_.size(); }
  // TimePoint::max() when nothing waits.
  [[nodiscard]] TimePoint next_due() const noexcept {
    return heap_.empty() ? TimePoint::max() : heap_.front().due;
  }

  // `item` must not wait already.
  void add(Item& item, TimePoint due);
  // Nothing happens when it does not wait.
  void remove(Item& item) noexcept;
  // Takes out the earliest item if it is due; null when none is.
  [[nodiscard]] Item* take_due(TimePoint now) noexcept;

 private:
  struct Entry {
    TimePoint due;
    Item* item;
  };

  void place(std::size_t position, Entry entry) noexcept;
  void rise(std::size_t position, Entry entry) noexcept;
  void sink(std::size_t position, Entry entry) noexcept;

  std::vector<Entry> heap_;
};

// What goes on after a delay.
class Delayed : public DelayQueue::Item {
 public:
  virtual void resume(DelayQueue::TimePoint now) = 0;

 protected:
  ~Delayed() = default;
};

// Whoever has such a queue and looks at it in time.
class DelayOwner {
 public:
  DelayOwner(const DelayOwner&) = delete;
  DelayOwner& operator=(const DelayOwner&) = delete;

  // Call `item.resume` when `due` has passed, unless it is gone before.
  virtual void delay(Delayed& item, DelayQueue::TimePoint due) = 0;

 protected:
  DelayOwner() = default;
  ~DelayOwner() = default;
};

}  // namespace vsd::http
