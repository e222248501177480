#include "vsd/string_api/soft_alloc.h"

#include <wz/wzlb_mem_map.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace wz::script {
namespace {

void register_block(void* pointer, long size, const BlockOwner& owner) noexcept {
  wzlb_mem_map_add(pointer, static_cast<size_t>(size), const_cast<char*>(owner.label),
                   const_cast<char*>(owner.file), owner.line, const_cast<char*>(owner.function));
}

}  // namespace

void* soft_malloc(long size, const BlockOwner& owner) noexcept {
  void* pointer = std::malloc(static_cast<std::size_t>(size));
  if (pointer != nullptr) {
    register_block(pointer, size, owner);
  }
  return pointer;
}

void* soft_realloc(void* pointer, long size, const BlockOwner& owner) noexcept {
  wzlb_mem_map_remove(pointer);
  void* moved = std::realloc(pointer, static_cast<std::size_t>(size));
  if (moved != nullptr) {
    register_block(moved, size, owner);
  }
  return moved;
}

TrackedText copy_text(const char* text, long length, const BlockOwner& owner) noexcept {
  if (length < 0) {
    std::fprintf(stderr, "%s|%d|%s|%s|WZLB: Trying to malloc a negative size (%ld)\n", owner.file,
                 owner.line, owner.function, owner.label, length + 1);
    return nullptr;
  }
  TrackedText copy(static_cast<char*>(soft_malloc(length + 1, owner)));
  if (copy == nullptr) {
    std::fprintf(stderr, "WZLB: %s|%d|%s| Out of Memory (size = %d): %s \n", owner.file, owner.line,
                 owner.function, static_cast<int>(length + 1), owner.label);
    return nullptr;
  }
  std::memcpy(copy.get(), text, static_cast<std::size_t>(length));
  copy.get()[length] = '\0';
  return copy;
}

}  // namespace wz::script
