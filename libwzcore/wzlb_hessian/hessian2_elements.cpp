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
      Row{name::kNull.text(), Element::kNull},
      Row{name::kBoolean.text(), Element::kBoolean},
      Row{name::kInt.text(), Element::kInt},
      Row{name::kLong.text(), Element::kLong},
      Row{name::kDouble.text(), Element::kDouble},
      Row{name::kDate.text(), Element::kDate},
      Row{name::kString.text(), Element::kString},
      Row{name::kXml.text(), Element::kXml},
      Row{name::kBinary.text(), Element::kBinary},
      Row{name::kRef.text(), Element::kRef},
      Row{name::kMap.text(), Element::kMap},
      Row{name::kTypedMap.text(), Element::kMap},
      Row{name::kVarTypedList.text(), Element::kVarList},
      Row{name::kVarUntypedList.text(), Element::kVarList},
      Row{name::kFixedTypedList.text(), Element::kFixedList},
      Row{name::kFixedUntypedList.text(), Element::kFixedList},
      Row{name::kList.text(), Element::kFixedList},
      Row{name::kDraftList.text(), Element::kFixedList},
      Row{name::kFixedTypedLength.text(), Element::kCount},
      Row{name::kCompactTypedLength.text(), Element::kCount},
      Row{name::kFixedUntypedLength.text(), Element::kCount},
      Row{name::kCompactUntypedLength.text(), Element::kCount},
      Row{name::kDraftListLength.text(), Element::kCount},
      Row{name::kArgumentCount.text(), Element::kCount},
      Row{name::kTypeName.text(), Element::kTypeName},
      Row{name::kType.text(), Element::kTypeName},
      Row{name::kTypeRef.text(), Element::kTypeNumber},
      Row{name::kDraftListType.text(), Element::kTypeNumber},
      Row{name::kLength.text(), Element::kLength},
      Row{name::kClassDefinition.text(), Element::kClassDefinition},
      Row{name::kClassName.text(), Element::kClassName},
      Row{name::kObject.text(), Element::kObject},
      Row{name::kClassRef.text(), Element::kClassNumber},
      Row{name::kRemote.text(), Element::kRemote},
      Row{name::kMethod.text(), Element::kMethod},
      Row{name::kHeader.text(), Element::kHeader},
      Row{name::kPacket.text(), Element::kPacket},
      Row{name::kVersion.text(), Element::kVersion},
      Row{name::kHessianVersion.text(), Element::kHessianVersion},
      Row{name::kCall2.text(), Element::kCall},
      Row{"call", Element::kCall},
      Row{name::kReply2.text(), Element::kReply},
      Row{"reply", Element::kReply},
      Row{name::kFault.text(), Element::kFault},
      Row{name::kEnvelope.text(), Element::kEnvelope},
      Row{name::kCall1.text(), Element::kFrameCall},
      Row{name::kReply1.text(), Element::kFrameReply},
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
