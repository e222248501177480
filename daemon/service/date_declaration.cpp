// The library hands out texts as offsets into a buffer of the host. Here that buffer lives for one
// declaration, because its texts move on into the service's definition at once.
#include "daemon/service/date_declaration.h"

#include <wz/wzlb_date_var.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "daemon/service/declaration_fields.h"

namespace vsd {
namespace {

// In any mode but 1 the library stops at the first error of a declaration and says so.
constexpr int kReportAndStop = 2;
constexpr int kRefreshPerSession = 1;

// What the callbacks, which carry no context, write into.
struct Collected {
  std::string texts;
  std::string problem;
};

Collected& collected() {
  static Collected state;
  return state;
}

wz_bigbuf_t keep_text(char* string, int length, ...) {
  std::string& texts = collected().texts;
  const wz_bigbuf_t offset = texts.size();
  texts.append(string, length > 0 ? static_cast<std::size_t>(length) : std::strlen(string));
  texts += '\0';
  return offset;
}

__attribute__((format(printf, 7, 8))) void keep_problem(int, char*, char*, int, char*, int,
                                                        char* format, ...) {
  std::array<char, 8192> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  collected().problem = text.data();
}

}  // namespace

std::string read_date_declaration(std::string line, int line_number, DateSource& date) {
  static const bool initialized = [] {
    wzlb_init_parameter_module(kReportAndStop, keep_text, keep_problem, nullptr);
    return true;
  }();
  static_cast<void>(initialized);
  collected() = {};
  DateVarTableEntry row{};
  char session[] = "vsd";
  if (wzlb_input_datevar_data(&row, line.data(), line_number, 0, session, session, session) != 0) {
    std::string& problem = collected().problem;
    return problem.empty() ? "the declaration is not in correct format" : problem;
  }
  if (row.day_type != 0) {
    flag_to_read_file = 0;  // the library would append the same rows for every declaration
  }
  date.format = collected().texts.c_str() + row.format;
  date.day_offset = row.day_offset;
  date.time_offset = row.time_offset;
  date.day_type = row.day_type;
  date.unique = row.unique_date != 0;
  date.once_per_request = row.refresh == kRefreshPerSession;
  date.min_days = row.min_days;
  date.max_days = row.max_days;
  return {};
}

void forget_holidays() {
  total_holiday_entries = 0;
  flag_to_read_file = 1;
}

}  // namespace vsd
