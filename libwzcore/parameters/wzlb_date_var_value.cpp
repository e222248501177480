// The value of a date variable: now, shifted, moved to a working day or to a second of its own, and
// printed.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_date_var.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

// Two blanks before the day, deliberately: column-oriented readers of this default rely on it.
constexpr char kDefaultFormat[] = "%a %b  %d %H:%M:%S %Y";
constexpr char kErrorValue[] = "zel_cur_date: error";
constexpr std::string_view kMilliseconds = "%ms";
constexpr std::string_view kMillisecondSuffix = "%MS";
constexpr int kRoom = 200;  // bytes of the result beyond the format's length
constexpr long long kSecondsPerDay = 86400;
constexpr u_wz_ts_t kUnset = ~0ULL;
constexpr int kWorkingDay = 1;
constexpr int kNonWorkingDay = 2;

// The bytes of a result and how many of them are used.
struct Output {
  char* text;
  std::size_t size;
  std::size_t length = 0;

  void set_error() {
    std::snprintf(text, size, "%s", kErrorValue);
    length = 0;
  }
};

time_t unique_time(Zel_uniq_date_time_data& slice, time_t now, int num_process) {
  if (slice.init_time == kUnset) {
    slice.init_time = static_cast<u_wz_ts_t>(now);
  }
  if (slice.cur_sec == slice.end_sec) {
    wzlb_update_uniq_date_time_date(&slice, num_process);
  }
  const auto second = static_cast<u_wz_ts_t>(slice.cur_sec);
  slice.cur_sec = static_cast<int>(second + 1);
  return static_cast<time_t>(slice.init_time + second);
}

// The format is the script author's.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::size_t print_time(const char* format, const tm& date, const Output& out) {
  return std::strftime(out.text, out.size, format, &date);
}
#pragma GCC diagnostic pop

void print_date(const char* format, const tm& date, Output& out) {
  out.length = print_time(format, date, out);
  if (out.length == 0) {
    std::fputs("strftime returned 0", stderr);
    out.set_error();
  }
}

// The start of a format with a terminator of its own: on the stack for every length that a
// declaration can give.
class FormatStart {
 public:
  explicit FormatStart(std::string_view text)
      : text_(text.size() < sizeof stack_
                  ? stack_
                  : static_cast<char*>(WZLB_MALLOC(text.size() + 1, "format"))) {
    std::memcpy(text_, text.data(), text.size());
    text_[text.size()] = '\0';
  }
  FormatStart(const FormatStart&) = delete;
  FormatStart& operator=(const FormatStart&) = delete;
  ~FormatStart() {
    if (text_ != stack_) {
      WZLB_FREE(text_, "format", -1);
    }
  }

  [[nodiscard]] const char* c_str() const { return text_; }

 private:
  char stack_[WZ_API_MAX_VALUE + 1];
  char* text_;
};

// A format that ends in "%MS": the rest, the character before it as a separator and the millisecond
// of this very moment, whatever the shift.
void print_with_milliseconds(std::string_view format, const tm& date, Output& out) {
  format.remove_suffix(kMillisecondSuffix.size());
  const bool has_separator = !format.empty();
  const char separator = has_separator ? format.back() : '\0';
  format.remove_suffix(has_separator ? 1 : 0);
  if (!format.empty()) {
    print_date(FormatStart(format).c_str(), date, out);
    if (out.length == 0) {
      return;
    }
  }
  const int millisecond = static_cast<int>(wzlb_get_cur_time_in_ms() % 1000);
  const std::size_t room = out.size - out.length;
  const int added =
      has_separator ? std::snprintf(out.text + out.length, room, "%c%03d", separator, millisecond)
                    : std::snprintf(out.text + out.length, room, "%03d", millisecond);
  out.length += std::min(static_cast<std::size_t>(added), room - 1);
}

// What the caller wants of the time, apart from its format.
struct Shift {
  int day_offset;
  int time_offset;
  int day_type;
  Zel_uniq_date_time_data* slice;  // null: not unique
  int num_process;

  [[nodiscard]] long long seconds() const { return time_offset + day_offset * kSecondsPerDay; }

  [[nodiscard]] time_t apply_to(time_t now) const {
    time_t time = now + seconds();
    if (day_type == kWorkingDay || day_type == kNonWorkingDay) {
      const int step = day_offset >= 0 && time_offset >= 0 ? 1 : -1;
      time = wzlb_get_wrking_non_wrking_day(time, step, day_type);
    }
    return slice != nullptr ? unique_time(*slice, time, num_process) : time;
  }
};

void print_value(const char* format, std::string_view counted, const Shift& shift, Output& out) {
  if (format == kMilliseconds) {
    const long long value = wzlb_get_cur_time_in_ms() + shift.seconds() * 1000;
    const int length = std::snprintf(out.text, out.size, "%lld", value);
    out.length = std::min(static_cast<std::size_t>(length), out.size - 1);
    return;
  }
  time_t time = shift.apply_to(std::time(nullptr));
  tm date{};
  if (wzlb_localtime(&time, &date, 0) == nullptr) {
    std::perror("localtime");
    out.set_error();
  } else if (counted.ends_with(kMillisecondSuffix)) {
    print_with_milliseconds(counted, date, out);
  } else {
    print_date(format, date, out);
  }
}

}  // namespace
}  // namespace wz

char* wzlb_get_formated_cur_date(int format_len, char* format, int day_offset, int time_offset,
                                 int day_type, int is_uniq, Zel_uniq_date_time_data* date_time_data,
                                 int num_process, int* total_len) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. format_len = %d, format = %s, day_offset = %d, time_offset = %d, "
             "day_type = %d, is_uniq = %d",
             format_len, format != nullptr ? format : "(null)", day_offset, time_offset, day_type,
             is_uniq);
  const long size = static_cast<long>(format_len) + wz::kRoom;
  wz::Output out{static_cast<char*>(WZLB_MALLOC(size, "outstr")), static_cast<std::size_t>(size)};
  if (out.text != nullptr) {
    std::memset(out.text, 0, out.size);
    const char* text = format != nullptr ? format : wz::kDefaultFormat;
    // The suffix is looked for at the length that the caller counted, within the text.
    const std::size_t counted = format != nullptr && format_len > 0
                                    ? strnlen(format, static_cast<std::size_t>(format_len))
                                    : 0;
    const wz::Shift shift{day_offset, time_offset, day_type,
                          is_uniq == 1 ? date_time_data : nullptr, num_process};
    wz::print_value(text, {text, counted}, shift, out);
  }
  if (total_len != nullptr) {
    *total_len = static_cast<int>(out.length);
  }
  return out.text;
}
