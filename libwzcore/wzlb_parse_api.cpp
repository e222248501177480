// The parser of declaration lines: `Api(name, keyword=value, ...);` into a flat record.
//
// One pass over a private copy of the line; it allocates nothing. Keys and values are collected in
// a buffer as long as the longest line, so lengths are checked after collecting and no input can
// overflow.
#include <wz/wzlb_parse_api.h>

#include <cstdio>
#include <cstring>

#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

constexpr bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

char* skip_blanks(char* text) {
  while (is_blank(*text)) {
    ++text;
  }
  return text;
}

// Cuts trailing blanks off the `length` bytes at `text`; returns the new length.
std::size_t cut_trailing_blanks(char* text, std::size_t length) {
  while (length > 0 && is_blank(text[length - 1])) {
    --length;
  }
  text[length] = '\0';
  return length;
}

// What a backslash and `c` stand for in an escaped value; NUL when they stand for themselves.
constexpr char unescaped(char c) {
  switch (c) {
    case '"':
    case '\\':
      return c;
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case 'v':
      return '\v';
    default:
      return '\0';
  }
}

// Rewrites the escapes of `text` in place; returns the new length.
std::size_t resolve_escapes(char* text, std::size_t length) {
  const void* first = std::memchr(text, '\\', length);
  if (first == nullptr) {
    return length;
  }
  std::size_t out = static_cast<std::size_t>(static_cast<const char*>(first) - text);
  for (std::size_t in = out; in < length; ++in) {
    const char meant = text[in] == '\\' && in + 1 < length ? unescaped(text[in + 1]) : '\0';
    in += meant != '\0' ? 1 : 0;
    text[out++] = meant != '\0' ? meant : text[in];
  }
  text[out] = '\0';
  return out;
}

class DeclarationParser {
 public:
  DeclarationParser(WZApi& api, const char* line, const char* file_name, int line_number,
                    char* message)
      : api_(api),
        line_(line),
        file_name_(file_name),
        line_number_(line_number),
        message_(message) {}

  [[nodiscard]] bool parse(bool trims, bool escapes);

 private:
  [[nodiscard]] bool parse_name();
  [[nodiscard]] bool cut_at_closing_bracket();
  [[nodiscard]] bool parse_fields();
  [[nodiscard]] bool parse_key(bool& has_value);
  [[nodiscard]] bool parse_value();
  [[nodiscard]] bool collect_value();
  [[nodiscard]] bool end_quoted_value();
  [[nodiscard]] bool closes_quote(const char* quote, const char* value_start) const;

  template <typename... Arguments>
  bool fail(const char* continuation, Arguments... arguments) const;

  WZApi& api_;
  const char* line_;
  const char* file_name_;
  int line_number_;
  char* message_;
  bool trims_ = false;
  bool escapes_ = false;

  char work_[WZ_API_MAX_LINE + 1];
  char text_[WZ_API_MAX_LINE + 1];
  std::size_t length_ = 0;  // bytes collected in text_
  char* at_ = work_;
  bool was_quoted_ = false;  // quotes around the value keep its blanks
  bool in_quote_ = false;    // and were left open
};

// The formats of the continuations are literals of this file.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <typename... Arguments>
bool DeclarationParser::fail(const char* continuation, Arguments... arguments) const {
  int length = std::sprintf(
      message_,
      "Error: parameter declaration in file '%s' at line '%d' is not in correct format - ",
      file_name_, line_number_);
  length += std::sprintf(message_ + length, continuation, arguments...);
  std::sprintf(message_ + length, "\nLine = [%s]", line_);
  return false;
}
#pragma GCC diagnostic pop

bool DeclarationParser::parse(bool trims, bool escapes) {
  trims_ = trims;
  escapes_ = escapes;
  const std::size_t length = std::strlen(line_);
  if (length > WZ_API_MAX_LINE) {
    return fail("API line length (%d) is greater than max length (%d).", static_cast<int>(length),
                WZ_API_MAX_LINE);
  }
  std::memcpy(work_, line_, length + 1);
  at_ = skip_blanks(work_);
  cut_trailing_blanks(at_, length - static_cast<std::size_t>(at_ - work_));
  return parse_name() && cut_at_closing_bracket() && parse_fields();
}

bool DeclarationParser::parse_name() {
  char* bracket = std::strchr(at_, '(');
  if (bracket == nullptr) {
    return fail("Start bracket is missing.");
  }
  // The length counts the blanks before the bracket too.
  const auto length = static_cast<std::size_t>(bracket - at_);
  if (length > WZ_API_MAX_NAME) {
    return fail("API name length (%d) is greater than max length (%d).", static_cast<int>(length),
                WZ_API_MAX_NAME);
  }
  *bracket = '\0';
  std::memcpy(api_.api_name, at_, cut_trailing_blanks(at_, length) + 1);
  at_ = bracket + 1;
  return true;
}

bool DeclarationParser::cut_at_closing_bracket() {
  char* bracket = std::strrchr(at_, ')');
  if (bracket == nullptr) {
    return fail("End bracket is missing.");
  }
  *bracket = '\0';
  const char* rest = skip_blanks(bracket + 1);
  if (*rest != '\0' && std::strcmp(rest, ";") != 0) {
    return fail(
        "unexpected characters (%s) after closing bracket. After end bracket only space, tabs and "
        "semicolon are allowed.",
        rest);
  }
  return true;
}

