#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <array>
#include <cmath>
#include <cstring>
#include <ctime>
#include <string>
#include <tuple>
#include <vector>

#include "libwzcore/internal/trace.h"
#include "tests/support/capture.h"
#include "tests/support/declaration_test.h"
#include "tests/support/temporary_folder.h"

namespace {

using wz::mutable_text;
using namespace wz::test;

constexpr int kDay = 86400;
class DateVar : public DeclarationTest {
 protected:
  DateVar() : DeclarationTest("wzlb_date_var.cpp") { wzlb_set_wdir(folder_.path().c_str()); }
  ~DateVar() override {
    wzlb_set_wdir(work_directory_.c_str());
    total_holiday_entries = 0;
    flag_to_read_file = 1;
  }

  int declare(const std::string& fields) {
    row_ = {};
    row_.hash_code = 77;
    std::string line = "DateTime(" + fields + ");";
    return wzlb_input_datevar_data(&row_, line.data(), 12, 5, mutable_text("session"),
                                   mutable_text("project/session"), mutable_text("script.c"));
  }

  DateVarTableEntry row_{};
  wz::test::TemporaryFolder folder_;

 private:
  std::string work_directory_ = g_wz_wdir;
};

// refresh, day type, unique, day offset, time offset, least and most days
using Settings = std::array<int, 7>;

Settings settings_of(const DateVarTableEntry& row) {
  return {row.refresh,     row.day_type, row.unique_date, row.day_offset,
          row.time_offset, row.min_days, row.max_days};
}

const std::pair<const char*, Settings> kGood[] = {
    {"d, format=%Y", {1, 0, 0, 0, 0, 0, 0}},
    {"d, FORMATTED=%Y, refreshed=USE, uniqueness=YES, other=x", {2, 0, 1, 0, 0, 0, 0}},
    {"d, format=%Y, REFRESH=SESSION, DayType=NONWORKING, UNIQUE=NO", {1, 2, 0, 0, 0, 0, 0}},
    {"d, format=%Y, offset=-1.02:00:00, daytype=WORKING", {1, 1, 0, -1, -7200, 0, 0}},
    {"d, format=%Y, offset=+2.1:30", {1, 0, 0, 2, 90, 0, 0}},
    {"d, format=%Y, offset=.0:0:1.999", {1, 0, 0, 0, 1, 0, 0}},
    {"d, format=%Y, offset=3x", {1, 0, 0, 3, 0, 0, 0}},
    {"d, format=%Y, offset=-1.x", {1, 0, 0, -1, 0, 0, 0}},
    {"d, format=%Y, offset=--2147483648", {1, 0, 0, -2147483647 - 1, 0, 0, 0}},
    {"d, format=%Y, offset=3, MinDays=1, MaxDays=10", {1, 0, 0, 0, 0, 1, 10}},
    {"d, format=%Y, MinDays=1, MaxDays=500", {1, 0, 0, 0, 0, 1, 365}},
    {"d, format=%Y, offset=3.5, MinDays=0, MaxDays=", {1, 0, 0, 3, 5, 0, 0}},
};

TEST_F(DateVar, ReadsDeclarations) {
  for (const int mode : {kTagged, kPlaced}) {
    for (const auto& [fields, settings] : kGood) {
      SCOPED_TRACE(fields);
      use_mode(mode);
      EXPECT_EQ(declare(fields), 0);
      EXPECT_EQ(settings_of(row_), settings);
      EXPECT_EQ(big_buffer, std::string("d\0%Y\0", 5));
      EXPECT_EQ(row_.name, 0U);
      EXPECT_EQ(row_.format, 2U);
      EXPECT_EQ(row_.format_len, 2);
      EXPECT_EQ(row_.sess_idx, 5);
      EXPECT_EQ(row_.hash_code, 77);
      EXPECT_EQ(reports.size(), 0U);
    }
  }
}

const Refusal kBad[] = {
    {"1d, format=x", "ZelErr[1012009]: ",
     "Invalid variable '1d'. It should contain only alphanumeric character and '_'. Also, first "
     "character should be an alphabet."},
    {"d, format=x, MinDays=-1",
     "ZelErr[1000018]: ", "Invalid format for MinDays and value can not be less than zero"},
    {"d, format=x, MaxDays=-2",
     "ZelErr[1000018]: ", "Invalid format for MaxDays and value can not be less than zero"},
    {"d, format=x, REFRESH=Use", "ZelErr[1012027]: ",
     "Unknown 'Use' option provided for 'Update Value On' in DateTime parameter."},
    {"d, format=x, DayType=", "ZelErr[1012027]: ",
     "Unknown '' option provided for 'Day Type' in DateTime parameter."},
    {"d, format=x, UNIQUE=YESS", "ZelErr[1012027]: ",
     "Unknown 'YESS' option provided for 'Unique for each Session' in DateTime parameter."},
    {"d, offset=1",
     "ZelErr[1012055]: ", "'Format' option must be specified in DateTime parameter."},
    {"d, format=x, MaxDays=5",
     "ZelErr[1012103]: ", "In random date selection, 'MinDays' & 'MaxDays' value can not be zero."},
    {"d, format=x, MinDays=3, MaxDays=2",
     "ZelErr[1012103]: ", "MaxDays value can not be less than MinDays value."},
    {"d, format=x, MinDays=2, MaxDays=2",
     "ZelErr[1012103]: ", "MaxDays value can not be equal to MinDays value."},
};

TEST_F(DateVar, RefusesOrReportsByMode) {
  for (const Refusal& c : kBad) {
    expect_refusal(c, [&] { return declare(c.fields); });
  }
}

TEST_F(DateVar, GoesOnAfterAnErrorInTheTaggedMode) {
  use_mode(kTagged);
  buffer_is_full = true;
  EXPECT_EQ(declare("d%s, format=x%d"), 0);
  ASSERT_EQ(reports.size(), 5U);
  EXPECT_EQ(reports[1], "ZelErr[1000018]: Failed to copy string 'd%s' into the memory.");
  EXPECT_EQ(reports[2],
            "ZelErr[1012053]: DateTime parameter name is missing. It should be at very first "
            "position in API.");
  EXPECT_EQ(reports[3], "ZelErr[1000018]: Failed to copy string 'x%d' into the memory.");
  EXPECT_EQ(row_.format, WZ_BIGBUF_UNSET);
  buffer_is_full = false;
  use_mode(kTagged);
  EXPECT_EQ(declare("d, format=x, MinDays=7x, offset=2"), 0);
  EXPECT_EQ(settings_of(row_), (Settings{1, 0, 0, 2, 0, 0, 0}));
  for (const int mode : {kTagged, kPlaced}) {
    use_mode(mode);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(declare("d, %s=\""), -1); }),
              "Error in parsing api DateTime\nError: parameter declaration in file 'script.c' at "
              "line '12' is not in correct format - starting and ending double quote is mismached "
              "in argument value ''.\nLine = [DateTime(d, %s=\");]\n");
    EXPECT_EQ(reports.size(), 0U);
  }
}

