// Unique numbers: reading a declaration and making a value.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_unique_number.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "libwzcore/parameters/declaration.h"
#include "libwzcore/parameters/integer_format.h"

namespace wz {
namespace {

constexpr const char* kParameter = "Unique Number";
constexpr const char* kTagNoZero = "ZelErr[1012045]: ";
constexpr const char* kTagLongWidth = "ZelErr[1012047]: ";
constexpr const char* kTagWideWidth = "ZelErr[1012048]: ";
constexpr int kLeastDigits = 8;
constexpr int kMostDigits = 32;
constexpr std::size_t kLongestWidth = 3;  // characters

class UniqueDeclaration : DeclarationReader {
 public:
  UniqueDeclaration(UniqueVarTableEntry& row, const DeclarationPlace& place)
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
    return row_.format != WZ_BIGBUF_UNSET || option_missing("Format", WZ_HERE);
  }

 private:
  void reset_row(int sess_idx) {
    row_.name = WZ_BIGBUF_UNSET;
    row_.format = WZ_BIGBUF_UNSET;
    row_.refresh = 1;
    row_.sess_idx = sess_idx;
    row_.num_digits = kLeastDigits;
  }

  bool read_field(WZApiFields& field) {
    if (!require_name(row_.name, WZ_HERE)) {
      return false;
    }
    const std::string_view keyword = field.keyword;
    if (has_keyword(keyword, "format")) {
      return read_format(field.value);
    }
    return !has_keyword(keyword, "REFRESH") || read_refresh(field.value, row_.refresh, WZ_HERE);
  }

  bool read_format(const char* value) {
    int length = 0;
    if (!read_integer_format(value, variable_, row_.format, length, WZ_HERE)) {
      return false;
    }
    return length == 0 || read_width(value);  // 0: there is no good format to look at
  }

  // In mode 1 a width may be wrong in more than one way; all of it is told.
  bool read_width(std::string_view format) {
    const std::string width(conversion_width(format));
    if (!width.starts_with('0') &&
        WZ_DECLARATION_ERROR(place(), kTagNoZero,
                             "Format option value should start with '0' in Unique Number "
                             "parameter.%s",
                             "")) {
      return false;
    }
    if (width.size() > kLongestWidth &&
        WZ_DECLARATION_ERROR(place(), kTagLongWidth,
                             "Format value digit length cannot be more than three in Unique "
                             "Number parameter.%s",
                             "")) {
      return false;
    }
    const long digits = std::strtol(width.c_str(), nullptr, 10);
    if (digits > kMostDigits) {
      return !WZ_DECLARATION_ERROR(place(), kTagWideWidth,
                                   "Format value digit range should be in between '08' and '032' "
                                   "in Unique Number parameter.%s",
                                   "");
    }
    if (digits < kLeastDigits) {
      WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_PARAMETER,
                 "WARNING :- Setting length of digit to 8(default) as specifier value is less than "
                 "8\n");
    }
    row_.num_digits = std::max(static_cast<int>(digits), kLeastDigits);
    return true;
  }

  UniqueVarTableEntry& row_;
  const char* variable_ = "";
};

// ---- values ----

constexpr std::int64_t kEpoch = 1325376000;  // 1 January 2012, 00:00 UTC
constexpr int kMostCutDigits = 17;
constexpr int kCounterLimit = 0xFFFFFF;
constexpr int kCounterLimitWithParent = 65535;

// 10^8 for up to 8 digits, then 10^digits.
constexpr auto kModuli = [] {
  std::array<std::int64_t, kMostCutDigits + 1> moduli{};
  std::int64_t power = 100000000;
  for (std::size_t digits = 0; digits < moduli.size(); ++digits) {
    power *= digits > kLeastDigits ? 10 : 1;
    moduli[digits] = power;
  }
  return moduli;
}();

// The lower 32 bits of `number` moved up, with a sign, deliberately: it is added with it.
constexpr std::int64_t shifted(int number, int bits) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(number) << bits);
}

std::int64_t next_number(std::int64_t now, int child_index, int parent_index) {
  static int counter = 1;
  const auto seconds = static_cast<std::uint32_t>(now - kEpoch);
  const bool has_parent = parent_index >= 0;
  const std::int64_t number = static_cast<std::int64_t>(std::uint64_t{seconds} << 32U) +
                              shifted(counter, 24) + (has_parent ? shifted(parent_index, 16) : 0) +
                              child_index;
  if (++counter > (has_parent ? kCounterLimitWithParent : kCounterLimit)) {
    counter = 0;
  }
  return number;
}

// The declaration has checked the format.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
int print_number(char* text, std::size_t size, const char* format, std::int64_t number) {
  return converts_long(format) ? std::snprintf(text, size, format, static_cast<long>(number))
                               : std::snprintf(text, size, format, static_cast<int>(number));
}
#pragma GCC diagnostic pop

}  // namespace
}  // namespace wz

int wzlb_input_uniquevar_data(UniqueVarTableEntry* uniqueVarTable, char* line, int line_number,
                              int sess_idx, char* sess_name, char* sess_name_with_proj_subproj,
                              char* script_filename) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. line = %s, line_number = %d, sess_idx = %d, sess_name = %s",
             line != nullptr ? line : "", line_number, sess_idx,
             sess_name_with_proj_subproj != nullptr ? sess_name_with_proj_subproj : "");
  return wz::input_declaration<wz::UniqueDeclaration>(
      uniqueVarTable, line, sess_idx, {script_filename, sess_name, line_number, __func__}, WZ_HERE);
}

char* wzlb_get_unique_number(char* format, int len, int* total_len, int child_index,
                             int g_parent_idx) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. format = %s, len = %d, child_index = %d, g_parent_idx = %d",
             format != nullptr ? format : "(null)", len, child_index, g_parent_idx);
  if (total_len != nullptr) {
    *total_len = 0;
  }
  if (format == nullptr) {
    return nullptr;
  }
  std::int64_t number = wz::next_number(std::time(nullptr), child_index, g_parent_idx);
  if (len <= wz::kMostCutDigits) {
    number %= wz::kModuli[static_cast<std::size_t>(std::max(len, 0))];
  }
  const long size = long{len} + 1;
  auto* text = static_cast<char*>(WZLB_MALLOC(size, "Malloc buffer for unique number"));
  if (text == nullptr) {
    return nullptr;
  }
  std::memset(text, 0, static_cast<std::size_t>(size));
  const char* used = len == wz::kLeastDigits ? "%08lu" : format;
  const int printed = wz::print_number(text, static_cast<std::size_t>(size), used, number);
  if (total_len != nullptr) {
    *total_len = std::clamp(printed, 0, len);
  }
  return text;
}
