#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wz/wzlb.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <tuple>

#include "libwzcore/internal/trace.h"
#include "tests/support/capture.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::Eq;
using testing::ExitedWithCode;
using wz::mutable_text;
using wz::test::content_of;
using wz::test::stderr_of;

constexpr int kLineBound = 64000;
const std::string kTime = R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d)";

bool matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

// A log of its own in a temporary folder, everything enabled; the defaults again afterwards.
class Log : public testing::Test {
 protected:
  Log() {
    wzlb_util_set_log_filename(path_.data(), mutable_text(""));
    wzlb_util_set_debug_log_level(-1);
    wzlb_util_set_modulemask(~0ULL);
  }

  ~Log() override {
    wzlb_util_set_debug_log_level(0);
    wzlb_util_set_modulemask(0);
    wzlb_util_set_debug_log_size(100000000);
    wzlb_util_set_log_filename(mutable_text(""), mutable_text(""));
    wzlb_close_log_fd();
    if (lib_error_fd > 0) {
      close(lib_error_fd);
      lib_error_fd = -1;
    }
  }

  static void line(const char* message, int level = 0xFF, unsigned long long module = 0x1) {
    wzlb_debug_log_ex(level, module, mutable_text("a.c"), 7, mutable_text("f"),
                      const_cast<char*>("%s"), message);
  }

  static void error_line(int severity, const char* message) {
    wzlb_error_log_ex(severity, mutable_text("a.c"), 7, mutable_text("f"), mutable_text("id"),
                      mutable_text("attr"), const_cast<char*>("%s"), message);
  }

  wz::test::TemporaryFolder folder_;
  std::string path_ = (folder_.path() / "debug.log").string();
  std::string previous_ = path_ + ".prev";
};

TEST_F(Log, DebugLine) {
  errno = 42;
  line("hello");
  EXPECT_EQ(errno, 42);
  EXPECT_TRUE(matches(content_of(path_), "\n" + kTime + R"(\|a\.c\|7\|f\|hello)"));
  EXPECT_EQ(wzlb_get_debug_fd(), lib_debug_fd);
  EXPECT_EQ(fcntl(lib_debug_fd, F_GETFD), FD_CLOEXEC);
  for (const char* zone : {"UTC", "XXX-5:30"}) {  // shows at once, within the same second too
    setenv("TZ", zone, 1);
    const std::string date = wz::test::printed("%m/%d/%y %H:%M", time(nullptr));
    EXPECT_TRUE(std::string(get_cur_date_time()).starts_with(date)) << zone;
  }
  unsetenv("TZ");
}

TEST_F(Log, MasksFilterLines) {
  wzlb_util_set_debug_log_level(0xFF00);
  wzlb_util_set_modulemask(0x6);
  line("level", 0xFF, 0x2);
  line("module", 0xFF00, 0x1);
  EXPECT_FALSE(std::filesystem::exists(path_));
  line("both", 0xFF00, 0x4);
  EXPECT_TRUE(content_of(path_).ends_with("|both"));
}

TEST_F(Log, LongMessagesAreCut) {
  line(std::string(2 * kLineBound, 'x').c_str());
  const std::string text = content_of(path_);
  EXPECT_EQ(text.size(), kLineBound);
  EXPECT_EQ(text.find('\0'), std::string::npos);
  EXPECT_EQ(text.back(), 'x');
}

TEST_F(Log, UnusableLogIsReportedAtEveryLine) {
  wzlb_util_set_log_filename(mutable_text(""), nullptr);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(stderr_of([] { line("lost"); }),
              "Failed to open(). Error = No such file or directory");
  }
  EXPECT_EQ(wzlb_get_debug_fd(), -1);
}

TEST_F(Log, RolloverKeepsOnePreviousGeneration) {
  wzlb_util_set_debug_log_size(100);
  const std::string big(200, 'x');
  line(("1" + big).c_str());
  line(("2" + big).c_str());
  EXPECT_NE(content_of(previous_).find("|1x"), std::string::npos);
  EXPECT_NE(content_of(path_).find("|2x"), std::string::npos);
  line("3");
  EXPECT_NE(content_of(previous_).find("|2x"), std::string::npos);
  wzlb_util_set_debug_log_size(0);
  line(big.c_str());
  line("4");
  EXPECT_TRUE(content_of(path_).ends_with("|4")) << "size 0 switches rollover off";
  EXPECT_NE(content_of(path_).find("|3"), std::string::npos);
}

