#include "daemon/service/name_table.h"

#include <bit>

namespace vsd {

NameTable build_name_table(std::span<const std::string_view> names) {
  // At most half full, so there is always a free slot and runs stay short.
  const std::size_t count = std::bit_ceil(2 * names.size() + 1);
  const std::size_t mask = count - 1;
  std::vector<NameSlot> slots(count);
  std::size_t end = sizeof(NameTableHeader) + count * sizeof(NameSlot);
  NameTable table;
  table.slots = static_cast<long>(count);
  table.bytes.resize(end);
  for (std::size_t code = 0; code < names.size(); ++code) {
    const std::string_view name = names[code];
    const std::uint64_t key = std::uint64_t{name_hash(name)} << 32 | name.size();
    std::size_t i = key >> 32 & mask;
    while (slots[i].code >= 0) {
      i = (i + 1) & mask;
    }
    slots[i] = {.key = key,
                .code = static_cast<std::int32_t>(code),
                .name = static_cast<std::uint32_t>(end)};
    const auto bytes = std::as_bytes(std::span(name));
    table.bytes.insert(table.bytes.end(), bytes.begin(), bytes.end());
    end += name.size();
  }
  const NameTableHeader header;
  std::memcpy(table.bytes.data(), &header, sizeof header);
  std::memcpy(table.bytes.data() + sizeof header, slots.data(), count * sizeof(NameSlot));
  return table;
}

}  // namespace vsd
