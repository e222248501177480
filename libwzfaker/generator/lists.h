// What the generator collects before it writes tables.
#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace wz::faker::generator {

using Row = std::vector<std::string>;

struct List {
  std::vector<Row> rows;     // all of the same length
  bool is_template = false;  // one of our own, with placeholders
};

// The order is that of enum class Locale.
inline constexpr std::array<const char*, 5> kLocales = {"en", "de", "fr", "es", "it"};

// Lists by locale, then by name.
using Lists = std::array<std::map<std::string, List>, kLocales.size()>;

// Reads the lists that were written for this library, `<locale>.txt` and `common.txt`.
void read_own_lists(const std::filesystem::path& folder, Lists& lists);
// Reads the lists of Debian's packages: `share` is /usr/share, `unpacked` holds what was compressed
// there.
void read_package_lists(const std::filesystem::path& share, const std::filesystem::path& unpacked,
                        Lists& lists);

// The lines of a text file. Throws std::runtime_error when it cannot be read.
std::vector<std::string> read_lines(const std::filesystem::path& file);
std::vector<std::string> split(const std::string& text, char separator);

}  // namespace wz::faker::generator
