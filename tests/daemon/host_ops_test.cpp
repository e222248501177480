#include "daemon/host_ops/host_ops.h"

#include <wz/wz_script.h>

#include <ctime>
#include <regex>
#include <set>
#include <string>

#include "libwzcore/internal/trace.h"
#include "tests/support/capture.h"
#include "tests/support/service_fixture.h"

namespace {

using wz::mutable_text;
using wz::test::content_of;
using wz::test::printed;
using wz::test::ServiceFixture;
using wz::test::TemporaryFolder;

class HostLogTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(vsd::set_host_logs(debug_, error_)); }
  void TearDown() override {
    vsd::set_host_log_masks(0, ~0ULL);
    vsd::close_host_logs();
  }
  static void debug(int level, unsigned long long module, const char* message) {
    vsd_debug_log_ex(level, module, mutable_text("a.c"), 7, mutable_text("f"), nullptr,
                     const_cast<char*>("<%s>"), message);
  }

  TemporaryFolder folder_;
  std::filesystem::path debug_ = folder_.path() / "debug.log";
  std::filesystem::path error_ = folder_.path() / "error.log";
};

TEST_F(HostLogTest, WritesDebugLinesThatPassBothMasks) {
  debug(0xFF, 512, "off");
  EXPECT_FALSE(std::filesystem::exists(debug_));
  vsd::set_host_log_masks(0xFFFF, 512);
  debug(0xFF00, 512 | 8, "on");
  debug(0xFF0000, 512, "level");
  debug(0xFF, 8, "module");
  vsd_debug_tracelog(nullptr, nullptr, 0, nullptr, const_cast<char*>("nowhere"));
  vsd::set_host_trace_log(folder_.path() / "trace.log", 0);
  vsd_debug_tracelog(nullptr, nullptr, 0, nullptr, const_cast<char*>("trace %d"), 1);
  EXPECT_EQ(content_of(folder_.path() / "trace.log"), "trace 1\n");
  vsd::set_host_trace_log("", 0);
  const std::regex lines("\n\\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\|a\\.c\\|7\\|f\\|<on>");
  EXPECT_TRUE(std::regex_match(content_of(debug_), lines)) << content_of(debug_);
}

TEST_F(HostLogTest, WritesErrorLines) {
  const auto error = [](int severity) {
    vsd_error_log_ex(severity, mutable_text("a.c"), 7, mutable_text("f"), nullptr,
                     mutable_text("id"), mutable_text("attr"), const_cast<char*>("%d"), 42);
  };
  error(0xFF00);
  error(0);
  EXPECT_EQ(update_column_value_in_db(nullptr, mutable_text("k"), mutable_text("v"), 2, ',', 1),
            -1);
  const std::regex lines(
      "\n[^|]*\\|id\\|Major\\|attr\\|a\\.c\\|7\\|f\\|Error\\|42"
      "\n[^|]*\\|\\|Major\\|\\|data_source\\.cpp\\|[^\n]*\\|column 2 of the row 'k' is not "
      "written: there is no such row");
  EXPECT_TRUE(std::regex_match(content_of(error_), lines)) << content_of(error_);
  vsd::close_host_logs();
  ::testing::internal::CaptureStderr();
  error(-16777216);  // all bits of the highest level
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("|Warning|"), std::string::npos);
}

TEST_F(HostLogTest, ExitsWithTheMessage) {
  EXPECT_EXIT(vsd_exit(3, const_cast<char*>("No %s"), "disk"), ::testing::ExitedWithCode(3),
              "\\|No disk\\.\nExiting\\.\\.\\.");
  EXPECT_NE(content_of(error_).find("|No disk."), std::string::npos);
}

TEST(HostHashTable, NumbersKeys) {
  VsdHashTable table{};
  EXPECT_EQ(vsd_hash_table_get(&table, mutable_text("a"), 1), -1);
  EXPECT_EQ(vsd_hash_table_add(&table, mutable_text("a"), 1), -1) << "not set up";
  vsd_hash_table_init(&table);
  EXPECT_EQ(vsd_hash_table_add(&table, mutable_text("abc"), 2), 0)
      << "the length decides, not a NUL";
  EXPECT_EQ(vsd_hash_table_add(&table, mutable_text("a\0b"), 3), 1);
  EXPECT_EQ(vsd_hash_table_get(&table, mutable_text("abX"), 2), 0);
  EXPECT_EQ(vsd_hash_table_get(&table, mutable_text("abc"), 3), -1);
  EXPECT_EQ(vsd_hash_table_add(&table, mutable_text(""), 0), 2);
  EXPECT_EQ(vsd_hash_table_add(&table, mutable_text("ab"), 2), 0) << "known";
}

