// Cuts the text of a service.wz into declarations.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vsd {

// One declaration on one line, as the library's declaration parser takes it.
struct DeclarationText {
  int line = 0;  // on which it starts, counted from 1
  std::string text;
  std::string problem;  // what is wrong with its form; then `text` is of no use
};

// A declaration runs from its first character through the bracket that closes its first one, and on
// to the next `;` or line end. Between its brackets it may continue over lines. A `#`
// between declarations starts a comment, and so does one at the start of a line inside one. Double
// quotes hide everything; a quoted text ends on its line, so that one forgotten quote costs one
// declaration and not the rest of the file.
[[nodiscard]] std::vector<DeclarationText> split_declarations(std::string_view text);

}  // namespace vsd
