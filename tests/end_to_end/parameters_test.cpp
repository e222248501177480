// Values that vsd makes up, and what scripts do to connections, through a real vsd.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/capture.h"
#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

using wz::test::TemporaryFolder;

// The code blocks of a page.
std::vector<std::string> code_blocks(const std::filesystem::path& page) {
  std::istringstream lines(wz::test::content_of(page));
  std::vector<std::string> blocks;
  bool is_inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("```")) {
      is_inside = !is_inside;
      if (is_inside) {
        blocks.emplace_back();
      }
    } else if (is_inside) {
      blocks.back() += line + '\n';
    }
  }
  return blocks;
}

// The examples of the page for script authors run as they stand there.
TEST(ParametersEndToEnd, TheDocumentedExamplesRun) {
  const std::map<std::string, std::string> expected = {
      {"delivery",
       R"(Ordered [-\d]{10} [:\d]{8}\.\d{3}, arrives \d\d\.\d\d\.\d{4} \((Mon|Tues|Wednes|Thurs|Fri)day\), reviewed on [-\d]{10}, slot [:\d]{8})"},
      {"dice", R"(P-\d{4} rolls [1-6] and [1-6])"},
      {"voucher", R"(Your voucher: [A-Z0-9]{6,10})"},
      {"person", R"([A-Z].+, (1[89]|[2-9]\d))"},
      {"ticket", R"(Ticket \d{20})"}};
  const TemporaryFolder root;
  const auto blocks = code_blocks(std::filesystem::path(DOCS_FOLDER) / "parameters.md");
  const std::regex service_name(R"(wz_service\((\w+))");
  const std::regex file_name(R"(file="([\w.]+)\")");
  std::smatch service;
  std::smatch file;
  for (std::size_t i = 0; i + 1 < blocks.size(); ++i) {
    if (std::regex_search(blocks[i], service, service_name) &&
        std::regex_search(blocks[i], file, file_name)) {
      const std::string folder = "correlation/demo/try/services/" + service[1].str() + "/";
      root.write(folder + "service.wz", blocks[i]);
      root.write(folder + file[1].str(), blocks[i + 1]);
    }
  }
  VsdProcess vsd(root.path());
  HttpClient client;
  for (const auto& [name, pattern] : expected) {
    const auto answer = client.get(vsd.url("/" + name));
    EXPECT_EQ(answer.status, 200) << name;
    EXPECT_TRUE(std::regex_match(answer.body, std::regex(pattern + "\n"))) << answer.body;
  }
  EXPECT_EQ(vsd.stop(), 0);
}

std::string field(const std::string& json, const std::string& name) {
  std::smatch found;
  std::regex_search(json, found, std::regex("\"" + name + "\": \"?([^\",}]*)"));
  return found[1];
}

TEST(ParametersEndToEnd, AQuoteKeepsItsPriceAsLongAsTheConnection) {
  VsdProcess vsd(EXAMPLES_FOLDER, "WORKERS 3\n");
  std::set<std::string> ids;
  std::set<std::string> prices;
  std::set<std::string> tokens;
  for (int i = 0; i < 30; ++i) {
    HttpClient client;
    std::string price;
    for (const int quantity : {2, 10}) {
      const std::string body = "<quantity>" + std::to_string(quantity) + "</quantity>";
      const auto answer = client.post(vsd.url("/quote"), body);
      ASSERT_EQ(answer.status, 200) << answer.body;
      price = price.empty() ? field(answer.body, "unit_price") : price;
      EXPECT_EQ(field(answer.body, "unit_price"), price);
      EXPECT_EQ(field(answer.body, "token").size(), 16U);
      const double total = std::stoi(price) * quantity * (quantity < 10 ? 1 : 0.9) / 100;
      EXPECT_NEAR(std::stod(field(answer.body, "total")), total, 0.006);
      ids.insert(field(answer.body, "id"));
      tokens.insert(field(answer.body, "token"));
    }
    prices.insert(price);
  }
  EXPECT_EQ(ids.size(), 60U);
  EXPECT_EQ(tokens.size(), 60U);
  EXPECT_GT(prices.size(), 15U);
  HttpClient client;
  EXPECT_EQ(client.post(vsd.url("/quote"), "<quantity>1; evil()</quantity>").status, 200);
  EXPECT_EQ(client.post(vsd.url("/quote"), "<quantity>none</quantity>").status, 422);
  EXPECT_EQ(vsd.stop(), 0);
}

// Each of several workers hands out seconds of its own.
TEST(ParametersEndToEnd, UniqueDatesOfSeveralWorkersDiffer) {
  const TemporaryFolder root;
  root.write("correlation/p/s/services/slot/service.wz",
             "wz_service(slot, url=\"/slot\"); wz_response(ok, file=\"r.txt\");\n"
             "wz_date_var(slot, format=\"%s\", UNIQUE=YES);\n");
  root.write("correlation/p/s/services/slot/r.txt", "{slot}");
  VsdProcess vsd(root.path(), "WORKERS 4\n");
  std::set<std::string> seconds;
  for (int i = 0; i < 40; ++i) {
    HttpClient client;
    const auto first = client.get(vsd.url("/slot")).body;
    EXPECT_EQ(client.get(vsd.url("/slot")).body, first);
    seconds.insert(first);
  }
  EXPECT_EQ(seconds.size(), 40U);
  EXPECT_EQ(vsd.stop(), 0);
}

