// What tracked allocation knows of the calling thread, in one place: finding it costs a call.
#pragma once

#include <wz/wzlb_alloc.h>
#include <wz/wzlb_log.h>

#include "libwzcore/internal/spare_blocks.h"
#include "libwzcore/internal/trace.h"

namespace wz {

struct AllocatingThread {
  // Whether the thread's map takes blocks. False while there is none, and while the map itself
  // allocates: that keeps it from recording its own blocks, and so from calling itself without end.
  bool map_records = false;
  std::size_t pad_length = 0;
  WzlbMemStats stats{};
  SpareBlocks spare;
  bool closes_spare = false;  // at its end
};
[[gnu::visibility("hidden")]] extern constinit thread_local AllocatingThread allocating_thread;

// The calling thread's, looked up once: the compiler, which takes the look-up for free, would
// repeat it at every use.
inline AllocatingThread& this_allocating_thread() noexcept {
  AllocatingThread* thread = &allocating_thread;
  asm("" : "+r"(thread));
  return *thread;
}

// Level of what the map says at every block.
inline constexpr int kMemMapTraceLevel = WZLB_LEVEL_4;

// False when an offer to the map would neither record nor trace.
inline bool mem_map_listens(const AllocatingThread& thread) noexcept {
  return thread.map_records || tracing(kMemMapTraceLevel, WZLB_MODULE_MEMORY);
}

}  // namespace wz
