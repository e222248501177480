#include "vsd/string_api/tracked_text.h"

#include <cstdio>
#include <cstring>

namespace wz::script {

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
