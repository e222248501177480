// The admin listener of a real vsd with two workers.
#include <gtest/gtest.h>

#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

class Admin : public testing::Test {
 protected:
  Answer page(const std::string& target) {
    return client_.get("http://127.0.0.1:" + std::to_string(vsd_.admin_port()) + target);
  }
  void expect(const std::string& target, const std::vector<std::string>& parts) {
    const auto answer = page(target);
    EXPECT_EQ(answer.status, 200) << target;
    for (const std::string& part : parts) {
      EXPECT_NE(answer.body.find(part), std::string::npos) << part << " in " << answer.body;
    }
  }
  // Asks until the page shows `part`; the test's own time-out ends this.
  void await(const std::string& target, const std::string& part) {
    while (page(target).body.find(part) == std::string::npos) {
    }
  }
  // A request on a connection of its own, so that the workers share them.
  std::string ask(const std::string& request) const {
    const RawClient client(vsd_.port());
    client.send(request);
    return client.receive();
  }
  std::string get(const std::string& target) const {
    return ask("GET " + target + " HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
  }

  VsdProcess vsd_{EXAMPLES_FOLDER, "ADMIN 127.0.0.1:0\nWORKERS 2\nJOURNAL_SIZE 16384\n"};
  HttpClient client_;
};

TEST_F(Admin, ShowsWhatTheWorkersServe) {
  expect("/health", {R"("status":"ready")", R"("configured":2,"serving":2)"});
  for (int i = 0; i < 20; ++i) {
    EXPECT_NE(get("/greeting?name=" + std::to_string(i)).find("Hello"), std::string::npos);
  }
  ask("POST /order HTTP/1.1\r\nHost: a\r\nConnection: close\r\nContent-Length: "
      "7\r\n\r\n\"\\\1\xff\n</");
  get("/nowhere?q=\"");
  get("/flaky?how=reset");
  ask("no \x01 request\r\n\r\n");

  const std::string greeting = R"({project="demo/shop",service="greeting",)";
  expect("/metrics",
         {"\nvsd_ready 1\n", "\nvsd_worker_restarts_total 0\n",
          "\nvsd_requests_total" + greeting + "status=\"200\"} 20\n",
          "\nvsd_request_duration_seconds_bucket" + greeting + "le=\"+Inf\"} 20\n",
          "\nvsd_requests_total{status=\"400\"} 1\n", "\nvsd_requests_total{status=\"404\"} 1\n",
          "service=\"flaky\",status=\"none\"} 1\n", "\nvsd_pending_responses{worker=",
          "\nvsd_resident_memory_bytes{process=\"worker\",worker="});
  expect("/services",
         {R"("name":"greeting","state":"serving","methods":["GET"],"url":"/greeting","errors":[],)"
          R"("crashes":0,"requests":20,"statuses":{"200":20}})",
          R"("no_service":{"requests":2,)"});
  // The ring has 16 places, so the greetings have been overwritten in part.
  expect("/requests",
         {R"("capacity":16,)", R"("head":"no \u0001 request)", R"("status":null,"fault":"reset",)",
          R"("target":"/nowhere?q=\"","nearest":[")",
          "\"body\":\"\\\"\\\\\\u0001\xEF\xBF\xBD\\n</\""});
  const auto count = [this](const std::string& query) {
    const std::string body = page("/requests?" + query).body;
    std::size_t found = 0;
    for (auto at = body.find("\"number\":"); at != std::string::npos;
         at = body.find("\"number\":", at + 1)) {
      ++found;
    }
    return found;
  };
  const std::pair<const char*, std::size_t> filters[] = {{"", 16},
                                                         {"unmatched=1", 2},
                                                         {"service=flaky", 1},
                                                         {"limit=3", 3},
                                                         {"service=demo%2Fshop/orders", 1},
                                                         {"status=404", 2},
                                                         {"status=4xx&unmatched=1", 2},
                                                         {"status=none", 1}};
  for (const auto& [query, expected] : filters) {
    EXPECT_EQ(count(query), expected) << query;
  }
  EXPECT_EQ(page("/requests?status=abc").status, 400);
  EXPECT_EQ(page("/reload").status, 405);
  EXPECT_EQ(page("/nothing").status, 404);
}

TEST_F(Admin, OutlivesWorkersAndReloads) {
  get("/greeting");
  vsd_.write("correlation/demo/shop/services/bad/service.wz", "wz_service(bad, url=\"/bad\");\n");
  const auto answer =
      client_.post("http://127.0.0.1:" + std::to_string(vsd_.admin_port()) + "/reload", "");
  EXPECT_EQ(answer.status, 202);
  await("/health", R"("generation":2)");
  await("/services", "\"name\":\"bad\",\"state\":\"refused\"");
  expect("/services", {"there is no wz_response declaration", "\"statuses\":{\"200\":1}"});
  get("/greeting");
  expect("/services", {"\"statuses\":{\"200\":2}"});
  EXPECT_EQ(vsd_.stop(), 0);
}

}  // namespace
}  // namespace vsd::test
