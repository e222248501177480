#include "daemon/admin/journal.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace vsd {
namespace {

TEST(Journal, KeepsTheLastRequestsAndCutsTheirTexts) {
  const Journal journal(4 * 1024 + 100);
  ASSERT_EQ(journal.capacity(), 4U);
  EXPECT_TRUE(journal.entries().empty());
  const std::string body(2000, 'b');
  for (std::uint32_t i = 0; i < 6; ++i) {
    JournalFacts facts;
    facts.row = i;
    journal.note(facts, {"GET", "/" + std::string(i * 200, 'u'), "near", "head", body});
  }
  const auto entries = journal.entries();
  ASSERT_EQ(entries.size(), 4U);
  for (std::uint32_t i = 0; i < 4; ++i) {
    const JournalEntry& entry = entries[i];
    EXPECT_EQ(entry.facts.row, 5 - i);
    EXPECT_EQ(entry.method + entry.nearest + entry.head, "GETnearhead");
    EXPECT_EQ(entry.target.size(), std::min<std::size_t>((5 - i) * 200 + 1, 300));
    EXPECT_GT(entry.body.size(), 400U);
    EXPECT_TRUE(body.starts_with(entry.body));
  }
  Journal(0).note({}, {});
}

// Writers of several processes, each killed somewhere in the middle of its work: what is left can
// be read, is whole, and the ring goes on being written.
TEST(Journal, SurvivesWritersThatAreKilled) {
  const Journal journal(16 * 1024);
  const auto note = [&journal](std::uint32_t row) {
    const std::string text(300, static_cast<char>('a' + row % 26));
    JournalFacts facts;
    facts.row = row;
    facts.process = getpid();
    journal.note(facts, {"GET", text, "", text, text});
  };
  const auto check = [&journal] {
    std::size_t count = 0;
    for (const JournalEntry& entry : journal.entries()) {
      ++count;
      const std::string text(300, static_cast<char>('a' + entry.facts.row % 26));
      EXPECT_EQ(entry.target, text);
      EXPECT_TRUE(text.starts_with(entry.head) && text.starts_with(entry.body));
    }
    return count;
  };
  for (int round = 0; round < 20; ++round) {
    std::array<pid_t, 2> writers{};
    for (pid_t& writer : writers) {
      writer = fork();
      if (writer == 0) {
        for (std::uint32_t row = 0;; ++row) {
          note(row);
        }
      }
    }
    while (check() < 10) {
    }
    for (const pid_t writer : writers) {
      kill(writer, SIGKILL);
      waitpid(writer, nullptr, 0);
    }
  }
  for (std::uint32_t row = 0; row < 16 * 6; ++row) {  // slots that the killed left come back
    note(row);
  }
  EXPECT_EQ(check(), 16U);
}

}  // namespace
}  // namespace vsd
