// The elements of documents as the encoders see them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace wz::hessian {

enum class Element : std::uint8_t {
  kUnknown,  // writes nothing itself; its children are taken as if they stood in its place
  kBreak,    // no element: text or a comment between elements, where version 1 looks at these
  // Values without parts.
  kNull,
  kBoolean,
  kInt,
  kLong,
  kDouble,
  kDate,
  kString,
  kXml,
  kBinary,
  kRef,
  // Values with parts.
  kMap,
  kVarList,
  kFixedList,
  kObject,
  kRemote,
  // Parts of values and messages.
  kTypeName,
  kTypeNumber,
  kLength,
  kClassName,
  kClassNumber,
  kMethod,
  kPacket,
  kVersion,
  kCount,  // written by counting, so its text is not read
  kClassDefinition,
  kHeader,
  // Messages.
  kHessianVersion,
  kCall,
  kReply,
  kFault,
  kEnvelope,
  kFrameCall,
  kFrameReply,
};

constexpr bool is_value(Element element) noexcept {
  return element >= Element::kNull && element <= Element::kRemote;
}

// Whether nothing but text stands in such an element.
constexpr bool is_leaf(Element element) noexcept {
  return (element >= Element::kNull && element <= Element::kRef) ||
         (element >= Element::kTypeName && element <= Element::kCount);
}

// That of a name in documents of `version`.
Element element_of(std::string_view name, int version) noexcept;
// The same for a name of at most kShortName bytes in a text where so many can be read.
Element element_of_short(std::string_view name, int version) noexcept;
constexpr std::size_t kShortName = 16;

}  // namespace wz::hessian
