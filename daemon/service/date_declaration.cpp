#include "daemon/service/date_declaration.h"

#include <wz/wzlb_date_var.h>

#include <utility>

#include "daemon/service/library_declaration.h"

namespace vsd {
namespace {

constexpr int kRefreshPerSession = 1;

}  // namespace

std::string read_date_declaration(std::string line, int line_number, DateSource& date) {
  DateVarTableEntry row{};
  const LibraryReading reading =
      read_with_library(wzlb_input_datevar_data, std::move(line), line_number, row,
                        "the declaration is not in correct format");
  if (!reading.problem.empty()) {
    return reading.problem;
  }
  if (row.day_type != 0) {
    flag_to_read_file = 0;  // the library would append the same rows for every declaration
  }
  date.format = reading.text(row.format);
  date.day_offset = row.day_offset;
  date.time_offset = row.time_offset;
  date.day_type = row.day_type;
  date.unique = row.unique_date != 0;
  date.once_per_session = row.refresh == kRefreshPerSession;
  date.min_days = row.min_days;
  date.max_days = row.max_days;
  return {};
}

void forget_holidays() {
  total_holiday_entries = 0;
  flag_to_read_file = 1;
}

}  // namespace vsd
