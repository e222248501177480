// What the parameter types share: storing texts in the host's buffers and reporting what is wrong
// with a declaration.
#pragma once

#include <wz/wzlb_parse_api.h>

#include <cstdio>
#include <string_view>

#include "libwzcore/internal/trace.h"

namespace wz {

// The value of g_wzlb_module in which an error is reported under its tag and reading goes on; in
// every other mode it is reported with the script's place and ends the declaration.
inline constexpr int kModeTagged = 1;

// Where the declaration stands that is being read. The texts are the caller's.
struct DeclarationPlace {
  char* script_filename;
  char* sess_name;
  int line_number;
  const char* function;  // the exported one that reads it
};

// Where in this library the error was found.
struct SourcePlace {
  const char* file;
  int line;
};

// Stores a text in the host's buffer; WZ_BIGBUF_UNSET when there is no host or it has no room.
inline wz_bigbuf_t store_text(char* text, int length) {
  return wzlb_copy_to_bigbuf_cb != nullptr ? wzlb_copy_to_bigbuf_cb(text, length) : WZ_BIGBUF_UNSET;
}

// Declaration messages are literals at the places that report them; here only their arguments pass
// through, to a callback that takes a format too.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

// Reports one error. Returns whether reading the declaration must stop with -1: in mode 1 it goes
// on, because the host's callback is expected to end the process if it cares.
template <typename... Arguments>
[[nodiscard]] bool report_declaration_error(const DeclarationPlace& place,
                                            const SourcePlace& source, const char* tag,
                                            const char* format, Arguments... arguments) {
  if (g_wzlb_module != kModeTagged) {
    if (wzlb_log_script_parse_error_cb != nullptr) {
      wzlb_log_script_parse_error_cb(1, place.script_filename, place.sess_name, place.line_number,
                                     mutable_text("-"), 0, mutable_text(format), arguments...);
    }
    return true;
  }
  if (wzlb_log_script_parse_error_cb != nullptr) {
    wzlb_log_script_parse_error_cb(1, mutable_text(tag), mutable_text(source.file), source.line,
                                   mutable_text(place.function), 0, mutable_text(format),
                                   arguments...);
  } else {
    std::fprintf(stderr, format, arguments...);
  }
  return false;
}

#pragma GCC diagnostic pop

// True when `keyword` begins with `name`, compared without regard to case: only the first
// characters of a keyword are looked at, deliberately, so that FormatX counts as format.
[[nodiscard]] bool has_keyword(std::string_view keyword, std::string_view name);

}  // namespace wz

// The place of this line.
#define WZ_HERE (wz::SourcePlace{__FILE_NAME__, __LINE__})

// WZ_DECLARATION_ERROR(place, tag, format, ...): see report_declaration_error.
#define WZ_DECLARATION_ERROR(place, tag, format, ...) \
  wz::report_declaration_error((place), WZ_HERE, (tag), (format)__VA_OPT__(, ) __VA_ARGS__)
