// Seed of tracked allocation: plain blocks.
#include <wz/wzlb_alloc.h>

#include <cstdlib>

void* wzlb_tracked_malloc(long size, const char*, const char*, int, const char*) {
  return size > 0 ? std::malloc(static_cast<std::size_t>(size)) : nullptr;
}
void* wzlb_tracked_realloc(void* pointer, long size, const char*, int, const char*, int,
                           const char*) {
  return std::realloc(pointer, static_cast<std::size_t>(size));
}
void wzlb_tracked_free(void* pointer, const char*, int, const char*, int, const char*) {
  std::free(pointer);
}
