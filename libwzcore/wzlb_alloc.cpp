// Tracked allocation. A block is an ordinary malloc block without any header, so plain free() is
// always right; what the module knows about it lies behind the caller's bytes:
//
//   | size + pad bytes of the caller | "CMemDbg" | slack ... | tail |
//
// The guard shows an overrun in a memory dump. The tail, in the last bytes that malloc gave, tells
// how far the guard is from the end, so that growing and freeing can count the block's size.
#include <malloc.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_mem_map.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "libwzcore/internal/allocating_thread.h"
#include "libwzcore/internal/soft_alloc.h"
#include "libwzcore/internal/trace.h"

// A trace that names the place of the caller, not of this module.
#define CALLER_TRACE(level, format, ...)                                                         \
  do {                                                                                           \
    if (wz::tracing((level), WZLB_MODULE_MEMORY)) {                                              \
      wzlb_debug_log_ex((level), WZLB_MODULE_MEMORY, wz::mutable_text(caller.file), caller.line, \
                        wz::mutable_text(caller.function),                                       \
                        const_cast<char*>(format) __VA_OPT__(, ) __VA_ARGS__);                   \
    }                                                                                            \
  } while (0)

constinit thread_local wz::AllocatingThread wz::allocating_thread{};

namespace {

using Caller = wz::BlockOwner;
using wz::AllocatingThread;

// A checked build sees each block come from malloc and go back at once. clang and gcc tell each in
// its own way.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeepsSpare = false;
#elif !defined(__has_feature)
constexpr bool kKeepsSpare = true;
#else
constexpr bool kKeepsSpare = !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#endif

constexpr char kGuard[] = "CMemDbg";
constexpr std::size_t kGuardSize = sizeof kGuard - 1;
constexpr std::size_t kGuardRoom = 8;  // the guard and at least one byte of tail

// Tail: one byte with the distance from the guard to the block's end, or kLongTail and the
// distance in the four bytes before it.
constexpr unsigned char kLongTail = 0xFF;

std::size_t counted_size(const void* block, std::size_t size) {
  return wzlb_get_mem_chunk_size(static_cast<char*>(const_cast<void*>(block)), size);
}

// Seals a block of `size` bytes of the caller (pad included).
void write_guard(void* block, std::size_t size) {
  auto* const bytes = static_cast<unsigned char*>(block);
  std::memcpy(bytes + size, kGuard, kGuardSize);
  const std::size_t end = malloc_usable_size(block);
  const std::size_t distance = end - size;
  if (distance < kLongTail) {
    bytes[end - 1] = static_cast<unsigned char>(distance);
    return;
  }
  const auto long_distance = static_cast<std::uint32_t>(distance);
  bytes[end - 1] = kLongTail;
  std::memcpy(bytes + end - 1 - sizeof long_distance, &long_distance, sizeof long_distance);
}

// Size of a sealed block with `end` bytes; 0 for one that came from elsewhere or whose guard was
// overwritten.
std::size_t guarded_size(const void* block, std::size_t end) {
  const auto* const bytes = static_cast<const unsigned char*>(block);
  if (end < kGuardRoom) {
    return 0;
  }
  std::size_t distance = bytes[end - 1];
  if (distance == kLongTail) {
    std::uint32_t long_distance = 0;
    std::memcpy(&long_distance, bytes + end - 1 - sizeof long_distance, sizeof long_distance);
    distance = long_distance;
  }
  if (distance < kGuardRoom || distance > end ||
      std::memcmp(bytes + end - distance, kGuard, kGuardSize) != 0) {
    return 0;
  }
  return end - distance;
}

void count_allocated(WzlbMemStats& stats, std::size_t size) {
  stats.cumulative_allocated += size;
  stats.periodic_allocated += size;
}

void count_freed(WzlbMemStats& stats, std::size_t size) {
  stats.cumulative_freed += size;
  stats.periodic_freed += size;
}

double megabytes(unsigned long long bytes) {
  return static_cast<double>(bytes) / 1048576;
}

// More may have been freed than was allocated, by this thread or in this period.
double net_megabytes(unsigned long long allocated, unsigned long long freed) {
  return static_cast<double>(static_cast<long long>(allocated - freed)) / 1048576;
}

void trace_statistics(const WzlbMemStats& stats, const Caller& caller) {
  CALLER_TRACE(WZLB_LEVEL_1,
               "MEM_STATS: Cumulative allocated memory = %'.3f MB, periodic allocated memory = "
               "%'.3f MB, Cumulative freed memory = %'.3f MB, periodic freed memory = %'.3f MB, "
               "Cumulative Net allocated memory =  %'.3f MB, Periodic Net allocated memory =  "
               "%'.3f MB",
               megabytes(stats.cumulative_allocated), megabytes(stats.periodic_allocated),
               megabytes(stats.cumulative_freed), megabytes(stats.periodic_freed),
               net_megabytes(stats.cumulative_allocated, stats.cumulative_freed),
               net_megabytes(stats.periodic_allocated, stats.periodic_freed));
}

void offer_to_map(const AllocatingThread& thread, void* block, std::size_t size,
                  const Caller& caller) {
  if (!wz::mem_map_listens(thread)) [[likely]] {
    return;
  }
  wzlb_mem_map_add(block, size, wz::mutable_text(caller.label), wz::mutable_text(caller.file),
                   caller.line, wz::mutable_text(caller.function));
}

void forget_in_map(const AllocatingThread& thread, void* block) {
  if (wz::mem_map_listens(thread)) [[unlikely]] {
    wzlb_mem_map_remove(block);
  }
}

[[maybe_unused]] void close_spare_at_end(AllocatingThread& thread) {
  struct Closer {
    ~Closer() { wz::allocating_thread.spare.close(); }
  };
  static thread_local const Closer closer;
  thread.closes_spare = true;
}

void give_back(AllocatingThread& thread, void* block, std::size_t usable) {
  if constexpr (kKeepsSpare) {
    if (!thread.closes_spare) [[unlikely]] {
      close_spare_at_end(thread);
    }
    if (thread.spare.keep(block, usable)) {
      return;
    }
  }
  std::free(block);
}

[[noreturn]] void refuse_negative_size(long size, const Caller& caller) {
  std::fprintf(stderr, "%s|%d|%s|%s|WZLB: Trying to malloc a negative size (%ld)\n", caller.file,
               caller.line, caller.function, caller.label, size);
  std::exit(-1);
}

[[noreturn]] void refuse_reallocation_size(long size, int index, const Caller& caller) {
  std::fprintf(stderr,
               "%s|%d|%s|%s|WZLB: Trying to realloc a negative or 0 size (%ld) for index %d\n",
               caller.file, caller.line, caller.function, caller.label, size, index);
  std::exit(-1);
}

[[noreturn]] void report_no_memory(long size, const Caller& caller) {
  std::fprintf(stderr, "WZLB: %s|%d|%s| Out of Memory (size = %d): %s \n", caller.file, caller.line,
               caller.function, static_cast<int>(size), caller.label);
  std::exit(-1);
}

[[noreturn]] void report_no_reallocation(long size, int index, int error, const Caller& caller) {
  std::fprintf(stderr,
               "WZLB: ERROR %d|%s|%d|%s| Out of Memory (size = %d): %s for index %d err msg %s\n",
               error, caller.file, caller.line, caller.function, static_cast<int>(size),
               caller.label, index, wzlb_strerror(error));
  std::abort();
}

}  // namespace

