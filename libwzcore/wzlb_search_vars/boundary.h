// Finding boundaries within a range of bytes.
#pragma once

#include <regex.h>

#include <optional>
#include <string_view>

namespace wz {

// Where a boundary stands in a text.
struct BoundaryMatch {
  std::size_t begin;
  std::size_t end;
};

// How a plain boundary is compared with the text.
enum class Matching { kText, kBytes, kIgnoringCase };

// A left or right boundary: a plain text or a regular expression.
struct Boundary {
  std::string_view text;
  regex_t* regex = nullptr;  // takes the place of `text` when set
  Matching matching = Matching::kText;

  // The first match in `range` at or behind `from`. Expressions may match the empty text, an empty
  // plain text never matches.
  [[nodiscard]] std::optional<BoundaryMatch> find(std::string_view range, std::size_t from) const;
};

}  // namespace wz
