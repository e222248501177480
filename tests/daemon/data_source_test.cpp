// The store of data sources: files of rows, and processes that share tables and are killed.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <wz/wz_ids.h>

#include <csignal>

#include "daemon/data_source/kept_file.h"
#include "daemon/data_source/source_session.h"
#include "tests/support/capture.h"
#include "tests/support/temporary_folder.h"

namespace vsd {
namespace {

using wz::test::content_of;

char* arg(const char* text) {
  return const_cast<char*>(text);
}

std::string rows_or_problems(const std::string& text, char delimiter, int first_line = 1) {
  const RowFormat format{delimiter, {"key", "name", "price"}, first_line};
  std::string problems;
  RowSet set;
  read_rows(
      text, format,
      [&](int line, const std::string& problem) {
        problems += std::to_string(line) + ": " + problem + "\n";
      },
      set);
  std::string rows;
  for (const RowSet::Row& row : set.rows) {
    rows.append(row.key).append("=").append(row.data).append(";");
  }
  return problems.empty() ? rows : problems;
}

TEST(DataSourceRows, AreReadFromAFile) {
  const std::tuple<const char*, char, const char*> cases[] = {
      {"b|B|2\na||\r\n\n", '|', "a=|;b=B|2;"},
      {"\xEF\xBB\xBF"
       "a,\"say \"\"x\"\"\",1",
       ',', "a=say \"x\",1;"},
      {"\"a\nb\"|\"1,2\"|x\nc|\"\"|y\"z\n", '|', "a\nb=1,2|x;c=|y\"z;"},
      {"", ',', ""},
      {"a|b\na|b|c|d\n", '|',
       "1: there are 2 columns where 3 are declared\n2: there are 4 columns where 3 are "
       "declared\n"},
      {"a,\"b\nb\",1\nc,\"1,2\",3\n", ',',
       "3: column 'name' holds the delimiter, which no value of a row may; choose another one\n"},
      {"a,\"b\"b,1\na,b,\"c\n", ',',
       "1: there is text behind the quotes of column 2\n2: the quotes of column 3 are not "
       "closed\n"},
      {"a,1,1\nb,1,1\na,2,2\n", ',', "3: the key 'a' stands on line 1 already\n"},
  };
  for (const auto& [text, delimiter, expected] : cases) {
    EXPECT_EQ(rows_or_problems(text, delimiter), expected);
  }
  EXPECT_EQ(rows_or_problems("sku|name\n\na|1|2\n", '|', 2), "a=1|2;");
  EXPECT_NE(rows_or_problems(std::string(60, '\n') + std::string("a\na\na\n"), ',').find("61: "),
            std::string::npos);
}

// A store with the data source `stock`, as one or several processes use it.
class DataStoreTest : public testing::Test {
 protected:
  DataStoreTest() {
    folder_.write("stock.csv", "A-1|5|9.50\nA-2|0|1\n");
    source_.name = "stock";
    source_.file = folder_.path() / "stock.csv";
    source_.format = {'|', {"sku", "quantity", "price"}, 1};
    source_.kept_file = folder_.path() / "state/stock.csv";
  }

  // Makes the store anew, as a start of the daemon does. What is wrong with the rows, if anything.
  std::string start() {
    session_.reset();
    tables_.clear();
    store_.emplace(folder_.path());
    return load();
  }
  // As a reload does.
  std::string load() {
    std::vector<Problem> problems;
    static_cast<void>(load_rows(source_, problems));
    if (!problems.empty()) {
      return to_string(problems.front());
    }
    tables_ = store_->tables_of({&source_});
    return "";
  }
  void open() {
    session_.reset();
    session_.emplace(*store_, tables_);
  }

  static std::string row(const char* key) {
    char* const text = wz_ids_select(arg("stock"), arg(key));
    std::string copy = text != nullptr ? text : "(none)";
    free(text);
    return copy;
  }

