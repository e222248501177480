#include "libwzcore/wzlb_hessian/elements.h"

#include <array>
#include <cstddef>

#include "libwzcore/wzlb_hessian/hessian2_names.h"
#include "libwzcore/wzlb_hessian/scan_text.h"

namespace wz::hessian {
namespace {

struct Row {
  std::string_view name;
  Element element;
  bool in_version_1 = false;
};

constexpr std::array kRows{
    Row{name::kNull.text(), Element::kNull, true},
    Row{name::kBoolean.text(), Element::kBoolean, true},
    Row{name::kInt.text(), Element::kInt, true},
    Row{name::kLong.text(), Element::kLong, true},
    Row{name::kDouble.text(), Element::kDouble, true},
    Row{name::kDate.text(), Element::kDate, true},
    Row{name::kString.text(), Element::kString, true},
    Row{name::kXml.text(), Element::kXml},
    Row{name::kBinary.text(), Element::kBinary},
    Row{name::kRef.text(), Element::kRef, true},
    Row{name::kMap.text(), Element::kMap, true},
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
    Row{name::kType.text(), Element::kTypeName, true},
    Row{name::kTypeRef.text(), Element::kTypeNumber},
    Row{name::kDraftListType.text(), Element::kTypeNumber},
    Row{name::kLength.text(), Element::kLength, true},
    Row{name::kClassDefinition.text(), Element::kClassDefinition},
    Row{name::kClassName.text(), Element::kClassName},
    Row{name::kObject.text(), Element::kObject},
    Row{name::kClassRef.text(), Element::kClassNumber},
    Row{name::kRemote.text(), Element::kRemote, true},
    Row{name::kMethod.text(), Element::kMethod, true},
    Row{name::kHeader.text(), Element::kHeader},
    Row{name::kPacket.text(), Element::kPacket},
    Row{name::kVersion.text(), Element::kVersion, true},
    Row{name::kHessianVersion.text(), Element::kHessianVersion},
    Row{name::kCall2.text(), Element::kCall},
    Row{"call", Element::kCall, true},
    Row{name::kReply2.text(), Element::kReply},
    Row{"reply", Element::kReply, true},
    Row{name::kFault.text(), Element::kFault},
    Row{name::kEnvelope.text(), Element::kEnvelope},
    Row{name::kCall1.text(), Element::kFrameCall},
    Row{name::kReply1.text(), Element::kFrameReply},
};

constexpr std::size_t kSlots = 256;
constexpr std::size_t kShortestName = 3;

// Four features tell all names apart; multiplied by the right factor they give slots that differ.
constexpr std::size_t slot_of(std::string_view name, std::uint32_t factor) noexcept {
  const auto byte = [&](std::size_t from_end) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(name[name.size() - from_end]));
  };
  const std::uint32_t key = static_cast<std::uint32_t>(static_cast<unsigned char>(name[0])) << 24 ^
                            static_cast<std::uint32_t>(name.size()) << 16 ^ byte(3) << 8 ^ byte(1);
  return key * factor >> 24;
}

// A factor, and the row in each slot, counted from 1.
struct Slots {
  std::uint32_t factor = 0;
  std::array<std::uint8_t, kSlots> rows{};
};

constexpr Slots kNames = [] {
  for (std::uint32_t factor = 0x9E3779B1;; factor += 2) {
    Slots slots{factor, {}};
    bool clash = false;
    for (std::size_t row = 0; row < kRows.size() && !clash; ++row) {
      std::uint8_t& slot = slots.rows[slot_of(kRows[row].name, factor)];
      clash = slot != 0;
      slot = static_cast<std::uint8_t>(row + 1);
    }
    if (!clash) {
      return slots;
    }
  }
}();

}  // namespace

Element element_of(std::string_view name, int version) noexcept {
  if (name.size() < kShortestName) {
    return Element::kUnknown;
  }
  const std::size_t row = kNames.rows[slot_of(name, kNames.factor)];
  if (row == 0 || !is_same(kRows[row - 1].name, name) ||
      (version == 1 && !kRows[row - 1].in_version_1)) {
    return Element::kUnknown;
  }
  return kRows[row - 1].element;
}

}  // namespace wz::hessian
