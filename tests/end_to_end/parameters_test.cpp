// Values that vsd makes up, and what scripts do to connections, through a real vsd.
#include <gtest/gtest.h>

#include <cerrno>
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
