// Result buffers of the allocating converters.
#pragma once

#include <wz/wzlb_alloc.h>

#include <cstring>
#include <memory>

namespace wz {

// `size` zeroed bytes of tracked memory, or null for size 0. A negative size ends the process; the
// message names the calling converter.
inline char* tracked_buffer(long size, const char* label, const char* file = __builtin_FILE(),
                            int line = __builtin_LINE(),
                            const char* function = __builtin_FUNCTION()) {
  auto* buffer = static_cast<char*>(wzlb_tracked_malloc(size, label, file, line, function));
  if (buffer != nullptr) {
    std::memset(buffer, 0, static_cast<std::size_t>(size));
  }
  return buffer;
}

struct FreeTracked {
  void operator()(char* buffer) const noexcept {
    WZLB_FREE(buffer, "Freeing intermediate buffer", -1);
  }
};
// An intermediate result of a composite converter.
using TrackedText = std::unique_ptr<char, FreeTracked>;

constexpr std::size_t positive(int length) noexcept {
  return length > 0 ? static_cast<std::size_t>(length) : 0;
}

}  // namespace wz
