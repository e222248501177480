// Compiles arbitrary text as a response file. Whatever the text, its pieces must cover it without
// gaps, and expanding them must agree with a naive model that rescans the text for each reference.
#include <wz/vsd_host.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "daemon/service/response_template.h"

namespace {

std::optional<vsd::VariableTarget> resolve(std::string_view name) {
  if (name == "a") {
    return vsd::VariableTarget{SCRATCH_VAR, 0};
  }
  if (name == "arr") {
    return vsd::VariableTarget{SCRATCH_VAR, 1};
  }
  return std::nullopt;
}

// {a} is replaced by its value, everything else stays; `pos` is past the last `{` tried.
std::string model(const std::string& text, std::string_view value) {
  std::string out;
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t close = text[pos] == '{' ? text.find('}', pos) : std::string::npos;
    const std::string inside =
        close == std::string::npos ? "{" : text.substr(pos + 1, close - pos - 1);
    const bool plain = inside.find_first_of(std::string_view("{\0", 2)) == std::string::npos;
    if (plain && inside.substr(0, inside.find_first_of(", \t")) == "a") {
      out.append(value);
      pos = close + 1;
    } else {
      out.push_back(text[pos++]);
    }
  }
  return out;
}

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto pieces = vsd::compile_template(text, resolve);
  std::size_t offset = 0;
  bool only_values = true;
  for (const vsd::TemplatePiece& piece : pieces) {
    require(piece.offset == offset && piece.length > 0);
    offset += piece.length;
    only_values = only_values && (piece.kind == vsd::PieceKind::literal ||
                                  (piece.kind == vsd::PieceKind::value && piece.slot == 0));
  }
  require(offset == text.size());

  std::string value("v\0{a}", 5);
  UserVarEntry table[2] = {};
  table[0].value.value = value.data();
  table[0].length = 5;
  connection current{};
  current.uvtable = table;
  if (only_values) {
    vsd::TemplateEvaluator evaluator;
    std::string out;
    evaluator.append(text, pieces, current, out);
    require(out == model(text, value));
  }
  return 0;
}