void* wz::soft_malloc(long size, const BlockOwner& caller) noexcept {
  AllocatingThread& thread = this_allocating_thread();
  const std::size_t padded = static_cast<std::size_t>(size) + thread.pad_length;
  void* block = thread.spare.take(padded + kGuardRoom);
  if (block == nullptr) {
    block = std::malloc(padded + kGuardRoom);
  }
  if (block == nullptr) {
    return nullptr;
  }
  write_guard(block, padded);
  const std::size_t counted = counted_size(block, padded);
  CALLER_TRACE(WZLB_LEVEL_2, "WZLB_MALLOC'ed (%s) done. ptr = %p, size = %ld, allocated size = %ld",
               caller.label, block, static_cast<long>(padded), static_cast<long>(counted));
  count_allocated(thread.stats, counted);
  ++thread.stats.num_allocations;
  trace_statistics(thread.stats, caller);
  offer_to_map(thread, block, padded, caller);
  return block;
}

void* wz::soft_realloc(void* pointer, long size, const BlockOwner& caller) noexcept {
  AllocatingThread& thread = this_allocating_thread();
  std::size_t old_counted = 0;
  std::size_t old_size = 0;
  if (pointer != nullptr) {
    forget_in_map(thread, pointer);
    old_size = guarded_size(pointer, malloc_usable_size(pointer));
    old_counted = counted_size(pointer, old_size);
  }
  const std::size_t padded = static_cast<std::size_t>(size) + thread.pad_length;
  void* const block = std::realloc(pointer, padded + kGuardRoom);
  if (block == nullptr) {
    if (pointer != nullptr) {
      offer_to_map(thread, pointer, old_size, caller);
    }
    return nullptr;
  }
  thread.stats.num_allocations += pointer == nullptr ? 1 : 0;
  write_guard(block, padded);
  const std::size_t counted = counted_size(block, padded);
  if (counted >= old_counted) {
    count_allocated(thread.stats, counted - old_counted);
  } else {
    count_freed(thread.stats, old_counted - counted);
  }
  offer_to_map(thread, block, padded, caller);
  return block;
}