// Noon of a local date.
time_t noon(int year, int month, int day) {
  tm date{};
  date.tm_hour = 12;
  date.tm_isdst = -1;
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  return std::mktime(&date);
}

TEST_F(DateVar, HolidaysMakeWorkingDays) {
  folder_.write("sys/holidays.dat",
                "12/25/2026|Christmas\n12/4/2026|x\r\n\n12/28/2026\n12/29/2026|" +
                    std::string(3000, 'y') + "|z\n1\n01/01/2027");
  for (const int rows : {6, 12}) {
    EXPECT_EQ(declare("d, format=x, DayType=ALL"), 0);
    EXPECT_EQ(total_holiday_entries, rows);
  }
  flag_to_read_file = 0;
  EXPECT_EQ(declare("d, format=x, DayType=ALL"), 0);
  EXPECT_EQ(declare("d, format=x"), 0);
  EXPECT_EQ(total_holiday_entries, 12);
  EXPECT_STREQ(g_holi_days[6].description, "Christmas");
  EXPECT_STREQ(g_holi_days[2].date, "12/28/2026");
  EXPECT_EQ(std::string(g_holi_days[3].description), std::string(2047, 'y'));

  const time_t thursday = noon(2026, 12, 24);
  EXPECT_EQ(wzlb_is_wrking_or_non_wrking_day(noon(2027, 1, 1)), 2);
  EXPECT_EQ(wzlb_get_wrking_non_wrking_day(thursday, 1, 1), thursday);
  EXPECT_EQ(wzlb_get_wrking_non_wrking_day(thursday, 1, 2), noon(2026, 12, 25));
  EXPECT_EQ(wzlb_get_wrking_non_wrking_day(thursday + kDay, 1, 1), noon(2026, 12, 30));
  EXPECT_EQ(wzlb_get_wrking_non_wrking_day(noon(2026, 12, 29), -1, 1), thursday);
  EXPECT_EQ(wzlb_get_wrking_non_wrking_day(thursday, 1, 3), thursday);  // no such type
}

// The text, whose length must be the one that is reported.
std::string value_of(const char* format, int day_offset = 0, int time_offset = 0, int day_type = 0,
                     Zel_uniq_date_time_data* slice = nullptr) {
  int length = -1;
  const int format_length = format != nullptr ? static_cast<int>(std::strlen(format)) : 0;
  char* text =
      wzlb_get_formated_cur_date(format_length, mutable_text(format), day_offset, time_offset,
                                 day_type, slice != nullptr ? 1 : 0, slice, 1, &length);
  std::string value = text;
  WZLB_FREE(text, "test", -1);
  EXPECT_EQ(length, value == "zel_cur_date: error" ? 0 : static_cast<int>(value.size()));
  return value;
}

