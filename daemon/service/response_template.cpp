#include "daemon/service/response_template.h"

#include <strings.h>
#include <wz/wz_script.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <utility>

#include "daemon/service/connection_state.h"

namespace vsd {
namespace {

// Kinds whose value lies in the connection's variable table, as a bit per kind. The others are
// computed at each use, as are those that the daemon makes up.
constexpr std::uint32_t kinds(std::initializer_list<int> list) {
  std::uint32_t bits = 0;
  for (const int kind : list) {
    bits |= 1U << kind;
  }
  return bits;
}
constexpr std::uint32_t kStoredKinds = kinds({2, 3, 5, 8, 12, 14, 15, 16, 17, 20, 21, 23, 24, 25});
constexpr std::uint32_t kIndexableKinds = kinds({2, 3, 5, 15, 16, 17, 20, 23, 24, 25});

constexpr bool has_kind(std::uint32_t set, int kind) {
  return kind >= 0 && kind < 32 && (set >> kind & 1U) != 0;
}

// The library's name buffer holds this many characters and a NUL.
constexpr std::size_t kMaxNameLength = 1023;

bool is_count(std::string_view suffix) {
  constexpr std::string_view count = "count";
  return suffix.size() == count.size() &&
         strncasecmp(suffix.data(), count.data(), count.size()) == 0;
}

// A date reference may bring a format of its own.
bool asks_for_milliseconds(std::string_view reference) {
  return reference.find("%MS") != std::string_view::npos ||
         reference.find("%ms") != std::string_view::npos;
}

PieceKind computed_kind(Steadiness steadiness, std::string_view reference) {
  switch (steadiness) {
    case Steadiness::session:
      return PieceKind::session;
    case Steadiness::second:
      return asks_for_milliseconds(reference) ? PieceKind::reference : PieceKind::steady;
    case Steadiness::none:
      break;
  }
  return PieceKind::reference;
}

// The piece that {base_suffix} stands for; offset and length are the caller's.
std::optional<TemplatePiece> compile_indexed(std::string_view name, const NameResolver& resolve) {
  const std::size_t underscore = name.rfind('_');
  if (underscore == std::string_view::npos || underscore + 1 == name.size()) {
    return std::nullopt;
  }
  const std::string_view suffix = name.substr(underscore + 1);
  const bool count = is_count(suffix);
  if (!count && suffix.find_first_not_of("0123456789") != std::string_view::npos) {
    return std::nullopt;
  }
  const auto target = resolve(name.substr(0, underscore));
  if (!target || !has_kind(kIndexableKinds, target->var_type)) {
    return std::nullopt;
  }
  TemplatePiece piece;
  piece.kind = PieceKind::reference;
  piece.slot = target->slot;
  if (!count) {
    const auto parsed =
        std::from_chars(suffix.data(), suffix.data() + suffix.size(), piece.element);
    const bool usable = parsed.ec == std::errc{} && piece.element > 0 &&
                        piece.element <= std::numeric_limits<std::int32_t>::max();
    if (!usable) {
      return std::nullopt;  // there is no such element: the reference stays as written
    }
    piece.kind = PieceKind::element;
  }
  return piece;
}

// `reference` runs from `{` through `}` and holds no other brace.
std::optional<TemplatePiece> compile_reference(std::string_view reference,
                                               const NameResolver& resolve) {
  const std::string_view inside = reference.substr(1, reference.size() - 2);
  const std::string_view name = inside.substr(0, inside.find_first_of(", \t"));
  if (name.empty() || name.size() > kMaxNameLength || inside.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  if (const auto target = resolve(name)) {
    TemplatePiece piece;
    if (has_kind(kStoredKinds, target->var_type)) {
      piece.kind = PieceKind::value;
    } else {
      piece.kind = computed_kind(target->steadiness, reference);
    }
    piece.slot = target->slot;
    return piece;
  }
  return compile_indexed(name, resolve);
}

void append_literal(std::vector<TemplatePiece>& pieces, std::size_t begin, std::size_t end) {
  if (begin < end) {
    TemplatePiece& piece = pieces.emplace_back();
    piece.offset = static_cast<std::uint32_t>(begin);
    piece.length = static_cast<std::uint32_t>(end - begin);
  }
}

void append_bytes(const char* value, std::size_t length, std::string& out) {
  if (value != nullptr) {
    out.append(value, length);
  }
}

// An array variable named without an element stands for its first one.
void append_value(const UserVarEntry& entry, std::string& out) {
  if ((entry.flags & WZ_USER_VAR_IS_ARRAY) == 0) {
    append_bytes(entry.value.value, entry.length, out);
  } else if (entry.value.array != nullptr && entry.length > 0) {
    append_bytes(entry.value.array[0].value, entry.value.array[0].length, out);
  }
}

}  // namespace

std::vector<TemplatePiece> compile_template(std::string_view text, const NameResolver& resolve) {
  text = text.substr(0, std::numeric_limits<std::uint32_t>::max());
  std::vector<TemplatePiece> pieces;
  std::size_t literal = 0;
  std::size_t open = text.find('{');
  while (open != std::string_view::npos) {
    const std::size_t next = text.find_first_of("{}", open + 1);
    if (next == std::string_view::npos) {
      break;
    }
    if (text[next] == '{') {
      open = next;
      continue;
    }
    const std::string_view reference = text.substr(open, next + 1 - open);
    if (auto piece = compile_reference(reference, resolve)) {
      append_literal(pieces, literal, open);
      piece->offset = static_cast<std::uint32_t>(open);
      piece->length = static_cast<std::uint32_t>(reference.size());
      pieces.push_back(*piece);
      literal = next + 1;
    }
    open = text.find('{', next + 1);
  }
  append_literal(pieces, literal, text.size());
  return pieces;
}

void TemplateEvaluator::append(std::string_view text, std::span<const TemplatePiece> pieces,
                               const connection& current, std::string& out) {
  for (const TemplatePiece& piece : pieces) {
    const std::string_view source = text.substr(piece.offset, piece.length);
    switch (piece.kind) {
      case PieceKind::literal:
        out.append(source);
        break;
      case PieceKind::value:
        append_value(current.uvtable[piece.slot], out);
        break;
      case PieceKind::element: {
        const UserVarEntry& entry = current.uvtable[piece.slot];
        if ((entry.flags & WZ_USER_VAR_IS_ARRAY) != 0 && piece.element <= entry.length) {
          const ArrayValEntry& element = entry.value.array[piece.element - 1];
          append_bytes(element.value, element.length, out);
        } else {
          append_reference(source, out);
        }
        break;
      }
      case PieceKind::reference:
        append_reference(source, out);
        break;
      case PieceKind::session:
        append_session(piece, source, out);
        break;
      case PieceKind::steady:
        append_steady(piece, source, out);
        break;
    }
  }
}

// The library reports what it cannot resolve and leaves it as written.
void TemplateEvaluator::append_reference(std::string_view reference, std::string& out) {
  reference_.assign(reference);
  if (const char* value = wz_eval_string(reference_.data())) {
    out.append(value);
  }
}

void TemplateEvaluator::append_session(const TemplatePiece& piece, std::string_view reference,
                                       std::string& out) {
  ConnectionState* state = ConnectionState::current();
  if (state == nullptr) {
    append_reference(reference, out);
    return;
  }
  const auto [found, is_new] = state->session().texts.try_emplace(&piece);
  if (is_new) {
    std::string text;
    append_reference(reference, text);  // may add to the session too
    state->session().texts[&piece] = std::move(text);
  }
  out.append(state->session().texts[&piece]);
}

// Formatting a date costs as much as all the rest of a template.
void TemplateEvaluator::append_steady(const TemplatePiece& piece, std::string_view reference,
                                      std::string& out) {
  SteadyValue& value = steady_[&piece];
  if (const std::time_t now = std::time(nullptr); value.second != now) {
    value.second = now;
    value.text.clear();
    append_reference(reference, value.text);
  }
  out.append(value.text);
}

}  // namespace vsd
