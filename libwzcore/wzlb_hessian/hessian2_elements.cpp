#include "libwzcore/wzlb_hessian/hessian2_elements.h"

#include <algorithm>
#include <array>
#include <utility>

#include "libwzcore/wzlb_hessian/hessian2_names.h"

namespace wz::hessian {
namespace {

using Row = std::pair<std::string_view, Element>;

// Sorted by name when it is compiled. "call", "reply" and "map" are taken as well, so that
// documents written for version 1 are understood.
constexpr auto kRows = [] {
  std::array rows{
      Row{name::kNull, Element::kNull},
      Row{name::kBoolean, Element::kBoolean},
      Row{name::kInt, Element::kInt},
      Row{name::kLong, Element::kLong},
      Row{name::kDouble, Element::kDouble},
      Row{name::kDate, Element::kDate},
      Row{name::kString, Element::kString},
      Row{name::kXml, Element::kXml},
      Row{name::kBinary, Element::kBinary},
      Row{name::kRef, Element::kRef},
      Row{name::kMap, Element::kMap},
      Row{name::kTypedMap, Element::kMap},
      Row{name::kVarTypedList, Element::kVarList},
      Row{name::kVarUntypedList, Element::kVarList},
      Row{name::kFixedTypedList, Element::kFixedList},
      Row{name::kFixedUntypedList, Element::kFixedList},
      Row{name::kList, Element::kFixedList},
      Row{name::kDraftList, Element::kFixedList},
      Row{name::kFixedTypedLength, Element::kCount},
      Row{name::kCompactTypedLength, Element::kCount},
      Row{name::kFixedUntypedLength, Element::kCount},
      Row{name::kCompactUntypedLength, Element::kCount},
      Row{name::kDraftListLength, Element::kCount},
      Row{name::kArgumentCount, Element::kCount},
      Row{name::kTypeName, Element::kTypeName},
      Row{name::kType, Element::kTypeName},
      Row{name::kTypeRef, Element::kTypeNumber},
      Row{name::kDraftListType, Element::kTypeNumber},
      Row{name::kLength, Element::kLength},
      Row{name::kClassDefinition, Element::kClassDefinition},
      Row{name::kClassName, Element::kClassName},
      Row{name::kObject, Element::kObject},
      Row{name::kClassRef, Element::kClassNumber},
      Row{name::kRemote, Element::kRemote},
      Row{name::kMethod, Element::kMethod},
      Row{name::kHeader, Element::kHeader},
      Row{name::kPacket, Element::kPacket},
      Row{name::kVersion, Element::kVersion},
      Row{name::kHessianVersion, Element::kHessianVersion},
      Row{name::kCall2, Element::kCall},
      Row{"call", Element::kCall},
      Row{name::kReply2, Element::kReply},
      Row{"reply", Element::kReply},
      Row{name::kFault, Element::kFault},
      Row{name::kEnvelope, Element::kEnvelope},
      Row{name::kCall1, Element::kFrameCall},
      Row{name::kReply1, Element::kFrameReply},
  };
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.first < b.first; });
  return rows;
}();

}  // namespace

Element element_of(std::string_view name) noexcept {
  const auto* row = std::lower_bound(
      kRows.begin(), kRows.end(), name,
      [](const Row& candidate, std::string_view wanted) { return candidate.first < wanted; });
  return row != kRows.end() && row->first == name ? row->second : Element::kUnknown;
}

}  // namespace wz::hessian
