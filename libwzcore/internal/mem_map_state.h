// Whether the calling thread records its blocks, for tracked allocation, which asks at each block.
#pragma once

#include <wz/wzlb_log.h>

#include "libwzcore/internal/trace.h"

namespace wz {

// Entries of the thread's map; 0 while there is none, and while the map itself allocates: that
// keeps it from recording its own blocks, and so from calling itself without end.
[[gnu::visibility("hidden")]] extern constinit thread_local int mem_map_entry_max;

// Level of what the map says at every block.
inline constexpr int kMemMapTraceLevel = WZLB_LEVEL_4;

// False when an offer to the map would neither record nor trace.
inline bool mem_map_listens() noexcept {
  return mem_map_entry_max != 0 || tracing(kMemMapTraceLevel, WZLB_MODULE_MEMORY);
}

}  // namespace wz
