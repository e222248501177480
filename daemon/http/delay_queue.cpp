#include "daemon/http/delay_queue.h"

namespace vsd::http {

void DelayQueue::place(std::size_t position, Entry entry) noexcept {
  heap_[position] = entry;
  entry.item->position_ = position;
}

// Puts `entry` at `position` or above.
void DelayQueue::rise(std::size_t position, Entry entry) noexcept {
  while (position > 0) {
    const std::size_t parent = (position - 1) / 2;
    if (heap_[parent].due <= entry.due) {
      break;
    }
    place(position, heap_[parent]);
    position = parent;
  }
  place(position, entry);
}

// Puts `entry` at `position` or below.
void DelayQueue::sink(std::size_t position, Entry entry) noexcept {
  for (;;) {
    std::size_t child = 2 * position + 1;
    if (child >= heap_.size()) {
      break;
    }
    if (child + 1 < heap_.size() && heap_[child + 1].due < heap_[child].due) {
      ++child;
    }
    if (entry.due <= heap_[child].due) {
      break;
    }
    place(position, heap_[child]);
    position = child;
  }
  place(position, entry);
}

void DelayQueue::add(Item& item, TimePoint due) {
  heap_.push_back({due, &item});
  rise(heap_.size() - 1, heap_.back());
}

void DelayQueue::remove(Item& item) noexcept {
  const std::size_t position = item.position_;
  if (position == Item::kNotQueued) {
    return;
  }
  item.position_ = Item::kNotQueued;
  const Entry last = heap_.back();
  heap_.pop_back();
  if (position == heap_.size()) {
    return;
  }
  if (position > 0 && last.due < heap_[(position - 1) / 2].due) {
    rise(position, last);
  } else {
    sink(position, last);
  }
}

DelayQueue::Item* DelayQueue::take_due(TimePoint now) noexcept {
  if (heap_.empty() || heap_.front().due > now) {
    return nullptr;
  }
  Item* const item = heap_.front().item;
  remove(*item);
  return item;
}

}  // namespace vsd::http
