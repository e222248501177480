// Rows of a query as text: columns joined by commas, rows by line feeds, an SQL NULL as NULL.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace wz::script {

// Nothing is an SQL NULL.
using Field = std::optional<std::string_view>;

inline constexpr std::string_view kNullField = "NULL";

// The text in a buffer of limited size. A column is added with the comma behind it, and the last
// comma of a row gives its place to the NUL, so a text fills its buffer to the last byte. Once a
// column does not fit, nothing is added any more and the text stays as it was, comma included.
class RowText {
 public:
  // `buffer` has at least one byte.
  explicit RowText(std::span<char> buffer) noexcept : buffer_(buffer) { buffer_[0] = '\0'; }

  void add(Field field) noexcept;
  void end_row() noexcept;

 private:
  std::span<char> buffer_;
  std::size_t used_ = 0;
  bool is_behind_row_ = false;  // a line feed is due before the next column
  bool is_full_ = false;
};

}  // namespace wz::script
