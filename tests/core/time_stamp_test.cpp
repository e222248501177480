#include <gtest/gtest.h>
#include <signal.h>
#include <wz/wzlb.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <tuple>
#include <utility>

#include "libwzcore/internal/clock_sources.h"
#include "libwzcore/internal/trace.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::Eq;
using testing::ExitedWithCode;
using wz::mutable_text;

// Each case runs in a child process: the clock's state is process-wide and only goes forward.
#define EXPECT_CHILD(condition) EXPECT_EXIT(std::_Exit((condition) ? 0 : 1), ExitedWithCode(0), "")

bool device_is_absent() {
  return !std::filesystem::exists("/dev/zelmodem");
}

bool falls_back_silently() {
  init_ms_stamp();
  return g_time_stamp_mode == 2 && is_time_stamp_initialised == 1 && get_ms_stamp() < 60000;
}

TEST(TimeStamp, Source) {
  EXPECT_CHILD(get_ms_stamp() == 0 && get_ms_stamp_jiffy() == 0 && get_ms_stamp_rdtsc() == 0);
  if (device_is_absent()) {
    EXPECT_EXIT(std::_Exit(falls_back_silently() ? 0 : 1), ExitedWithCode(0), Eq(""));
    EXPECT_EQ(set_jiffies_64_bit_ptr(), -2);
  }
}

bool factor_divides() {
  kw_set_time_stamp_mode(mutable_text("TIME_STAMP 2"));
  // So small a factor turns milliseconds into numbers that differ by far.
  wzlb_set_timer_factor(0.0);  // ignored
  wzlb_set_timer_factor(0.000001);
  const u_wz_ts_t before = get_ms_stamp_gettimeofday();
  const u_wz_ts_t stamp = get_ms_stamp();
  const u_wz_ts_t after = get_ms_stamp_gettimeofday();
  return stamp >= before * 999999 && stamp <= (after + 1) * 1000001;
}

TEST(TimeStamp, ModeKeywordAndFactor) {
  EXPECT_CHILD(factor_divides());
  for (const char* line : {"TIME_STAMP 3", "TIME_STAMP -1"}) {
    EXPECT_EXIT(kw_set_time_stamp_mode(mutable_text(line)), ExitedWithCode(255),
                Eq("Invalid mode for TIME_STAMP.\n"));
  }
}

TEST(TimeStamp, CycleCounterNeverStepsBack) {
  if (set_cpu_freq() != 0) {
    GTEST_SKIP() << "the system does not tell the processor's clock";
  }
  const u_wz_ts_t first = get_ms_stamp_rdtsc();
  set_cpu_freq();  // a new base: the counter alone would start again at 0
  EXPECT_GE(get_ms_stamp_rdtsc(), first);
}

TEST(Jiffies, CountFromTheFirstReadingAcrossAWrap) {
  constexpr auto kMax = ~0UL;
  const std::tuple<unsigned long, unsigned long, unsigned long, wz::JiffyReading> cases[] = {
      {100, 100, 100, {100, 0, false}},
      {100, 150, 180, {180, 80, false}},
      {100, 200, 50, {kMax - 150, kMax - 250, true}},
      {100, 0, 40, {40, kMax - 60, false}}};  // below the first reading: one less
  for (const auto& [first, last, now, expected] : cases) {
    const wz::JiffyReading got = wz::jiffies_since(first, last, now);
    EXPECT_EQ(got.reading, expected.reading);
    EXPECT_EQ(got.stamp, expected.stamp);
    EXPECT_EQ(got.wrapped, expected.wrapped);
  }
}

