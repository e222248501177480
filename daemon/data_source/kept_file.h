// Replacing a file so that at any moment the former or the new one is there, whole.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vsd {

// Writes aside, waits until it is on the disk and renames. Returns an empty text, or what went
// wrong: the former file is there as it was then.
[[nodiscard]] std::string replace_file(const std::filesystem::path& path, std::string_view content);

}  // namespace vsd
