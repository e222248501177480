// Finding bytes within a range of bytes.
#pragma once

#include <string_view>

namespace wz {

// Where `text` first stands in `range`; null when it does not. An empty text stands at the start.
const char* find_bytes(std::string_view range, std::string_view text) noexcept;

}  // namespace wz
