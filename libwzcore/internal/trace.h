// Tracing of the core library: tests the masks before it evaluates its arguments, so that a
// disabled trace costs two `and`s.
#pragma once

#include <wz/wzlb_log.h>

namespace wz {

// The exported prototypes take `char *` and never write through it.
inline char* mutable_text(const char* text) noexcept {
  return const_cast<char*>(text);
}

inline bool tracing(int level, unsigned long long module) noexcept {
  return (level & wzlb_log_level) != 0 && (module & lib_module_mask) != 0;
}

}  // namespace wz

// WZLB_TRACE(level, module, format, ...): a debug line of the core library.
#define WZLB_TRACE(level, module, format, ...)                                        \
  do {                                                                                \
    if (wz::tracing((level), (module))) {                                             \
      wzlb_debug_log_ex((level), (module), wz::mutable_text(__FILE_NAME__), __LINE__, \
                        wz::mutable_text(__func__),                                   \
                        const_cast<char*>(format) __VA_OPT__(, ) __VA_ARGS__);        \
    }                                                                                 \
  } while (0)
