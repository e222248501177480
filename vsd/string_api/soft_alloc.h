// Tracked allocation that may fail: null instead of the end of the process, for the few places
// where a request may go on without the block.
#pragma once

#include <wz/wzlb_alloc.h>

#include <memory>
#include <string_view>

namespace wz::script {

// How messages and the memory map name the owner of a block.
struct BlockOwner {
  const char* label;
  const char* file;
  int line;
  const char* function;
};

// The owner of a block that this line takes for `block_label`.
#define WZ_BLOCK_OWNER(block_label) \
  (wz::script::BlockOwner{(block_label), __FILE_NAME__, __LINE__, __func__})

void* soft_malloc(long size, const BlockOwner& owner) noexcept;
void* soft_realloc(void* pointer, long size, const BlockOwner& owner) noexcept;

struct TrackedFree {
  void operator()(char* text) const noexcept { WZLB_FREE(text, "text", -1); }
};
using TrackedText = std::unique_ptr<char, TrackedFree>;

// A NUL-terminated tracked copy of `text`. On failure null, after a message that names the owner.
TrackedText copy_text(const char* text, long length, const BlockOwner& owner) noexcept;

}  // namespace wz::script
