// The elements of Hessian 2 documents as an encoder sees them.
#pragma once

#include <string_view>

namespace wz::hessian {

enum class Element {
  kUnknown,  // writes nothing itself; its children are taken as if they stood in its place
  // Values.
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
  kMap,
  kVarList,
  kFixedList,
  kObject,
  kRemote,
  // Parts of values and messages.
  kTypeName,
  kTypeNumber,
  kLength,
  kClassDefinition,
  kClassName,
  kClassNumber,
  kMethod,
  kHeader,
  kPacket,
  kVersion,
  kCount,  // written by counting, so its text is not read
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

Element element_of(std::string_view name) noexcept;

}  // namespace wz::hessian
