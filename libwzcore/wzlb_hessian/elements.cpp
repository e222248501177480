#include "libwzcore/wzlb_hessian/elements.h"

#include <emmintrin.h>

#include <array>
#include <bit>
#include <cstddef>

#include "libwzcore/wzlb_hessian/hessian2_names.h"
#include "libwzcore/wzlb_hessian/scan_text.h"

namespace wz::hessian {
namespace {

struct Row {
  std::string_view name;  // its text has kShortName bytes, whatever its length
  Element element;
  bool in_version_1 = false;

  [[nodiscard]] Element in(int version) const noexcept {
    return version != 1 || in_version_1 ? element : Element::kUnknown;
  }
};

constexpr ElementName kCall{"call"};
constexpr ElementName kReply{"reply"};

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
    Row{kCall.text(), Element::kCall, true},
    Row{name::kReply2.text(), Element::kReply},
    Row{kReply.text(), Element::kReply, true},
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

// The only row that can have this name; null when none can.
const Row* likely_row(std::string_view name) noexcept {
  if (name.size() < kShortestName) {
    return nullptr;
  }
  const std::size_t row = kNames.rows[slot_of(name, kNames.factor)];
  return row != 0 ? &kRows[row - 1] : nullptr;
}

}  // namespace

Element element_of(std::string_view name, int version) noexcept {
  const Row* const row = likely_row(name);
  return row != nullptr && is_same(row->name, name) ? row->in(version) : Element::kUnknown;
}

Element element_of_short(std::string_view name, int version) noexcept {
  const Row* const row = likely_row(name);
  if (row == nullptr || row->name.size() != name.size()) {
    return Element::kUnknown;
  }
  const auto load = [](const char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  };
  const __m128i equal = _mm_cmpeq_epi8(load(name.data()), load(row->name.data()));
  const auto same = static_cast<unsigned>(_mm_movemask_epi8(equal));
  return static_cast<std::size_t>(std::countr_one(same)) >= name.size() ? row->in(version)
                                                                        : Element::kUnknown;
}

}  // namespace wz::hessian
