// Memory of the connections of one event loop. Connections borrow from pools while they have bytes
// to hold and give back what they hold when they fall idle: ten thousand idle connections cost no
// buffers, and busy ones allocate nothing once the pools are warm.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vsd::http {

constexpr std::size_t kBlockSize = 16 * 1024;  // one read takes a whole ordinary request

class BlockPool {
 public:
  [[nodiscard]] std::unique_ptr<char[]> take();
  void give(std::unique_ptr<char[]> block);

 private:
  static constexpr std::size_t kMostBlocks = 256;
  std::vector<std::unique_ptr<char[]>> blocks_;
};

// Strings that keep their capacity; bounded in number and in bytes.
class StringPool {
 public:
  [[nodiscard]] std::string take();
  void give(std::string&& text);

 private:
  static constexpr std::size_t kMostStrings = 256;
  static constexpr std::size_t kMostBytes = 16 * 1024 * 1024;
  std::vector<std::string> strings_;
  std::size_t bytes_ = 0;
};

// The unread bytes of a connection, contiguous. Views into it hold until the next `space`.
class InputBuffer {
 public:
  explicit InputBuffer(BlockPool& pool) noexcept : pool_(pool) {}
  InputBuffer(const InputBuffer&) = delete;
  InputBuffer& operator=(const InputBuffer&) = delete;
  ~InputBuffer() { release(); }

  [[nodiscard]] std::string_view view() const noexcept { return {data(), size()}; }
  [[nodiscard]] char* data() const noexcept { return memory_.get() + begin_; }
  [[nodiscard]] std::size_t size() const noexcept { return end_ - begin_; }
  [[nodiscard]] bool empty() const noexcept { return begin_ == end_; }

  // Room for the next bytes: at least a quarter of a block. Moves or grows the memory as needed.
  [[nodiscard]] std::span<char> space();
  void add(std::size_t count) noexcept { end_ += count; }
  void consume(std::size_t count) noexcept { begin_ += count; }
  void truncate(std::size_t size) noexcept { end_ = begin_ + size; }

  // Gives the memory back when nothing is in it.
  void release_if_empty() {
    if (empty() && memory_ != nullptr) {
      release();
    }
  }

 private:
  void release();

  BlockPool& pool_;
  std::unique_ptr<char[]> memory_;
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace vsd::http
