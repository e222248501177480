// How a generated template refers to another list.
#pragma once

namespace wz::faker {

// In a template this byte announces a reference; the next one is the number of the list's section
// plus kReferenceBase.
inline constexpr char kReference = '\x01';
inline constexpr int kReferenceBase = 0x20;

}  // namespace wz::faker
