// The lists that fake data is made from: tables of texts, generated at build time into one block of
// text each, so that loading the library relocates next to nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "libwzfaker/sections.h"  // generated: enum class Section, one enumerator per list

namespace wz::faker {

enum class Locale : std::uint8_t { en, de, fr, es, it };
inline constexpr std::size_t kLocaleCount = 5;

struct Table {
  const char* text = nullptr;              // all cells, row by row, a NUL behind each
  const std::uint32_t* offsets = nullptr;  // where each starts, and where the text ends
  std::uint32_t rows = 0;                  // at least 1
  std::uint32_t columns = 0;
  bool is_template = false;  // cells hold placeholders, see append_from()

  [[nodiscard]] std::string_view cell(std::size_t row, std::size_t column) const {
    const std::size_t index = row * columns + column;
    return {text + offsets[index], offsets[index + 1] - offsets[index] - 1};
  }
};

// The list of a section in a locale; English where the locale has none of its own.
[[nodiscard]] const Table& table_of(Section section, Locale locale);

}  // namespace wz::faker