TEST_F(DateVar, FormatsShiftedTime) {
  const std::tuple<const char*, int, int> shifts[] = {
      {nullptr, 0, 0}, {"%s", 0, -5}, {"%F %T", -3, 7200}, {"%s%%ms %m", 1000, 0}, {"%MS!", 0, 0}};
  for (const auto& [format, days, seconds] : shifts) {
    const char* standard = format != nullptr ? format : "%a %b  %d %H:%M:%S %Y";
    const int offset = days * kDay + seconds;
    const std::string before = printed(standard, std::time(nullptr) + offset);
    const std::string value = value_of(format, days, seconds);
    const std::string after = printed(standard, std::time(nullptr) + offset);
    EXPECT_TRUE(value == before || value == after) << value << " not " << before;
  }
}

TEST_F(DateVar, FormatsMilliseconds) {
  const long long before = wzlb_get_cur_time_in_ms();
  const long long shifted = std::stoll(value_of("%ms", -1, 5, 2)) + (kDay - 5) * 1000LL;
  EXPECT_TRUE(before <= shifted && shifted <= wzlb_get_cur_time_in_ms()) << shifted;
  for (const std::string& start : {std::string("x%%."), std::string(6000, ' '), std::string()}) {
    const std::string kept = start == "x%%." ? "x%." : start;
    const std::string suffixed = value_of((start + "%MS").c_str());
    EXPECT_EQ(suffixed.substr(0, kept.size()), kept);
    EXPECT_EQ(suffixed.find_first_not_of("0123456789", kept.size()), std::string::npos);
    EXPECT_EQ(suffixed.size(), kept.size() + 3);
  }
}

TEST_F(DateVar, SearchesDaysInTheDirectionOfTheOffset) {
  // Only the 16th to 18th days before and after today are no holidays; one of three is no weekend.
  const time_t today = std::time(nullptr);
  for (int day = -20; day <= 20; ++day) {
    int row = 0;
    ASSERT_EQ(create_holiday_table_entry(&row), 0);
    const bool is_free = std::abs(day) >= 16 && std::abs(day) <= 18;
    const std::string date = is_free ? "" : printed("%m/%d/%Y", today + day * kDay);
    std::strcpy(g_holi_days[row].date, date.c_str());
  }
  const auto days_moved = [](int day_offset, int time_offset) {
    const long value = std::stol(value_of("%s", day_offset, time_offset, 1));
    return std::lround(static_cast<double>(value - std::time(nullptr)) / kDay);
  };
  for (const auto& [day_offset, time_offset, direction] :
       {std::tuple(0, 0, 1), {2, 0, 1}, {0, 5, 1}, {-1, 0, -1}, {1, -5, -1}}) {
    const long days = direction * days_moved(day_offset, time_offset);
    EXPECT_TRUE(days >= 16 && days <= 18) << days << " after " << day_offset;
  }
  const long same = std::stol(value_of("%s", 0, 0, 3));
  EXPECT_LE(same, std::time(nullptr));  // an unknown type searches nothing
}

TEST_F(DateVar, FailsWithAnErrorText) {
  for (const char* format : {"", "%10000Y", "%10000Y.%MS"}) {
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(value_of(format), "zel_cur_date: error"); }),
              "strftime returned 0");
  }
  int length = 0;
  EXPECT_EXIT(
      wzlb_get_formated_cur_date(-201, mutable_text("%Y"), 0, 0, 0, 0, nullptr, 0, &length),
      testing::ExitedWithCode(255),
      "wzlb_date_var_value.cpp\\|[0-9]+\\|wzlb_get_formated_cur_date\\|outstr\\|WZLB: Trying "
      "to malloc a negative size \\(-1\\)");
}

TEST_F(DateVar, UniqueSlicesNeverMeet) {
  std::array<Zel_uniq_date_time_data, 4> slices{};
  wzlb_fill_uniq_date_time(slices.data(), 4);
  EXPECT_EQ(slices[3].cur_sec, 3 * 21601);
  EXPECT_EQ(slices[3].end_sec, 3 * 21601 + 21600);
  EXPECT_EQ(slices[3].init_time, ~0ULL);
  wzlb_update_uniq_date_time_date(&slices[1], 4);
  EXPECT_EQ(slices[1].cur_sec, 21601 + 86400);
  EXPECT_EQ(slices[1].end_sec, 43201 + 86400);

  wzlb_fill_uniq_date_time(slices.data(), 1);
  const long first = std::stol(value_of("%s", 1, 0, 0, slices.data()));
  EXPECT_EQ(slices[0].init_time, static_cast<u_wz_ts_t>(first));
  EXPECT_EQ(value_of("%s", 9, 9, 0, slices.data()), std::to_string(first + 1));
  slices[0].cur_sec = slices[0].end_sec;
  EXPECT_EQ(value_of("%s", 0, 0, 0, slices.data()), std::to_string(first + 2 * kDay));
  EXPECT_EQ(slices[0].end_sec, 2 * kDay);
}

}  // namespace