bool DeclarationParser::parse_fields() {
  while (true) {
    bool has_value = false;
    if (!parse_key(has_value) || (has_value && !parse_value())) {
      return false;
    }
    ++api_.num_tokens;  // one byte: counts modulo 256, deliberately
    if (*at_ == '\0') {
      return true;
    }
    ++at_;  // the comma
  }
}

// A field without `=` is a bare word: its whole text is the key.
bool DeclarationParser::parse_key(bool& has_value) {
  const std::size_t size = std::strcspn(at_, ",=");
  has_value = at_[size] == '=';
  if (has_value && size == 0) {
    return fail("argument name is missing before '=' in field '%d'.", api_.num_tokens + 1);
  }
  std::memcpy(text_, at_, size);
  at_ += size;
  text_[size] = '\0';
  const char* key = skip_blanks(text_);
  length_ = cut_trailing_blanks(text_, size);
  const std::size_t leading = static_cast<std::size_t>(key - text_);
  const std::size_t length = length_ > leading ? length_ - leading : 0;
  if (length > WZ_API_MAX_KEYWORD) {
    return fail("argument name length (%d) is greater than max length (%d).",
                static_cast<int>(length), WZ_API_MAX_KEYWORD);
  }
  // More than 256 fields overwrite the first ones, value included.
  WZApiFields& field = api_.api_fields[api_.num_tokens];
  std::memcpy(field.keyword, key, length);
  field.keyword[length] = '\0';
  field.value[0] = '\0';
  return true;
}

bool DeclarationParser::parse_value() {
  if (!collect_value()) {
    return false;
  }
  text_[length_] = '\0';
  if (escapes_) {
    length_ = resolve_escapes(text_, length_);
  }
  if (in_quote_) {
    return fail("starting and ending double quote is mismached in argument value '%s'.", text_);
  }
  if (length_ > WZ_API_MAX_VALUE) {
    return fail("argument value length (%d) is greater than max length (%d).",
                static_cast<int>(length_), WZ_API_MAX_VALUE);
  }
  const char* value = text_;
  if (trims_ && !was_quoted_) {
    value = skip_blanks(text_);
    length_ = cut_trailing_blanks(text_, length_);
  }
  const auto skipped = static_cast<std::size_t>(value - text_);
  const std::size_t length = length_ > skipped ? length_ - skipped : 0;
  char* out = api_.api_fields[api_.num_tokens].value;
  std::memcpy(out, value, length);
  out[length] = '\0';
  return true;
}

// Inside quotes with escapes on, a quote closes unless an odd run of backslashes stands before it.
bool DeclarationParser::closes_quote(const char* quote, const char* value_start) const {
  if (!escapes_) {
    return quote[-1] != '\\';
  }
  const char* run = quote;
  while (run > value_start && run[-1] == '\\') {
    --run;
  }
  return (quote - run) % 2 == 0;
}

// Collects the value behind the `=` into text_; stops at the comma or the end. Works on locals,
// because the compiler must take every store of a character for a possible store to a member.
bool DeclarationParser::collect_value() {
  char* out = text_;
  was_quoted_ = false;
  in_quote_ = false;
  bool quoted = false;
  const char* const start = ++at_;
  char* at = at_;
  for (; *at != '\0' && (quoted || *at != ','); ++at) {
    if (*at == '"' && !quoted && at[-1] != '\\') {
      quoted = true;
      out = text_;
      continue;
    }
    if (*at == '"' && quoted && closes_quote(at, start)) {
      at_ = at;
      length_ = static_cast<std::size_t>(out - text_);
      was_quoted_ = true;
      return end_quoted_value();
    }
    if (*at == '\\' && !escapes_ && (at[1] == '"' || at[1] == '\\')) {
      ++at;
    }
    *out++ = *at;
  }
  at_ = at;
  length_ = static_cast<std::size_t>(out - text_);
  in_quote_ = quoted;
  return true;
}

bool DeclarationParser::end_quoted_value() {
  at_ = skip_blanks(at_ + 1);
  if (*at_ != '\0' && *at_ != ',') {
    return fail(
        "unexpected character after closing double quote in field '%d'. After closing double quote "
        "only spaces, tabs, ',', and ')' are allowed and after equal sign only one pair of double "
        "quote is allowed. For Ex: key=\"val1\" \"val2\" is not allowed.",
        api_.num_tokens + 1);
  }
  return true;
}

}  // namespace
}  // namespace wz

int parse_api_ex(WZApi* api_attr, char* api_line, char* file_name, char* err_msg, int line_number,
                 int trim_spaces, int escape_chars) {
  if (api_attr == nullptr || api_line == nullptr || err_msg == nullptr) {
    return -1;
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. api_line = %s, file_name = %s, line_number = %d", api_line,
             file_name != nullptr ? file_name : "", line_number);
  std::memset(api_attr, 0, sizeof *api_attr);
  const char* file = file_name != nullptr ? file_name : "";
  wz::DeclarationParser parser(*api_attr, api_line, file, line_number, err_msg);
  return parser.parse(trim_spaces != 0, escape_chars != 0) ? 0 : -1;
}