  wz::test::TemporaryFolder folder_;
  DataSourceDefinition source_;
  std::optional<DataStore> store_;
  std::vector<DataTablePtr> tables_;
  std::optional<SourceSession> session_;
};

TEST_F(DataStoreTest, KeptRowsAreThereAfterAStart) {
  source_.is_kept = true;
  ASSERT_EQ(start(), "");
  open();
  EXPECT_EQ(wz_ids_insert(arg("stock"), arg("B \"x\"\n|1|2")), 0);
  EXPECT_EQ(wz_ids_increment_field_value(arg("stock"), arg("A-1"), arg("quantity"), 2), 0);
  EXPECT_EQ(wz_ids_delete(arg("stock"), arg("A-2")), 0);
  ASSERT_EQ(start(), "");
  open();
  EXPECT_EQ(row("A-1") + row("A-2") + row("B \"x\"\n"), "7|9.50(none)1|2");

  // A file that has been tampered with, or cut, is told of and left alone.
  const std::string whole = content_of(source_.kept_file);
  for (const std::string& damaged :
       {whole.substr(0, whole.size() - 1), whole.substr(0, 40), whole + "C|1|1\n"}) {
    folder_.write("state/stock.csv", damaged);
    EXPECT_EQ(start(), source_.kept_file.string() +
                           ":1: the file is damaged: its rows are not those that its first line "
                           "tells of; to begin anew with " +
                           source_.file.string() + ", move this file away");
    EXPECT_EQ(content_of(source_.kept_file), damaged);
  }
  folder_.write("state/stock.csv", whole);
  ASSERT_EQ(start(), "");
  open();
  EXPECT_EQ(wz_ids_delete_all(arg("stock")), 0);
  ASSERT_EQ(start(), "");
  open();
  EXPECT_EQ(row("A-1"), "(none)");
}

TEST_F(DataStoreTest, AFullDiskCostsNeitherRowsNorTheFormerFile) {
  source_.is_kept = true;
  ASSERT_EQ(start(), "");
  open();
  ASSERT_EQ(wz_ids_insert(arg("stock"), arg("B|1|1")), 0);
  const std::string former = content_of(source_.kept_file);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{64U << 20U, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const std::string large = "L|" + std::string(65U << 20U, 'x') + "|1";
  const std::string told = wz::test::stderr_of(
      [&] { EXPECT_EQ(replace_file(source_.kept_file, large), "File too large"); });
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(content_of(source_.kept_file), former);
  EXPECT_FALSE(std::filesystem::exists(source_.kept_file.string() + ".new"));

  // The file cannot be made at all.
  std::filesystem::create_directories(source_.kept_file.string() + ".new");
  EXPECT_NE(wz::test::stderr_of([&] {
              EXPECT_EQ(wz_ids_insert(arg("stock"), arg("C|1|1")), 0);
            }).find("the rows of data source 'stock' are not kept"),
            std::string::npos);
  EXPECT_EQ(content_of(source_.kept_file), former);
  std::filesystem::remove(source_.kept_file.string() + ".new");
  EXPECT_EQ(wz_ids_insert(arg("stock"), arg("D|1|1")), 0);
  EXPECT_NE(content_of(source_.kept_file).find("\nC|1|1\nD|1|1\n"), std::string::npos);
}

TEST_F(DataStoreTest, AReloadKeepsTheRowsOfASourceThatDidNotChange) {
  ASSERT_EQ(start(), "");
  open();
  EXPECT_EQ(wz_ids_insert(arg("stock"), arg("B|1|1")), 0);
  ASSERT_EQ(load(), "");
  open();
  EXPECT_EQ(row("B"), "1|1");
  folder_.write("stock.csv", "B|2|2\n");
  ASSERT_EQ(load(), "");
  EXPECT_EQ(row("B"), "1|1");  // the former workers go on with their table
  open();
  EXPECT_EQ(row("B") + row("A-1"), "2|2(none)");
}

// Children work on one row, and on rows of their own, while they are killed one after the other.
// What they have been told is done is there; what was under way is there whole or not at all.
TEST_F(DataStoreTest, NothingIsLostWhenProcessesAreKilled) {
  constexpr int kKills = 60;
  constexpr int kChildren = 3;
  struct Done {
    std::atomic<long> increments;
    std::atomic<long> inserts;
  };
  source_.is_kept = true;
  ASSERT_EQ(start(), "");
  const SharedArray<Done> done(kKills + kChildren);
  const auto work = [&](int number) {
    SourceSession session(*store_, tables_);
    for (long i = 0;; ++i) {
      const std::string values = std::to_string(number) + "-" + std::to_string(i) + "|0|0";
      if (wz_ids_insert(arg("stock"), arg(values.c_str())) != 0) {
        std::_Exit(1);
      }
      ++done[number].inserts;
      if (wz_ids_increment_field_value(arg("stock"), arg("A-1"), arg("quantity"), 1) != 0 ||
          wz_ids_update(arg("stock"), arg("A-2"), arg("1|2")) != 0) {
        std::_Exit(2);
      }
      ++done[number].increments;
    }
  };
  std::vector<std::pair<pid_t, int>> children;
  for (int number = 0; number < kKills + kChildren; ++number) {
    const pid_t pid = fork();
    if (pid == 0) {
      work(number);
    }
    children.emplace_back(pid, number);
    if (children.size() == kChildren || number >= kKills) {
      const auto [oldest, its_number] = children.front();
      while (done[its_number].increments < 2) {  // it, too, gets to work after the kill before
      }
      kill(oldest, SIGKILL);
      int status = 0;
      waitpid(oldest, &status, 0);
      EXPECT_TRUE(WIFSIGNALED(status)) << status;
      children.erase(children.begin());
    }
  }
  for (const auto& [pid, number] : children) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  const auto check = [&] {
    open();
    long increments = 0;
    long inserts = 0;
    for (int number = 0; number < kKills + kChildren; ++number) {
      increments += done[number].increments;
      inserts += done[number].inserts;
      for (long i = 0; i < done[number].inserts; ++i) {
        const std::string key = std::to_string(number) + "-" + std::to_string(i);
        ASSERT_EQ(row(key.c_str()), "0|0") << key;
      }
    }
    const long stored = std::stol(row("A-1")) - 5;
    EXPECT_GE(stored, increments);
    EXPECT_LE(stored, increments + kKills + kChildren);
    EXPECT_EQ(row("A-2"), "1|2");
    std::printf("%d kills, %ld rows, %ld increments, %ld of them untold\n", kKills + kChildren,
                inserts, stored, stored - increments);
  };
  check();
  ASSERT_EQ(start(), "");  // from the file
  check();
}

}  // namespace
}  // namespace vsd
