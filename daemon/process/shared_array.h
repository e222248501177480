// An array in memory that the parent and the workers it forks share.
#pragma once

#include <sys/mman.h>

#include <cerrno>
#include <cstddef>
#include <span>
#include <system_error>
#include <utility>

namespace vsd {

// Elements are zero bytes to begin with and are never constructed or destroyed: atomics and plain
// numbers only, no pointers into a process.
template <typename Element>
class SharedArray {
 public:
  // Throws std::system_error when there is no memory.
  explicit SharedArray(std::size_t count) : count_(count) {
    if (count == 0) {
      return;
    }
    void* region =
        mmap(nullptr, bytes(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (region == MAP_FAILED) {
      throw std::system_error(errno, std::generic_category(), "shared memory of the workers");
    }
    elements_ = static_cast<Element*>(region);
  }
  SharedArray(SharedArray&& other) noexcept
      : count_(std::exchange(other.count_, 0)),
        elements_(std::exchange(other.elements_, nullptr)) {}
  SharedArray(const SharedArray&) = delete;
  SharedArray& operator=(const SharedArray&) = delete;
  ~SharedArray() {
    if (elements_ != nullptr) {
      munmap(elements_, bytes());
    }
  }

  [[nodiscard]] std::size_t size() const noexcept { return count_; }
  [[nodiscard]] Element& operator[](std::size_t index) const noexcept { return elements_[index]; }
  [[nodiscard]] std::span<Element> all() const noexcept { return {elements_, count_}; }

 private:
  [[nodiscard]] std::size_t bytes() const noexcept { return count_ * sizeof(Element); }

  std::size_t count_ = 0;
  Element* elements_ = nullptr;
};

}  // namespace vsd