TEST_F(Log, RolloverByHourAndMinute) {
  int fd = -1;
  ASSERT_EQ(wzlb_open_file_with_header(&fd, path_.data(), mutable_text("head")), 1);
  EXPECT_EQ(wzlb_open_file_with_header(&fd, path_.data(), mutable_text("head")), 0);
  EXPECT_EQ(wzlb_check_rollover_file(&fd, path_.data(), 4, 0), 0);
  EXPECT_GT(fd, 0) << "not above the limit";
  EXPECT_EQ(wzlb_check_rollover_file(&fd, path_.data(), 3, 0), 0);
  EXPECT_EQ(fd, -1);
  const auto moved = std::filesystem::directory_iterator(folder_.path())->path();
  EXPECT_TRUE(matches(moved.filename(), R"(debug\.log\.\d\d\.\d\d)")) << moved;
  std::ofstream(path_) << "old";
  EXPECT_EQ(wzlb_open_log(&fd, path_.data(), 100, mutable_text("head")), 0);
  EXPECT_EQ(content_of(path_), "old") << "only a new file gets the header";
  close(fd);
}

TEST_F(Log, ProcessesShareALogByWholeLines) {
  constexpr int kSize = 20000;
  wzlb_util_set_debug_log_size(kSize);
  std::vector<pid_t> writers;
  for (int writer = 0; writer < 4; ++writer) {
    writers.push_back(fork());
    if (writers.back() == 0) {
      for (int i = 0; i < 300; ++i) {
        line("0123456789012345678901234567890123456789 end");
      }
      _exit(0);
    }
  }
  for (pid_t writer : writers) {
    int status = -1;
    waitpid(writer, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_GT(content_of(previous_).size(), kSize) << "moved aside before it was full";
  const std::regex whole_line("\n" + kTime + R"(\|a\.c\|7\|f\|(0123456789){4} end)");
  for (const std::string& path : {path_, previous_}) {
    EXPECT_EQ(std::regex_replace(content_of(path), whole_line, ""), "") << path;
  }
}

TEST_F(Log, ErrorLine) {
  const std::pair<unsigned, std::string> severities[] = {{0xFF, "Critical"},
                                                         {0xFF00, "Major"},
                                                         {0xFF0000, "Minor"},
                                                         {0xFF000000, "Warning"},
                                                         {1, "Unknown Log Level"}};
  for (const auto& severity : severities) {
    const std::string text =
        stderr_of([&] { error_line(static_cast<int>(severity.first), "bad"); });
    const std::string tail = R"(\|id\|)" + severity.second + R"(\|attr\|a\.c\|7\|f\|Error\|bad)";
    EXPECT_TRUE(matches(text, "\n" + kTime + tail)) << text;
  }
  EXPECT_EQ(stderr_of([] { error_line(0, "bad"); }), "");
  std::string error_path = (folder_.path() / "error.log").string();
  wzlb_util_set_log_filename(nullptr, error_path.data());
  wzlb_util_set_debug_log_size(1);
  error_line(0xFF, "1");
  error_line(0xFF, "2");
  EXPECT_EQ(wzlb_get_error_fd(), lib_error_fd);
  const std::string text = content_of(error_path);
  EXPECT_NE(text.find("|Error|1\n"), std::string::npos) << "never rolled over";
  EXPECT_TRUE(text.ends_with("|Error|2"));
}

TEST_F(Log, StreamLine) {
  FILE* stream = std::fopen(path_.c_str(), "w");
  const auto log = [&](int level, FILE* fp, const std::string& message) {
    return lib_debug_log(level, 2, fp, mutable_text("a.c"), 7, mutable_text("f"),
                         const_cast<char*>("%s"), message.c_str());
  };
  EXPECT_EQ(log(3, stream, "no"), 0);
  EXPECT_EQ(log(2, stream, "yes"), 0);
  EXPECT_TRUE(matches(content_of(path_), "\n" + kTime + R"(\|a\.c\|7\|f\|yes)" + "\n"));
  log(1, stream, std::string(30000, 'x'));
  std::fclose(stream);
  EXPECT_TRUE(content_of(path_).ends_with("x\n"));
  EXPECT_LT(content_of(path_).size(), 20100U);
  testing::internal::CaptureStdout();
  log(1, nullptr, "out");
  EXPECT_TRUE(testing::internal::GetCapturedStdout().ends_with("|out\n"));
  FILE* unwritable = std::fopen(path_.c_str(), "r");
  EXPECT_EQ(stderr_of([&] { log(1, unwritable, "x"); }), "\nUnable to write to debug\n");
  std::fclose(unwritable);
}

TEST_F(Log, LevelKeyword) {
  const std::tuple<const char*, int, int, std::string> cases[] = {
      {"LIB_DEBUG 1", 0, 0xFF, ""},
      {"LIB_DEBUG 2\n", 0, 0xFFFF, ""},
      {"LIB_DEBUG 3", 0, 0xFFFFFF, ""},
      {"LIB_DEBUG 4", 0, -1, ""},
      {"LIB_DEBUG 256 rest", 0, 256, ""},
      {"LIB_DEBUG abc", -1, 77, "Error: Value of LIB_DEBUG is not numeric"},
      {"LIB_DEBUG", 0, 0,
       "Invalid argument to keyword LIB_DEBUG, should be atleast two (LIB_DEBUG <level>)\n"}};
  for (const auto& [line, result, level, message] : cases) {
    wzlb_util_set_debug_log_level(77);
    testing::internal::CaptureStderr();
    EXPECT_EQ(set_wzlb_debug(mutable_text(line)), result) << line;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message) << line;
    EXPECT_EQ(wzlb_log_level, level) << line;
  }
}

TEST_F(Log, ModuleMaskKeyword) {
  char message[WZLB_MODULEMASK_ERROR_SIZE] = "";
  const std::pair<const char*, unsigned long long> cases[] = {
      {"M ALL ~ HESSIAN\n", ~0ULL - 2},   {"M SEARCH search", 0x2}, {"M ALL API", 0xF},
      {"M ALL ~ TOPO SEARCH", ~0x101ULL}, {"M 0x2A0 64", 0x2E0},    {"M", 0},
      {"M SEARCH ~ HASH", 0x1},           {"M ~HASH 8", 8}};
  for (const auto& [line, mask] : cases) {
    wzlb_util_set_modulemask(99);
    EXPECT_EQ(set_wzlb_modulemask(mutable_text(line), message), 0) << line;
    EXPECT_EQ(lib_module_mask, mask) << line;
  }
  wzlb_util_set_modulemask(99);
  EXPECT_EQ(set_wzlb_modulemask(mutable_text("M SEARCH Bogus API"), message), -1);
  EXPECT_STREQ(message, "ZelErr[1011357]: Provided Modulemask 'Bogus' is not a valid modulemask.");
  EXPECT_EQ(lib_module_mask, 99U);
}

TEST_F(Log, ExitKeyword) {
  const char* const refused =
      "Invalid value for num in keyword LIB_DO_EXIT. Hence setting default value to 100\n";
  const std::tuple<const char*, int, std::string> cases[] = {
      {"LIB_DO_EXIT 0", 0, ""},
      {"LIB_DO_EXIT 1024", 1024, ""},
      {"LIB_DO_EXIT 1025", 100, refused},
      {"LIB_DO_EXIT -1", 100, refused},
      {"LIB_DO_EXIT 4294967297", 100, refused},
      {"LIB_DO_EXIT x", 100, refused},
      {"LIB_DO_EXIT", 100, refused}};
  for (const auto& [line, size, message] : cases) {
    lib_backtrace_size = 5;
    testing::internal::CaptureStderr();
    EXPECT_EQ(kw_set_lib_do_exit(mutable_text(line)), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
    EXPECT_EQ(lib_backtrace_size, size) << line;
  }
  EXPECT_NE(content_of(path_).find("|Keyword=[LIB_DO_EXIT], size =[1024]"), std::string::npos);
}

TEST(ErrorText, IsPerThread) {
  EXPECT_STREQ(wzlb_strerror(ENOENT), "No such file or directory");
  EXPECT_STREQ(wzlb_strerror(99999), "Unknown error 99999");
  wzlb_set_error(std::string(300, 'e').data());
  std::thread([] { EXPECT_STREQ(wzlb_get_error(), ""); }).join();
  EXPECT_EQ(wzlb_get_error(), std::string(256, 'e'));
  wzlb_set_error(mutable_text("short"));
  wzlb_set_error(wzlb_get_error());
  EXPECT_STREQ(wzlb_get_error(), "short") << "set to itself";
}

void leave(int status, int fd, char* buffer, int size, const char* message) {
  wzlb_exit(status, fd, buffer, size, mutable_text("a.c"), 7, mutable_text("f"),
            const_cast<char*>("%s"), message);
}

TEST_F(Log, FatalExit) {
  EXPECT_EXIT(leave(0, 1, nullptr, 0, "bye"), ExitedWithCode(0), Eq("bye\n"));
  const auto exit_text = [&](char* buffer, int size, const std::string& message) {
    const int fd = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    EXPECT_EXIT(leave(-1, fd, buffer, size, message.c_str()), ExitedWithCode(255), "");
    close(fd);
    return content_of(path_);
  };
  wzlb_util_set_debug_log_level(0);
  EXPECT_TRUE(matches(exit_text(nullptr, 0, "bad"),
                      kTime + R"(\|a\.c\|7\|f\|bad\.)" + "\nExiting\\.\\.\\."));
  EXPECT_EXIT(leave(3, -1, nullptr, 0, "bad"), ExitedWithCode(3), Eq("bad\n"));
  char buffer[64];
  const std::string cut = exit_text(buffer, sizeof buffer, std::string(500, 'x'));
  EXPECT_EQ(cut.size(), sizeof buffer - 1);
  EXPECT_TRUE(cut.ends_with("x.\nExiting..."));
}

}  // namespace