TEST(Jiffies, CounterIsMappedAtItsOffsetInThePage) {
  const wz::test::TemporaryFolder folder;
  const std::string path = (folder.path() / "counter").string();
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  std::string content(2 * page, '\0');
  const unsigned long value = 0x1122334455667788;
  content.replace(page + 16, sizeof value, reinterpret_cast<const char*>(&value), sizeof value);
  folder.write("counter", content);
  const volatile unsigned long* counter = nullptr;
  EXPECT_EQ(wz::map_counter(
                path.c_str(), [&] { return page + 16; }, &counter),
            wz::CounterStatus::kMapped);
  ASSERT_NE(counter, nullptr);
  EXPECT_EQ(*counter, value);
  const auto no_address = [] { return std::uint64_t{0}; };
  EXPECT_EQ(wz::map_counter("/no/device", no_address, &counter), wz::CounterStatus::kNoDevice);
  EXPECT_EQ(wz::map_counter("/", no_address, &counter), wz::CounterStatus::kFailed);
}

TEST(Clock, FormattedDateIsUtcMinusOneSecond) {
  char text[32];
  const auto expected = [] {
    const time_t shifted = time(nullptr) - 1;
    char date[32];
    strftime(date, sizeof date, "%m/%d/%Y %H:%M:%S", gmtime(&shifted));
    return std::string(date).erase(6, 2);
  };
  wzlb_set_timezone_offset();  // changes nothing: the offset was never computed
  const std::string before = expected();
  EXPECT_EQ(wzlb_get_cur_date_time(text, 0), text);
  EXPECT_TRUE(text == before || text == expected()) << text;
  EXPECT_EQ(timezone_offset, -1);
  timezone_offset = 0;  // as if it had been computed
  setenv("TZ", "<+0530>-5:30", 1);
  tzset();
  wzlb_set_timezone_offset();
  unsetenv("TZ");
  tzset();
  EXPECT_EQ(std::exchange(timezone_offset, -1), 19800);
}

TEST(Clock, SignalMasks) {
  sigset_t blocked, now;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  const auto is_blocked = [&] {
    pthread_sigmask(SIG_BLOCK, nullptr, &now);
    return sigismember(&now, SIGUSR1) == 1;
  };
  time_t at = 86400;
  struct tm date;
  char text[32];
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  EXPECT_EQ(wzlb_localtime(&at, &date, 1), &date);
  EXPECT_EQ(date.tm_year, 70);
  wzlb_get_cur_date_time(text, 0);
  EXPECT_TRUE(is_blocked());
  wzlb_get_cur_date_time(text, 1);
  EXPECT_FALSE(is_blocked()) << "the formatted date unblocks every signal";
}

TEST(Clock, LocalOffset) {
  tm local{}, utc{};
  local.tm_hour = 14;
  local.tm_min = 30;
  utc.tm_hour = 9;
  EXPECT_EQ(wz::local_offset(local, utc), 19800);
  local.tm_hour = 1;
  local.tm_yday = 1;  // the next day already
  EXPECT_EQ(wz::local_offset(local, utc), 59400);
  EXPECT_EQ(wz::local_offset(utc, local), -59400);
}

TEST(Clock, EpochsAndDurations) {
  EXPECT_EQ(get_unix_zel_epoch_diff(1970), 0);
  EXPECT_NEAR(static_cast<double>(get_unix_zel_epoch_diff(2014)), 1388534400.0, 86400.0);
  EXPECT_EXIT(get_unix_zel_epoch_diff(INT_MIN), ExitedWithCode(255),
              Eq("Unable to get unix_zel_epoch_diff for zelmon year: -2147483648\n"));
  const long long now = wzlb_get_cur_time_in_ms();
  EXPECT_LE(std::llabs(now / 1000 - time(nullptr)), 1);
  const std::pair<u_wz_ts_t, const char*> durations[] = {
      {0, "00:00:00"}, {3725400, "01:02:05"}, {3725500, "01:02:06"}, {90000000, "25:00:00"}};
  for (const auto& [milliseconds, expected] : durations) {
    char text[32];
    convert_to_hh_mm_ss(milliseconds, text);
    EXPECT_STREQ(text, expected);
  }
}

}  // namespace
