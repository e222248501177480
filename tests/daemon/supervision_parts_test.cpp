// What the parent decides by, without processes.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "daemon/process/back_off.h"
#include "daemon/process/crash_limit.h"
#include "daemon/process/pid_file.h"
#include "daemon/service/script_builds.h"
#include "tests/support/temporary_folder.h"

namespace vsd {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(BackOff, GrowsToALimitAndForgetsAfterAStableTime) {
  const BackOff::Clock::time_point start{};
  BackOff back_off;
  for (const int pause : {0, 100, 200, 400, 800, 1600, 3200, 6400, 10000, 10000}) {
    EXPECT_EQ(back_off.next(start, start) - start, milliseconds(pause));
  }
  EXPECT_EQ(back_off.next(start, start + seconds(11)), start + seconds(11));
}

TEST(CrashLimit, CountsEachServiceWithinTheWindow) {
  const CrashLimit::Clock::time_point start{};
  CrashLimit limit;
  EXPECT_FALSE(limit.reached(1, start, 3, seconds(60)));
  EXPECT_FALSE(limit.reached(1, start + seconds(30), 3, seconds(60)));
  EXPECT_FALSE(limit.reached(2, start + seconds(31), 3, seconds(60)));
  EXPECT_FALSE(limit.reached(1, start + seconds(61), 3, seconds(60)));  // the first is forgotten
  EXPECT_TRUE(limit.reached(1, start + seconds(62), 3, seconds(60)));
  EXPECT_FALSE(limit.reached(1, start + seconds(63), 0, seconds(60)));
}

TEST(ScriptBuilds, ArriveAsTheyWereSentOrNotAtAll) {
  ScriptBuilds builds;
  ScriptBuildResult failed;
  failed.errors = {{"a/script.c", 3, "two\nlines: 7:x"}, {"b", 0, ""}};
  failed.warnings = {{"a/script.c", 1, "unused"}};
  ScriptBuildResult built;
  built.object = "cache/b.so";
  builds.add("a/script.c", failed);
  builds.add("b/script.c", built);
  const std::string text = builds.encode();
  const auto decoded = ScriptBuilds::decode(text);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->encode(), text);
  EXPECT_EQ(decoded->find("a/script.c")->errors[0].text, "two\nlines: 7:x");
  EXPECT_EQ(decoded->find("b/script.c")->object, "cache/b.so");
  EXPECT_EQ(decoded->find("c/script.c"), nullptr);
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_FALSE(ScriptBuilds::decode(text.substr(0, length))) << length;
  }
}

TEST(PidFile, NamesALivingHolderOnly) {
  const wz::test::TemporaryFolder folder;
  const auto path = folder.path() / "vsd.pid";
  const pid_t child = fork();
  if (child == 0) {
    const PidFile file(path);
    file.record({2, false, "error: x\n"});
    pause();
  }
  while (pid_file_holder(path) != child || !read_reload_record(path) ||
         read_reload_record(path)->count != 2) {
  }
  EXPECT_EQ(read_reload_record(path)->problem, "error: x\n");
  EXPECT_THROW(PidFile{path}, std::runtime_error);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(pid_file_holder(path), std::nullopt);
  { const PidFile next(path); }
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace vsd
