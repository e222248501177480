// Data sources that the workers of a real vsd share, while they are killed and services reloaded.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "tests/support/capture.h"
#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

constexpr const char* kFolder = "correlation/p/s/services/rows/";

constexpr std::string_view kService = R"(
wz_service(rows, url="/rows");
wz_index_datasource(rows, file="rows.csv", columns="key,number", persist=2);
wz_index_datasource(plain, file="rows.csv", columns="key,number");
wz_query_var(key); wz_query_var(number); wz_query_var(do);
wz_global_index_var(row_number, source=plain, key=key, column=number);
wz_scratch_var(result); wz_scratch_var(worker);
wz_response(all, file="r.txt");
)";

constexpr std::string_view kScript = R"(
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <wz/wz_script.h>
void post_recv(void) {
  char what[4097], key[4097];
  char *row = NULL;
  wz_set_int_val("worker", getpid());
  wz_eval_string_buf("{do}", what);
  wz_eval_string_buf("{key}", key);
  if (strcmp(what, "insert") == 0) wz_ids_insert("plain", wz_eval_string("{key},{number}"));
  if (strcmp(what, "save") == 0) wz_save_string(wz_eval_string("{number}"), "row_number");
  if (strcmp(what, "add") == 0) {
    if (wz_ids_increment_field_value("rows", key, "number", 1) == 0 &&
        wz_ids_increment_field_value("plain", key, "number", 1) == 0)
      wz_save_string("added", "result");
    return;
  }
  if (strcmp(what, "fault") == 0) wz_ids_select("plain", (char *)8);
  row = wz_ids_select(strcmp(what, "kept") == 0 ? "rows" : "plain", key);
  wz_save_string(row ? row : "none", "result");
  free(row);
}
)";

class DataSources : public testing::Test {
 protected:
  DataSources() {
    root_.write(std::string(kFolder) + "service.wz", kService);
    root_.write(std::string(kFolder) + "script.c", kScript);
    root_.write(std::string(kFolder) + "r.txt", "{worker} {result}{row_number}\n");
    root_.write(std::string(kFolder) + "rows.csv", "a,0\n\"b\",1\n");
  }

  // What the script says, without its worker.
  static std::string ask(HttpClient& client, const VsdProcess& vsd, const std::string& query) {
    const std::string body = client.get(vsd.url("/rows?" + query)).body;
    return body.substr(body.find(' ') + 1);
  }

  wz::test::TemporaryFolder root_;
};

TEST_F(DataSources, AreOneForAllWorkersAndOutliveReloads) {
  VsdProcess vsd(root_.path(), "WORKERS 2\n");
  HttpClient writer;
  const std::string first = writer.get(vsd.url("/rows?do=insert&key=n&number=7")).body;
  std::set<std::string> workers{first.substr(0, first.find(' '))};
  while (workers.size() < 2) {  // each connection may reach either
    HttpClient reader;
    const std::string body = reader.get(vsd.url("/rows?key=n")).body;
    EXPECT_EQ(body.substr(body.find(' ')), " 7\n");
    workers.insert(body.substr(0, body.find(' ')));
  }
  EXPECT_EQ(ask(writer, vsd, "do=save&key=n&number=8"), "8\n");
  EXPECT_EQ(ask(writer, vsd, "do=fault"), "script of this service failed.\n");
  vsd.write(std::string(kFolder) + "r.txt", "{worker} new {result}\n");
  EXPECT_EQ(vsd.run("reload"), 0) << vsd.log();
  EXPECT_EQ(ask(writer, vsd, "key=n"), "new 8\n");
  EXPECT_EQ(ask(writer, vsd, "do=add&key=a"), "new added\n");
  vsd.write(std::string(kFolder) + "rows.csv", "n,1\n");  // only the one that is not kept follows
  EXPECT_EQ(vsd.run("reload"), 0) << vsd.log();
  EXPECT_EQ(ask(writer, vsd, "key=n") + ask(writer, vsd, "key=a"), "new 1\nnew none\n");
  EXPECT_EQ(ask(writer, vsd, "do=kept&key=a"), "new 1\n");
  vsd.write(std::string(kFolder) + "rows.csv", "n,1\nn\n");
  EXPECT_EQ(vsd.run("reload"), 1);
  EXPECT_NE(vsd.log().find("rows.csv:2: there are 1 columns where 2 are declared"),
            std::string::npos);
  EXPECT_EQ(ask(writer, vsd, "key=n"), "new 1\n");
  EXPECT_EQ(vsd.stop(), 0) << vsd.log();
  for (const auto& entry : std::filesystem::directory_iterator(vsd.root() / ".cache")) {
    EXPECT_EQ(entry.path().filename(), "scripts");
  }
  vsd.write("state/rows.csv", "a,1\n");
  EXPECT_EQ(vsd.run("check"), 1);
  EXPECT_NE(vsd.log().find("state/rows.csv:1: the file is damaged"), std::string::npos);
}

TEST_F(DataSources, LoseNothingWhenWorkersAreKilledUnderLoad) {
  constexpr int kKills = 8;
  VsdProcess vsd(root_.path(), "WORKERS 2\nCRASH_LIMIT 0\n");
  std::atomic<bool> done{false};
  std::atomic<long> added{0};
  std::atomic<long> unanswered{0};
  const auto add_again_and_again = [&] {
    auto client = std::make_unique<RawClient>(vsd.port());
    while (!done) {
      if (client->try_send("GET /rows?do=add&key=a HTTP/1.1\r\nHost: a\r\n\r\n") &&
          client->receive("added\n").ends_with("added\n")) {
        ++added;
      } else {
        ++unanswered;
        client = std::make_unique<RawClient>(vsd.port());
      }
    }
  };
  std::thread one(add_again_and_again);
  std::thread two(add_again_and_again);
  for (int i = 0; i < kKills; ++i) {
    const long before = added;
    while (added < before + 5) {
    }
    const auto workers = vsd.workers();
    kill(workers[static_cast<std::size_t>(i) % workers.size()], SIGKILL);
  }
  const long before = added;
  while (added < before + 20) {
  }
  done = true;
  one.join();
  two.join();
  HttpClient client;
  for (const char* query : {"key=a", "do=kept&key=a"}) {
    const long stored = std::stol(ask(client, vsd, query));
    EXPECT_GE(stored, added) << query;
    EXPECT_LE(stored, added + unanswered) << query;
  }
  std::printf("%d kills, %ld answers, %ld requests without one\n", kKills, added.load(),
              unanswered.load());
  EXPECT_EQ(vsd.stop(), 0) << vsd.log();
}

}  // namespace
}  // namespace vsd::test
