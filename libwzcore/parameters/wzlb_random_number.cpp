// Random-number variables: reading a declaration and printing a value.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_random_number.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "libwzcore/parameters/declaration.h"
#include "libwzcore/parameters/integer_format.h"
#include "libwzcore/parameters/random_draw.h"

namespace wz {
namespace {

constexpr const char* kParameter = "Random Number";
constexpr int kUnset = -1;
constexpr long kRoom = 13;  // bytes of a value beyond its format and width

class NumberDeclaration : DeclarationReader {
 public:
  NumberDeclaration(RandomVarTableEntry& row, const DeclarationPlace& place)
      : DeclarationReader(place, kParameter), row_(row) {}

  // Reads all fields; false when reading stopped at an error.
  [[nodiscard]] bool read(WZApi& api, int sess_idx) {
    reset_row(sess_idx);
    variable_ = api.api_fields[0].keyword;
    for (int i = 0; i < api.num_tokens; ++i) {
      WZApiFields& field = api.api_fields[i];
      if (!(i == 0 ? read_name(field.keyword, row_.name, WZ_HERE) : read_field(field))) {
        return false;
      }
    }
    return check_whole();
  }

 private:
  void reset_row(int sess_idx) {
    row_.name = WZ_BIGBUF_UNSET;
    row_.max = kUnset;
    row_.min = 0;
    row_.format = WZ_BIGBUF_UNSET;
    row_.format_len = 0;
    row_.sess_idx = sess_idx;
    row_.refresh = 1;
  }

  bool read_field(WZApiFields& field) {
    if (!require_name(row_.name, WZ_HERE)) {
      return false;
    }
    const std::string_view keyword = field.keyword;
    if (has_keyword(keyword, "format")) {
      return read_integer_format(field.value, variable_, row_.format, row_.format_len, WZ_HERE);
    }
    if (has_keyword(keyword, "min")) {
      return read_digits(field.value, "Minimum", row_.min, WZ_HERE);
    }
    if (has_keyword(keyword, "max")) {
      return read_digits(field.value, "Maximum", row_.max, WZ_HERE);
    }
    return !has_keyword(keyword, "REFRESH") || read_refresh(field.value, row_.refresh, WZ_HERE);
  }

  bool check_whole() {
    if (row_.max == kUnset && !option_missing("Maximum", WZ_HERE)) {
      return false;
    }
    if (row_.format == WZ_BIGBUF_UNSET && !option_missing("Format", WZ_HERE)) {
      return false;
    }
    return row_.max > row_.min ||
           !WZ_DECLARATION_ERROR(place(), kTagBadBounds,
                                 "Minimum option value should be less than Maximum option value in "
                                 "%s parameter.",
                                 kParameter);
  }

  RandomVarTableEntry& row_;
  const char* variable_ = "";
};

long width_of(const char* format) {
  const char* percent = std::strchr(format, '%');
  return percent != nullptr ? std::atoi(percent + 1) : 0;
}

// The declaration has checked the format.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
int print_value(char* text, std::size_t size, const char* format, int value) {
  return converts_long(format) ? std::snprintf(text, size, format, static_cast<long>(value))
                               : std::snprintf(text, size, format, value);
}
#pragma GCC diagnostic pop

}  // namespace
}  // namespace wz

int wzlb_input_randomNum_data(RandomVarTableEntry* randomVarTable, char* line, int line_number,
                              int sess_idx, char* sess_name, char* sess_name_with_proj_subproj,
                              char* script_filename) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. line = %s, line_number = %d, sess_idx = %d, sess_name = %s",
             line != nullptr ? line : "", line_number, sess_idx,
             sess_name_with_proj_subproj != nullptr ? sess_name_with_proj_subproj : "");
  return wz::input_declaration<wz::NumberDeclaration>(
      randomVarTable, line, sess_idx, {script_filename, sess_name, line_number, __func__}, WZ_HERE);
}

char* wzlb_get_random_number(double min, double max, char* format, int format_len, int* total_len,
                             int malloc_or_static) {
  thread_local std::array<char, WZLB_RANDOM_NUMBER_BUFFER> shared;
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. min = %f, max = %f, format = %s, format_len = %d", min, max,
             format != nullptr ? format : "(null)", format_len);
  int length = 0;
  char* text = nullptr;
  if (format != nullptr) {
    long size = format_len + wz::kRoom + wz::width_of(format);
    if (malloc_or_static == 1) {
      text = static_cast<char*>(WZLB_MALLOC(size, "outstr"));
    } else {
      text = shared.data();
      text[0] = '\0';
      size = std::clamp<long>(size, 0, WZLB_RANDOM_NUMBER_BUFFER);
    }
    const auto room = static_cast<std::size_t>(size);
    if (text != nullptr && room > 0) {
      std::memset(text, 0, room);
      const int printed = wz::print_value(text, room, format, wz::draw_between(min, max));
      length = static_cast<int>(std::clamp<long>(printed, 0, size));
    }
  }
  if (total_len != nullptr) {
    *total_len = length;
  }
  return text;
}

int isStringDigits(char* str) {
  constexpr const char* kDigits = "0123456789";
  return str != nullptr && str[std::strspn(str, kDigits)] == '\0' ? 1 : 0;
}