// The modes that scripts ask for. What mode 4 answers tells which load it saw.
TEST(ParametersEndToEnd, ServiceTimesFollowTheLoad) {
  const TemporaryFolder root;
  root.write("correlation/p/s/services/t/service.wz",
             "wz_service(t, url=\"/t\"); wz_response(ok, file=\"r.txt\"); wz_scratch_var(t);\n");
  root.write("correlation/p/s/services/t/r.txt", "{t}");
  root.write("correlation/p/s/services/t/script.c",
             "#include <stdio.h>\n#include <wz/wz_script.h>\n"
             "void post_recv(void) {\n"
             "  char text[200]; long sum = 0; int i, inside = 0;\n"
             "  for (i = 0; i < 1000; i++) {\n"
             "    int even = wz_get_svc_time(3, 10, 20);\n"
             "    sum += wz_get_svc_time(1, 0, 0); inside += even >= 10 && even < 20; }\n"
             "  snprintf(text, sizeof text, \"%d %d %d %d %d %ld\",\n"
             "           wz_get_svc_time(4, 1000000, 100000000), wz_get_svc_time(0, 7, 9),\n"
             "           wz_get_svc_time(2, 7, 9), wz_get_svc_time(5, 7, 9), inside, sum / 1000);\n"
             "  wz_save_string(text, \"t\");\n}\n");
  VsdProcess vsd(root.path(), "WORKERS 1\nMAX_LOAD 400\nSVC_TIME_MEAN 300\nRANDOM_SEED 4\n");
  HttpClient client;
  double highest = 0;
  for (int served = 1; served <= 200; ++served) {
    std::istringstream body(client.get(vsd.url("/t")).body);
    double by_load = 0;
    int none = -1;
    int fixed = 0;
    int unknown = 0;
    int inside = 0;
    int mean = 0;
    ASSERT_TRUE(body >> by_load >> none >> fixed >> unknown >> inside >> mean);
    const double load = 400 * std::log(by_load / 1e6) / std::log(100);
    EXPECT_NEAR(load, std::round(load), 0.001);
    EXPECT_TRUE(load > 0.9 && load < served + 0.1) << load << " of " << served;
    highest = std::max(highest, load);
    EXPECT_EQ(none, 0);
    EXPECT_EQ(fixed, 7);
    EXPECT_EQ(unknown, -1);
    EXPECT_EQ(inside, 1000);
    EXPECT_NEAR(mean, 300, 60);  // six standard errors
  }
  EXPECT_GT(highest, 2.9) << "the load has never shown";
  EXPECT_EQ(vsd.stop(), 0);
}

TEST(ParametersEndToEnd, ScriptsResetConnectionsAndSetTheirIdleTime) {
  const TemporaryFolder root;
  root.write("correlation/p/s/services/c/service.wz",
             "wz_service(c, url=\"/c\"); wz_response(ok, file=\"r.txt\"); wz_scratch_var(raw);\n");
  root.write("correlation/p/s/services/c/r.txt", "{raw}");
  root.write("correlation/p/s/services/c/script.c",
             "#include <string.h>\n#include <wz/wz_script.h>\n"
             "void post_recv(void) {\n"
             "  int size; RequestBuffer *raw = wz_get_request_buf(&size);\n"
             "  wz_save_binary_val(raw->buffer, \"raw\", size);\n"
             "  if (strstr(wz_get_url(), \"reset\")) wz_reset_connection();\n"
             "  if (strstr(wz_get_url(), \"brief\")) wz_ka_time(1);\n"
             "  wz_save_string(wz_get_controller_name(), \"raw\");\n}\n"
             "void pre_send(void) { wz_trace_log(\"raw\", \"{raw}\"); }\n");
  VsdProcess vsd(root.path(), "CONTROLLER_NAME east\nTRACE_LOG 1\n");
  const auto get = [](const char* target) {
    return "GET " + std::string(target) + " HTTP/1.1\r\nHost: a\r\n\r\n";
  };
  const RawClient reset(vsd.port());
  reset.send(get("/c?reset"));
  EXPECT_EQ(reset.receive(), "");
  EXPECT_EQ(errno, ECONNRESET);
  const RawClient brief(vsd.port());
  brief.send(get("/c?brief"));
  EXPECT_TRUE(brief.receive("east").ends_with("\r\n\r\neast"));
  EXPECT_EQ(brief.receive(), "") << "closed long before the minute that is configured";
  const RawClient other(vsd.port());
  other.send(get("/c"));
  EXPECT_TRUE(other.receive("east").starts_with("HTTP/1.1 200"));
  EXPECT_EQ(vsd.stop(), 0);
}

}  // namespace
}  // namespace vsd::test
