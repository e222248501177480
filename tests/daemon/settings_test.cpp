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
  EXPECT_EQ(config.listen, (std::vector<ListenAddress>{{"::1", 1002}}));
  EXPECT_EQ(config.workers, 5);
  EXPECT_EQ(config.limits.idle_timeout.count(), 7);
  EXPECT_EQ(config.debug_level, -1);
  EXPECT_EQ(config.pid_file, "a.pid");
  ASSERT_EQ(config.library_lines.size(), 1U);
  EXPECT_EQ(config.library_lines[0].text, "LIB_DEBUG 2");

  const Environment wrong("VSD_CRASH_LIMIT", "many");
  line.listen = {"1003", "::1:1"};
  config = read_settings(line, problems);
  ASSERT_EQ(problems.size(), 2U);
  EXPECT_EQ(to_string(problems[0]), "VSD_CRASH_LIMIT: CRASH_LIMIT must be a number from 0 to 1000");
  EXPECT_EQ(config.listen[0].port, 1003);
}

TEST(Settings, ListenLinesAddUpAndAreReadAsTheLibraryReadsThem) {
  const wz::test::TemporaryFolder root;
  CommandLine line;
  line.root = root.path();
  std::vector<Problem> problems;
  root.write("vsd.conf", "");
  EXPECT_EQ(read_settings(line, problems).listen, std::vector<ListenAddress>{kDefaultListen});
  root.write("vsd.conf",
             "LISTEN 80\nLISTEN 10.0.0.1:8080:9090\nLISTEN 8080:9090\nLISTEN localhost:0\n"
             "LISTEN [fe80::1%lo]:65535\nLISTEN 0\nLISTEN [::1]:0\n");
  EXPECT_EQ(read_settings(line, problems).listen, (std::vector<ListenAddress>{{"", 80},
                                                                              {"10.0.0.1", 8080},
                                                                              {"", 8080},
                                                                              {"localhost", 0},
                                                                              {"fe80::1%lo", 65535},
                                                                              {"", 0},
                                                                              {"::1", 0}}));
  EXPECT_TRUE(problems.empty()) << to_string(problems[0]);
  const std::pair<std::string, const char*> bad[] = {
      {"79", "Listen port must be between 80 and 65535. Port given is 79"},
      {"h:65536", "Listen port must be between 80 and 65535. Port given is 65536"},
      {"h:x", "Listen port must be numeric. Port given is x"},
      {"8080:0", "External port must be between 80 and 65535. Port given is 0"},
      {"h", "Only IP/host name was given. = h"},
      {"1:2:3:4", "Number of token = 4"},
      {"[::1]", "must be [IPv6 address]:port"},
      {"[::1]:h:80", "must be [IPv6 address]:port"},
      {"[::1]:h:0", "must be [IPv6 address]:port"},
      {std::string(65, 'h') + ":80", "must have a host of at most 64 characters"}};
  for (const auto& [text, words] : bad) {
    ListenAddress address;
    EXPECT_NE(parse_listen_address(text, address).find(words), std::string::npos)
        << parse_listen_address(text, address);
  }
}

}  // namespace
}  // namespace vsd
