// The per-thread register of live blocks. Tracked allocation offers every block to it; until a map
// is initialised in the calling thread an offer records nothing.
#include <wz/wzlb_mem_map.h>

#include "libwzcore/internal/trace.h"

int wzlb_mem_map_add(void* /*address*/, size_t /*size*/, char* /*msg*/, char* /*file*/,
                     int /*line*/, char* /*func*/) {
  WZLB_TRACE(WZLB_LEVEL_4, WZLB_MODULE_MEMORY, "Memory map is not initialized");
  return -1;
}

int wzlb_mem_map_remove(void* /*address*/) {
  WZLB_TRACE(WZLB_LEVEL_4, WZLB_MODULE_MEMORY, "Memory map is not initialized");
  return -1;
}
