#include "vsd/string_api/output_buffer.h"

#include <wz/wz_script.h>
#include <wz/wzlb_alloc.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "libwzcore/internal/soft_alloc.h"

namespace wz::script {
namespace {

// How the messages of this buffer name their place.
constexpr const char* kFile = "vsd_string_api";
constexpr const char* kFunction = "increase_string_buf";
constexpr const char* kLabel = "string_buffer";

}  // namespace

constinit OutputBuffer output_buffer;

// The first block comes from the tracked allocation, which ends the process when there is none. A
// failing later growth deliberately does not: the request loses a piece of text, not the service.
bool OutputBuffer::grow(long steps) noexcept {
  const long wanted = capacity_ + steps * kStep;
  // Capacities are ints: one beyond them shows as the negative number it would wrap to.
  const int size = wanted <= INT_MAX ? static_cast<int>(wanted) : INT_MIN;
  if (data_ == nullptr) {
    data_ = static_cast<char*>(wzlb_tracked_malloc(size, kLabel, kFile, __LINE__, kFunction));
    capacity_ = size;
    return true;
  }
  char* grown = nullptr;
  if (size <= 0) {
    std::fprintf(stderr,
                 "%s|%d|%s|%s|WZLB: Trying to realloc a negative or 0 size (%ld) for index %d\n",
                 kFile, __LINE__, kFunction, kLabel, static_cast<long>(size), -1);
  } else {
    grown = static_cast<char*>(soft_realloc(
        data_, size, {.label = kLabel, .file = kFile, .line = __LINE__, .function = kFunction}));
    if (grown == nullptr) {
      const int error = errno;
      std::fprintf(stderr,
                   "WZLB: ERROR %d|%s|%d|%s| Out of Memory (size = %d): %s for index %d err msg "
                   "%s\n",
                   error, kFile, __LINE__, kFunction, size, kLabel, -1, std::strerror(error));
    }
  }
  if (grown == nullptr) {
    std::fputs("Relloc failed\n", stderr);
    // The old block stays: the text that it holds may still be in use.
    capacity_ = 0;
    return false;
  }
  data_ = grown;
  capacity_ = size;
  return true;
}

// Takes all steps behind the first block in one reallocation: the capacity is the one that single
// steps would reach, but a value of a megabyte is not copied a thousand times. The first block is a
// step of its own, so that no value is so large that it ends the process.
bool OutputBuffer::grow_beyond(long needed) noexcept {
  if (data_ == nullptr && !grow(1)) {
    return false;
  }
  return needed < capacity_ || grow((needed - capacity_) / kStep + 1);
}

}  // namespace wz::script

int increase_string_buf(void) {
  return wz::script::output_buffer.grow(1) ? 0 : -1;
}

char* check_string_buf(int total_copied, int copy_length, char* buf_ptr) {
  wz::script::OutputBuffer& buffer = wz::script::output_buffer;
  if (buffer.fits(total_copied, copy_length)) {
    return buf_ptr;
  }
  return buffer.reserve(total_copied, copy_length) ? buffer.data() + total_copied : nullptr;
}
