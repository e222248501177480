// Texts in tracked blocks, as the values of variables are kept.
#pragma once

#include <wz/wzlb_alloc.h>

#include <memory>

#include "libwzcore/internal/soft_alloc.h"

namespace wz::script {

struct TrackedFree {
  void operator()(char* text) const noexcept { WZLB_FREE(text, "text", -1); }
};
using TrackedText = std::unique_ptr<char, TrackedFree>;

// A copy of `length` bytes with a NUL behind them. Null for a negative length and without memory,
// after a message on standard error that names the owner.
TrackedText copy_text(const char* text, long length, const BlockOwner& owner) noexcept;

}  // namespace wz::script
