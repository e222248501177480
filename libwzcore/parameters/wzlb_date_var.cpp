// Reads the declaration of a date variable into its row.
#include <wz/wzlb_date_var.h>
#include <wz/wzlb_util.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "libwzcore/parameters/declaration.h"
#include "libwzcore/parameters/wzlb_date_var_holidays.h"

namespace wz {
namespace {

constexpr const char* kTagBadNumber = "ZelErr[1000018]: ";
constexpr const char* kTagFormatMissing = "ZelErr[1012055]: ";
constexpr const char* kTagBadRange = "ZelErr[1012103]: ";
constexpr const char* kParameter = "DateTime";
constexpr int kLongestRange = 365;  // days

constexpr Option kDayType[] = {{"ALL", 0}, {"WORKING", 1}, {"NONWORKING", 2}};
constexpr Option kUnique[] = {{"YES", 1}, {"NO", 0}};

// Digits, then at most one '.', then digits and ':' only.
bool is_well_formed_offset(const char* text) {
  while (std::isdigit(static_cast<unsigned char>(*text)) != 0) {
    ++text;
  }
  text += *text == '.' ? 1 : 0;
  while (std::isdigit(static_cast<unsigned char>(*text)) != 0 || *text == ':') {
    ++text;
  }
  return *text == '\0';
}

// The lowest int stays itself.
int negated(int number) {
  return static_cast<int>(-static_cast<long long>(number));
}

class DateDeclaration : DeclarationReader {
 public:
  DateDeclaration(DateVarTableEntry& row, const DeclarationPlace& place)
      : DeclarationReader(place, kParameter), row_(row) {}

  // Reads all fields; false when reading stopped at an error.
  [[nodiscard]] bool read(WZApi& api, int sess_idx) {
    reset_row(sess_idx);
    for (int i = 0; i < api.num_tokens; ++i) {
      WZApiFields& field = api.api_fields[i];
      if (!(i == 0 ? read_name(field.keyword, row_.name, WZ_HERE) : read_field(field))) {
        return false;
      }
    }
    return check_format() && check_range();
  }

 private:
  void reset_row(int sess_idx);
  bool read_field(WZApiFields& field);
  bool read_format(char* value);
  bool read_days(char* value, const char* format, int& days);
  bool read_day_type(const char* value);
  void read_offset(char* value);
  bool check_format();
  bool check_range();

  DateVarTableEntry& row_;
};

void DateDeclaration::reset_row(int sess_idx) {
  row_.name = WZ_BIGBUF_UNSET;
  row_.format = WZ_BIGBUF_UNSET;
  row_.format_len = 0;
  row_.refresh = 1;
  row_.time_offset = 0;
  row_.day_offset = 0;
  row_.day_type = 0;
  row_.unique_date = 0;
  row_.min_days = 0;
  row_.max_days = 0;
  row_.sess_idx = sess_idx;
}

bool DateDeclaration::read_field(WZApiFields& field) {
  if (!require_name(row_.name, WZ_HERE)) {
    return false;
  }
  const std::string_view keyword = field.keyword;
  if (has_keyword(keyword, "format")) {
    return read_format(field.value);
  }
  if (has_keyword(keyword, "MinDays")) {
    return read_days(field.value,
                     "Invalid format for MinDays and value can not be less than zero%s",
                     row_.min_days);
  }
  if (has_keyword(keyword, "MaxDays")) {
    return read_days(field.value,
                     "Invalid format for MaxDays and value can not be less than zero%s",
                     row_.max_days);
  }
  if (has_keyword(keyword, "offset")) {
    read_offset(field.value);
    return true;
  }
  if (has_keyword(keyword, "REFRESH")) {
    return read_refresh(field.value, row_.refresh, WZ_HERE);
  }
  if (has_keyword(keyword, "DayType")) {
    return read_day_type(field.value);
  }
  if (has_keyword(keyword, "UNIQUE")) {
    return read_option(field.value, kUnique, "Unique for each Session", row_.unique_date, WZ_HERE);
  }
  return true;  // other keywords belong to the host
}

bool DateDeclaration::read_format(char* value) {
  row_.format_len = static_cast<int>(std::strlen(value));
  return store(value, row_.format_len, row_.format, WZ_HERE);
}

bool DateDeclaration::read_days(char* value, const char* format, int& days) {
  int number = 0;
  if (wzlb_atoi(value, &number) != 0 || number < 0) {
    return !WZ_DECLARATION_ERROR(place(), kTagBadNumber, format, "");
  }
  days = number;
  return true;
}

bool DateDeclaration::read_day_type(const char* value) {
  if (!read_option(value, kDayType, "Day Type", row_.day_type, WZ_HERE)) {
    return false;
  }
  read_holiday_file();
  return true;
}

// `[+|-]days[.time]`. A malformed offset is accepted as far as it can be read, deliberately:
// declarations in use rely on it, so the check only shows in the trace.
void DateDeclaration::read_offset(char* value) {
  const bool negative = *value == '-';
  char* text = value + (*value == '-' || *value == '+' ? 1 : 0);
  if (!is_well_formed_offset(text)) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
               "Malformed offset %s is read as far as possible", text);
  }
  row_.day_offset = std::atoi(text);
  row_.time_offset = 0;
  if (char* dot = std::strchr(text, '.'); dot != nullptr) {
    row_.time_offset = get_time_from_format(dot + 1) / 1000;
  }
  if (negative) {
    row_.day_offset = negated(row_.day_offset);
    row_.time_offset = -row_.time_offset;
  }
}

