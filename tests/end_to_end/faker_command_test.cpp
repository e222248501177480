// `vsd faker`, and that the guide names what it lists.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>
#include <string>

#include "tests/support/capture.h"

namespace vsd::test {
namespace {

struct Outcome {
  int status;
  std::string text;  // standard output
};

Outcome faker(const std::string& arguments) {
  Outcome outcome{-1, ""};
  FILE* pipe = popen((VSD_BINARY " faker " + arguments + " 2>/dev/null").c_str(), "r");
  std::array<char, 4096> part{};
  while (pipe != nullptr && std::fgets(part.data(), part.size(), pipe) != nullptr) {
    outcome.text += part.data();
  }
  outcome.status = pipe != nullptr ? WEXITSTATUS(pclose(pipe)) : -1;
  return outcome;
}

TEST(FakerCommand, PrintsValuesOfAClass) {
  const Outcome first = faker("'number.integer;min=3;max=4' --count 20 --seed 1");
  EXPECT_EQ(first.status, 0);
  EXPECT_EQ(first.text.size(), 40U);
  EXPECT_EQ(first.text.find_first_not_of("34\n"), std::string::npos);
  EXPECT_EQ(faker("'number.integer;min=3;max=4' --count 20 --seed 1").text, first.text);
  EXPECT_EQ(faker("no.such").status, 2);
  EXPECT_EQ(faker("person.name --count 0").status, 2);
}

TEST(FakerCommand, ListsTheClassesThatTheGuideNames) {
  const Outcome list = faker("");
  EXPECT_EQ(list.status, 0);
  const std::string guide = wz::test::content_of(EXAMPLES_FOLDER "/../docs/fake-data.md");
  std::istringstream lines(list.text);
  int classes = 0;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(' ')) {
      const std::string name = line.substr(0, line.find(' '));
      EXPECT_NE(guide.find("| `" + name + "` |"), std::string::npos) << name;
      ++classes;
    }
  }
  EXPECT_GE(classes, 60);
}

}  // namespace
}  // namespace vsd::test
