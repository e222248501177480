// Response files as compiled templates: a text plus a list of pieces, each a literal run or a
// reference to a variable. Compiling happens once, when services are loaded; a request then only
// walks the pieces.
//
// The innermost braces count: a `{` opens a reference only when the text up to the next `}` holds
// no further `{` and names a variable. Every other brace is literal, so JSON bodies need no
// escapes. Which references are meant is what wz_eval_string accepts: {name}, {name_N},
// {name_count} and {date,FORMAT}; text after a comma, blank or tab is ignored except for dates.
#pragma once

#include <wz/vsd_host.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vsd {

enum class PieceKind : std::uint16_t {
  literal,    // the text itself
  value,      // {name}: a value that lies in the connection's variable table
  element,    // {name_N}: an element of an array variable
  reference,  // anything that the library computes: dates, counts, index and system variables
  steady,     // computed too, but the same for every request of a second: some dates
  session,    // computed, and the same for every request of a client's connection
};

// How long a computed value stays the same.
enum class Steadiness : std::uint8_t { none, second, session };

// A plain record that refers to the template's text by distance, so that it can lie in the shared
// service image.
struct TemplatePiece {
  std::uint32_t offset = 0;  // of the piece in the text; references with their braces
  std::uint32_t length = 0;
  std::uint32_t element = 0;  // PieceKind::element: which one, counted from 1
  std::uint16_t slot = 0;     // PieceKind::value and element: index into the variable table
  PieceKind kind = PieceKind::literal;
};

// What the compiler of templates needs to know of a variable.
struct VariableTarget {
  int var_type = 0;        // enum vsd_var_kind
  std::uint16_t slot = 0;  // index into the connection's variable table
  Steadiness steadiness = Steadiness::none;
};

// Looks up a variable of the service; nothing when there is none of that name.
using NameResolver = std::function<std::optional<VariableTarget>(std::string_view name)>;

// Texts of 4 GiB and more are cut: a piece counts in 32 bits.
std::vector<TemplatePiece> compile_template(std::string_view text, const NameResolver& resolve);

// Writes the current values of a template's variables into its text.
class TemplateEvaluator {
 public:
  // Appends the expansion to `out`. `text` and `pieces` belong together and live as long as the
  // evaluator; `current` is the connection of the request, and the library's current one (cur_cptr)
  // too.
  void append(std::string_view text, std::span<const TemplatePiece> pieces,
              const connection& current, std::string& out);

 private:
  struct SteadyValue {
    std::time_t second = 0;  // in which `text` was computed
    std::string text;
  };

  void append_reference(std::string_view reference, std::string& out);
  void append_session(const TemplatePiece& piece, std::string_view reference, std::string& out);
  void append_steady(const TemplatePiece& piece, std::string_view reference, std::string& out);

  std::string reference_;  // NUL-terminated copy for the library, reused
  std::unordered_map<const TemplatePiece*, SteadyValue> steady_;
};

}  // namespace vsd
