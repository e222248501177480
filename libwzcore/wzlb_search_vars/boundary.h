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

// A left or right boundary: a plain text or a regular expression.
struct Boundary {
  std::string_view text;
  regex_t* regex = nullptr;  // takes the place of `text` when set
  bool ignores_case = false;

  // The first match in `range` at or behind `from`. An expression that matches the empty text
  // matches nothing, or the search would never move on.
  [[nodiscard]] std::optional<BoundaryMatch> find(std::string_view range, std::size_t from) const;
};

}  // namespace wz
