// Declarations of date variables, and the values of those that are accepted. Input: the first
// byte's low bits are the mode, whether errors are reported, and whether the host's buffer is full;
// the rest up to a NUL is the line.
#include <wz/wzlb.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"
#include "libwzcore/internal/trace.h"

namespace {

using wz::fuzz::QuietStream;
using wz::fuzz::require;

std::string big_buffer;
bool buffer_is_full = false;
int report_count = 0;

wz_bigbuf_t keep_text(char* text, int length, ...) {
  require(length == 0 || static_cast<std::size_t>(length) == std::strlen(text));
  const wz_bigbuf_t offset = big_buffer.size();
  big_buffer.append(text, std::strlen(text) + 1);
  return buffer_is_full ? WZ_BIGBUF_UNSET : offset;
}

void count_report(int mode, char*, char*, int, char*, int reserved, char* format, ...) {
  require(mode == 1 && reserved == 0 && format != nullptr);
  ++report_count;
}

void check_row(const DateVarTableEntry& row) {
  require(row.refresh == 1 || row.refresh == 2);
  require(row.day_type >= 0 && row.day_type <= 2);
  require(row.unique_date == 0 || row.unique_date == 1);
  require(row.min_days >= 0 && row.max_days >= 0 && row.max_days <= 365);
  require(row.min_days == 0 || (row.day_offset == 0 && row.time_offset == 0));
}

void check_value(const DateVarTableEntry& row) {
  const std::string format = big_buffer.c_str() + row.format;
  require(format.size() == static_cast<std::size_t>(row.format_len));
  Zel_uniq_date_time_data slice{};
  wzlb_fill_uniq_date_time(&slice, 1);
  int length = -1;
  char* value = wzlb_get_formated_cur_date(row.format_len, wz::mutable_text(format.c_str()),
                                           row.day_offset, row.time_offset, row.day_type,
                                           row.unique_date, &slice, 1, &length);
  require(value != nullptr && length >= 0 && length < row.format_len + 200);
  require(value[length] == '\0' || std::string(value) == "zel_cur_date: error");
  WZLB_FREE(value, "fuzz", -1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const bool stops = (data[0] & 1) != 0;
  const bool is_reported = (data[0] & 2) != 0;
  buffer_is_full = (data[0] & 4) != 0;
  wzlb_init_parameter_module(stops ? 2 : 1, keep_text, is_reported ? count_report : nullptr,
                             nullptr);
  wzlb_set_wdir("/nonexistent");  // no holiday file of this machine
  big_buffer.clear();
  report_count = 0;
  std::string line = std::string(reinterpret_cast<const char*>(data + 1), size - 1).c_str();
  DateVarTableEntry row{};
  const QuietStream quiet;
  char name[] = "%s";
  const int result = wzlb_input_datevar_data(&row, line.data(), 1, 0, name, name, name);
  if (result == 0) {
    check_row(row);
    require(!stops || (row.format != WZ_BIGBUF_UNSET && report_count == 0));
    if (row.format != WZ_BIGBUF_UNSET) {
      check_value(row);
    }
  } else {
    require(result == -1 && (stops || report_count == 0));
  }
  return 0;
}