void* wzlb_tracked_malloc(long size, const char* label, const char* file, int line,
                          const char* function) {
  const Caller caller{label, file, line, function};
  CALLER_TRACE(WZLB_LEVEL_2, "size = %ld", size);
  if (size < 0) {
    refuse_negative_size(size, caller);
  }
  if (size == 0) {
    CALLER_TRACE(WZLB_LEVEL_2, "WZLB: Trying to malloc a 0 size\n");
    return nullptr;
  }
  void* const block = wz::soft_malloc(size, caller);
  if (block == nullptr) {
    report_no_memory(size, caller);
  }
  return block;
}

void* wzlb_tracked_realloc(void* pointer, long size, const char* label, int index, const char* file,
                           int line, const char* function) {
  const Caller caller{label, file, line, function};
  if (size <= 0) {
    refuse_reallocation_size(size, index, caller);
  }
  void* const block = wz::soft_realloc(pointer, size, caller);
  if (block == nullptr) {
    report_no_reallocation(size, index, errno, caller);
  }
  return block;
}

void wzlb_tracked_free(void* pointer, const char* label, int index, const char* file, int line,
                       const char* function) {
  if (pointer == nullptr) {
    return;
  }
  const Caller caller{label, file, line, function};
  AllocatingThread& thread = wz::this_allocating_thread();
  forget_in_map(thread, pointer);
  const std::size_t usable = malloc_usable_size(pointer);
  const std::size_t size = guarded_size(pointer, usable);
  if (size == 0 && thread.spare.holds(pointer, usable)) [[unlikely]] {
    std::fputs("WZLB: a block was given back twice\n", stderr);
    std::abort();  // as free() does
  }
  const std::size_t counted = counted_size(pointer, size);
  count_freed(thread.stats, counted);
  CALLER_TRACE(WZLB_LEVEL_2,
               "WZLB_FREE'ed (%s) Freed. ptr = $%p$ for index %d, allocated_size = %ld", label,
               pointer, index, static_cast<long>(counted));
  give_back(thread, pointer, usable);
}

size_t wzlb_get_mem_chunk_size(char* /*mem*/, size_t size) {
  return size;
}

void wzlb_get_mem_stats(WzlbMemStats* stats) {
  *stats = wz::allocating_thread.stats;
}

void wzlb_reset_periodic_mem_stats(void) {
  wz::allocating_thread.stats.periodic_allocated = 0;
  wz::allocating_thread.stats.periodic_freed = 0;
}

void wzlb_set_mem_pad_length(int pad_length_bytes) {
  wz::allocating_thread.pad_length =
      pad_length_bytes > 0 ? static_cast<std::size_t>(pad_length_bytes) : 0;
}
