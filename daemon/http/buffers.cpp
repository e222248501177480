#include "daemon/http/buffers.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vsd::http {

std::unique_ptr<char[]> BlockPool::take() {
  if (blocks_.empty()) {
    return std::make_unique_for_overwrite<char[]>(kBlockSize);
  }
  auto block = std::move(blocks_.back());
  blocks_.pop_back();
  return block;
}

void BlockPool::give(std::unique_ptr<char[]> block) {
  if (blocks_.size() < kMostBlocks) {
    blocks_.push_back(std::move(block));
  }
}

std::string StringPool::take() {
  if (strings_.empty()) {
    return {};
  }
  auto text = std::move(strings_.back());
  strings_.pop_back();
  bytes_ -= text.capacity();
  return text;
}

void StringPool::give(std::string&& text) {
  std::string given = std::move(text);
  if (strings_.size() < kMostStrings && bytes_ + given.capacity() <= kMostBytes) {
    given.clear();
    bytes_ += given.capacity();
    strings_.push_back(std::move(given));
  }
}

std::span<char> InputBuffer::space() {
  constexpr std::size_t kLeast = kBlockSize / 4;
  if (memory_ == nullptr) {
    memory_ = pool_.take();
    capacity_ = kBlockSize;
  } else if (capacity_ - end_ < kLeast) {
    const std::size_t used = size();
    if (capacity_ - used >= std::max(kLeast, used)) {
      std::memmove(memory_.get(), data(), used);
    } else {
      auto larger = std::make_unique_for_overwrite<char[]>(capacity_ * 2);
      std::memcpy(larger.get(), data(), used);
      memory_ = std::move(larger);
      capacity_ *= 2;
    }
    begin_ = 0;
    end_ = used;
  }
  return {memory_.get() + end_, capacity_ - end_};
}

void InputBuffer::release() {
  if (capacity_ == kBlockSize) {
    pool_.give(std::move(memory_));
  }
  memory_.reset();
  capacity_ = begin_ = end_ = 0;
}

}  // namespace vsd::http