bool DateDeclaration::check_format() {
  return row_.format != WZ_BIGBUF_UNSET ||
         !WZ_DECLARATION_ERROR(place(), kTagFormatMissing,
                               "'%s' option must be specified in %s parameter.", "Format",
                               kParameter);
}

bool DateDeclaration::check_range() {
  const int low = row_.min_days;
  const int high = row_.max_days;
  if ((low == 0) != (high == 0) &&
      WZ_DECLARATION_ERROR(place(), kTagBadRange,
                           "In random date selection, 'MinDays' & 'MaxDays' value can not be "
                           "zero.")) {
    return false;
  }
  if (high < low && WZ_DECLARATION_ERROR(place(), kTagBadRange,
                                         "MaxDays value can not be less than MinDays value.")) {
    return false;
  }
  if (low == high && low != 0 &&
      WZ_DECLARATION_ERROR(place(), kTagBadRange,
                           "MaxDays value can not be equal to MinDays value.")) {
    return false;
  }
  if (low != 0) {  // a random day and an offset do not combine
    row_.day_offset = 0;
    row_.time_offset = 0;
  }
  if (high > kLongestRange) {
    row_.max_days = kLongestRange;
  }
  return true;
}

}  // namespace
}  // namespace wz

int wzlb_input_datevar_data(DateVarTableEntry* dateVarTable, char* line, int line_number,
                            int sess_idx, char* sess_name, char* sess_name_with_proj_subproj,
                            char* script_filename) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. line = %s, line_number = %d, sess_idx = %d, sess_name = %s",
             line != nullptr ? line : "", line_number, sess_idx,
             sess_name_with_proj_subproj != nullptr ? sess_name_with_proj_subproj : "");
  if (dateVarTable == nullptr || line == nullptr) {
    return -1;
  }
  try {
    const auto api = std::make_unique_for_overwrite<WZApi>();
    const char* file = script_filename != nullptr ? script_filename : "";
    // The parser's message repeats the line and may repeat a value of it too.
    std::string message(2 * std::strlen(line) + std::strlen(file) + 1024, '\0');
    if (parse_api_ex(api.get(), line, script_filename, message.data(), line_number, 1, 1) != 0) {
      std::fprintf(stderr, "Error in parsing api %s\n%s\n", api->api_name, message.c_str());
      return -1;
    }
    const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
    return wz::DateDeclaration(*dateVarTable, place).read(*api, sess_idx) ? 0 : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
