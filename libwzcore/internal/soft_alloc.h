// Tracked allocation that may fail: null and no message instead of the end of the process. For
// callers who can go on without the block; its owner gives it back with WZLB_FREE.
#pragma once

namespace wz {

// Who asks for a block, in the words of messages and of the memory map.
struct BlockOwner {
  const char* label;
  const char* file;
  int line;
  const char* function;
};

// The owner of a block that this line takes for `block_label`.
#define WZ_BLOCK_OWNER(block_label) \
  (wz::BlockOwner{(block_label), __FILE_NAME__, __LINE__, __func__})

// A new block of `size` bytes, which must be above 0.
void* soft_malloc(long size, const BlockOwner& owner) noexcept;

// `pointer` (or a new block for null) with `size` bytes, above 0. On failure `pointer` stays as it
// is.
void* soft_realloc(void* pointer, long size, const BlockOwner& owner) noexcept;

}  // namespace wz