TEST(HostNames, ReadsTheMethodFromTheRequestLine) {
  connection request{};
  EXPECT_EQ(get_http_method(&request)->http_method_len, 0);
  request.request_hdr = {mutable_text("xxPROPFINDS / HTTP/1.1"), 2};
  EXPECT_EQ(get_http_method(&request)->http_method_len, 8) << "the field has no room for more";
}

class HostDateTest : public ServiceFixture {
 protected:
  static std::string eval(std::string_view reference) {
    return wz_eval_string(std::string(reference).data());
  }
  static std::string day(int offset, const char* format = "%Y-%m-%d") {
    return printed(format, std::time(nullptr) + offset * 86400);
  }
};

// Runs `check` again when midnight passes meanwhile.
template <typename Check>
void within_one_day(Check check) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    const time_t before = std::time(nullptr);
    const int day = std::localtime(&before)->tm_yday;
    const auto seen = check();
    const time_t after = std::time(nullptr);
    if (std::localtime(&after)->tm_yday == day) {
      EXPECT_EQ(seen.first, seen.second);
      return;
    }
  }
}

TEST_F(HostDateTest, AppliesTheDeclarationAndTheReference) {
  serve(R"(wz_date_var(today, format="%Y-%m-%d", offset=+1);
           wz_date_var(shifted, format="%F at 100%%", offset="-2.48:00:00");
           wz_date_var(free, format="%u", DayType=NONWORKING);)");
  EXPECT_GT(eval("{free}"), "5");
  within_one_day([] {
    return std::pair(eval("{today} {today,%d.%m.} {today,%F,-3} {shifted} {shifted,%F,+4}"),
                     day(1) + " " + day(1, "%d.%m.") + " " + day(-3) + " " +
                         day(-4, "%F at 100%%") + " " + day(2));
  });
}

TEST_F(HostDateTest, DrawsADayOncePerConnectionOrAtEachUse) {
  serve(R"(wz_date_var(once, format="%F", MinDays=1, MaxDays=200);
           wz_date_var(each, format="%F", MinDays=1, MaxDays=200, REFRESH=USE);)");
  std::set<std::string> requests;
  std::set<std::string> uses;
  for (int i = 0; i < 20; ++i) {
    connect();
    request(wz::test::kPlainHead);
    const std::string once = eval("{once}");
    request(wz::test::kPlainHead);
    EXPECT_EQ(eval("{once,%Y}{once,-%m-%d}"), once);
    EXPECT_EQ(eval("{once}"), once);
    requests.insert(once);
    uses.insert({eval("{each}"), eval("{each}")});
  }
  EXPECT_GT(requests.size(), 5U);
  EXPECT_GT(uses.size(), 10U);
  EXPECT_GT(*requests.begin(), day(0));
  EXPECT_LE(*requests.rbegin(), day(201));
}

TEST_F(HostDateTest, HandsOutEachUniqueSecondOnce) {
  vsd::set_host_process(1, 2);
  serve(R"(wz_date_var(once, format="%s", UNIQUE=YES);)");
  std::set<long> seconds;
  for (int i = 0; i < 10; ++i) {
    connect();
    request(wz::test::kPlainHead);
    const long second = std::stol(eval("{once}"));
    request(wz::test::kPlainHead);
    EXPECT_EQ(std::stol(eval("{once, %s}")), second);
    seconds.insert(second);
  }
  EXPECT_EQ(seconds.size(), 10U);
  EXPECT_EQ(*seconds.rbegin() - *seconds.begin(), 9);
  EXPECT_GT(*seconds.begin(), std::time(nullptr) + 43000) << "the second process's half of a day";
  vsd::set_host_process(0, 1);
}

}  // namespace
