#include "daemon/settings.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/temporary_folder.h"

namespace vsd {
namespace {

class Environment {
 public:
  Environment(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() { unsetenv(name_); }

 private:
  const char* name_;
};

TEST(Settings, AnOptionGoesBeforeTheEnvironmentAndThatBeforeTheFile) {
  const wz::test::TemporaryFolder root;
  root.write("vsd.conf", "LISTEN 1001\nWORKERS 3\nIDLE_TIMEOUT 7\nVSD_DEBUG 1\nPID_FILE a.pid\n");
  const Environment listen("VSD_LISTEN", "[::1]:1002");
  const Environment workers("VSD_WORKERS", "4");
  const Environment debug("VSD_DEBUG", "4");
  const Environment empty("VSD_IDLE_TIMEOUT", "");
  const Environment library("VSD_LIB_DEBUG", "2");
  CommandLine line;
  line.root = root.path();
  line.workers = 5;
  std::vector<Problem> problems;
  Config config = read_settings(line, problems);
  EXPECT_TRUE(problems.empty()) << to_string(problems[0]);
  EXPECT_EQ(config.listen, (ListenAddress{"::1", 1002}));
  EXPECT_EQ(config.workers, 5);
  EXPECT_EQ(config.limits.idle_timeout.count(), 7);
  EXPECT_EQ(config.debug_level, -1);
  EXPECT_EQ(config.pid_file, "a.pid");
  ASSERT_EQ(config.library_lines.size(), 1U);
  EXPECT_EQ(config.library_lines[0].text, "LIB_DEBUG 2");

  const Environment wrong("VSD_CRASH_LIMIT", "many");
  line.listen = "1003";
  config = read_settings(line, problems);
  ASSERT_EQ(problems.size(), 1U);
  EXPECT_EQ(to_string(problems[0]), "VSD_CRASH_LIMIT: CRASH_LIMIT must be a number from 0 to 1000");
  EXPECT_EQ(config.listen.port, 1003);
}

}  // namespace
}  // namespace vsd
