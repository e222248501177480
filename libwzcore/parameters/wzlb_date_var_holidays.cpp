// Holidays and working days.
#include "libwzcore/parameters/wzlb_date_var_holidays.h"

#include <wz/wzlb_date_var.h>
#include <wz/wzlb_util.h>
#include <wz/wzlb_wdir.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>

#include "libwzcore/internal/soft_alloc.h"
#include "libwzcore/internal/trace.h"

Zel_holi_days* g_holi_days = nullptr;
int total_holiday_entries = 0;
int max_holiday_entries = 0;
int flag_to_read_file = 1;

namespace wz {
namespace {

constexpr int kGrowth = 5;  // rows
constexpr long kRowSize = sizeof(Zel_holi_days);
constexpr int kLongestLine = 4096;
constexpr int kWorking = 1;
constexpr int kNonWorking = 2;
constexpr time_t kSecondsPerDay = 86400;
// A table that leaves no day of the wanted type in a hundred years must not hang the caller.
constexpr int kMostSteps = 36600;

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

template <std::size_t Size>
void copy_bounded(char (&target)[Size], std::string_view text) {
  const std::size_t length = text.size() < Size ? text.size() : Size - 1;
  std::memcpy(target, text.data(), length);
  target[length] = '\0';
}

bool is_holiday(const tm& date) {
  if (total_holiday_entries == 0) {
    return false;
  }
  std::array<char, sizeof Zel_holi_days::date> text;
  if (std::strftime(text.data(), text.size(), "%m/%d/%Y", &date) == 0) {
    return false;  // no row can hold a year of five digits
  }
  for (int i = 0; i < total_holiday_entries; ++i) {
    if (std::strcmp(text.data(), g_holi_days[i].date) == 0) {
      return true;
    }
  }
  return false;
}

void add_holiday(char* line) {
  line[std::strcspn(line, "\r\n")] = '\0';
  std::array<char*, 2> fields{};
  char delimiter[] = "|";
  const int count = get_tokens(line, fields.data(), delimiter, static_cast<int>(fields.size()));
  int row = 0;
  if (count < 1 || create_holiday_table_entry(&row) != 0) {
    return;
  }
  copy_bounded(g_holi_days[row].date, fields[0]);
  copy_bounded(g_holi_days[row].description, count > 1 ? fields[1] : "");
}

}  // namespace

void read_holiday_file() {
  if (flag_to_read_file == 0) {
    return;
  }
  std::array<char, WZLB_WDIR_SIZE + 32> path{};
  std::snprintf(path.data(), path.size(), "%s/sys/holidays.dat", g_wz_wdir);
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.data(), "re"));
  if (file == nullptr) {
    WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_PARAMETER, "Holidays file %s is not present", path.data());
    return;
  }
  std::array<char, kLongestLine> line{};
  while (wzlb_fgets(line.data(), kLongestLine, file.get()) != nullptr) {
    add_holiday(line.data());
  }
}

}  // namespace wz

int create_holiday_table_entry(int* row_num) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER, "Method called");
  if (row_num == nullptr) {
    return -1;
  }
  if (total_holiday_entries == max_holiday_entries) {
    const long size = (long{max_holiday_entries} + wz::kGrowth) * wz::kRowSize;
    // Running out of memory here costs a holiday, not the process.
    auto* grown = static_cast<Zel_holi_days*>(
        wz::soft_realloc(g_holi_days, size, WZ_BLOCK_OWNER("Zel_holi_days")));
    if (grown == nullptr) {
      std::fprintf(stderr,
                   "create_holiday_table_entry(): Error allocating more memory for holiday "
                   "entries\n");
      return -1;
    }
    std::memset(grown + max_holiday_entries, 0, wz::kGrowth * sizeof *grown);
    g_holi_days = grown;
    max_holiday_entries += wz::kGrowth;
  }
  *row_num = total_holiday_entries++;
  return 0;
}

int wzlb_is_wrking_or_non_wrking_day(time_t date_in_sec) {
  tm date{};
  if (wzlb_localtime(&date_in_sec, &date, 0) == nullptr) {
    return wz::kWorking;
  }
  const bool is_weekend = date.tm_wday == 0 || date.tm_wday == 6;
  return is_weekend || wz::is_holiday(date) ? wz::kNonWorking : wz::kWorking;
}

time_t wzlb_get_wrking_non_wrking_day(time_t date_in_sec, int next, int day_type) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. date_in_sec = %ld, next = %d, day_type = %d", date_in_sec, next,
             day_type);
  time_t date = date_in_sec;
  for (int step = 0; step < wz::kMostSteps; ++step) {
    if (wzlb_is_wrking_or_non_wrking_day(date) == day_type) {
      return date;
    }
    date += next * wz::kSecondsPerDay;
  }
  return date_in_sec;
}
