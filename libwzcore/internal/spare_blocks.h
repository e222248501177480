// Small blocks that a thread has given back and will want again, so that a request like the one
// before it takes none from the heap.
#pragma once

#include <array>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace wz {

// Holds blocks of malloc by the size that malloc_usable_size tells. Constant-initialised and
// without a destructor, so that a thread-local one needs no guard: its owner calls close() at the
// thread's end.
class SpareBlocks {
 public:
  // A block of at least `size` bytes, or null.
  void* take(std::size_t size) noexcept {
    const std::size_t kind = size <= kSmallest ? 0 : (size - kSmallest + kStep - 1) / kStep;
    if (kind >= kKinds || first_[kind] == nullptr) {
      return nullptr;
    }
    Spare* const block = first_[kind];
    first_[kind] = block->next;
    room_ += size_of(kind);
    return block;
  }

  // Keeps `block`, with `usable` bytes, where it is small and there is room. Where not, the caller
  // still owns it. The last byte of a block that is here is 0; what else it holds is not looked at:
  // the caller may never have written it.
  bool keep(void* block, std::size_t usable) noexcept {
    if (usable < kSmallest || usable > size_of(kKinds - 1)) {
      return false;
    }
    const std::size_t kind = (usable - kSmallest) / kStep;
    if (room_ < size_of(kind)) {
      return false;
    }
    static_cast<unsigned char*>(block)[usable - 1] = 0;
    first_[kind] = ::new (block) Spare{first_[kind]};
    room_ -= size_of(kind);
    return true;
  }

  [[nodiscard]] bool holds(const void* block, std::size_t usable) const noexcept {
    if (usable < kSmallest || usable > size_of(kKinds - 1)) {
      return false;
    }
    const Spare* spare = first_[(usable - kSmallest) / kStep];
    while (spare != nullptr && spare != block) {
      spare = spare->next;
    }
    return spare != nullptr;
  }

  // Gives everything back to malloc, and keeps nothing from now on.
  void close() noexcept {
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
      while (void* const block = take(size_of(kind))) {
        std::free(block);
      }
    }
    room_ = 0;
  }

 private:
  struct Spare {
    Spare* next;
  };

  static constexpr std::size_t kSmallest = 24;  // the sizes in which malloc hands out blocks
  static constexpr std::size_t kStep = 16;
  static constexpr std::size_t kKinds = 32;
  static constexpr std::size_t kMostBytes = 64 * 1024;

  static constexpr std::size_t size_of(std::size_t kind) { return kSmallest + kind * kStep; }

  std::array<Spare*, kKinds> first_{};
  std::size_t room_ = kMostBytes;
};

}  // namespace wz
