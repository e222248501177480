#include "vsd/string_api/database/literal.h"

#include <wz/wz_database.h>

#include <cstring>
#include <string>
#include <string_view>

#include "vsd/string_api/context.h"

namespace wz::script {
namespace {

std::string quoted(std::string_view text) {
  std::string literal = "'";
  for (const char byte : text) {
    literal.append(byte == '\'' ? 2 : 1, byte);
  }
  return literal += '\'';
}

}  // namespace

int deliver_literal(const char* literal, char* out, int size) noexcept {
  if (out == nullptr || size <= 0) {
    return -1;
  }
  *out = '\0';
  if (literal == nullptr) {
    return -1;
  }
  const std::size_t length = std::strlen(literal);
  if (length >= static_cast<std::size_t>(size)) {
    return -1;
  }
  std::memcpy(out, literal, length + 1);
  return to_int(length);
}

}  // namespace wz::script

int wz_odbc_db_escape_literal(const char* text, char* literal, int size) {
  using namespace wz::script;
  return deliver_literal(text != nullptr ? quoted(text).c_str() : nullptr, literal, size);
}
