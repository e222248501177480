// HTTP's edges through a real vsd: limits, unusual clients, the end of the daemon.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

constexpr std::string_view kGreeting = "GET /greeting HTTP/1.1\r\nHost: a\r\n\r\n";

std::string post(std::size_t length, std::string_view more = "") {
  return "POST /echo HTTP/1.1\r\nHost: a\r\nContent-Length: " + std::to_string(length) + "\r\n" +
         std::string(more) + "\r\n";
}

TEST(HttpEndToEnd, LimitsAndBadRequestsEndTheirConnectionOnly) {
  VsdProcess vsd(EXAMPLES_FOLDER, "MAX_HEADER_SIZE 4096\nMAX_BODY_SIZE 65536\n");
  const RawClient bystander(vsd.port());
  const std::pair<std::string, std::string> cases[] = {
      {post(65537), "413"},
      {post(65537) + std::string(65537, 'x'), "413"},
      {post(65537, "Expect: 100-continue\r\n"), "413"},
      {"GET / HTTP/1.1\r\nX: " + std::string(200'000, 'x'), "431"},
      {"GET /" + std::string(5000, 'x'), "414"},
      {"GET / HTTP/1.1\nHost: a\n\n", "400"},
      {"BREW / HTTP/1.1\r\nHost: a\r\n\r\n", "501"},
      {"GET / HTTP/3.0\r\nHost: a\r\n\r\n", "505"},
  };
  for (const auto& [request, status] : cases) {
    const RawClient client(vsd.port());
    client.send(request);
    const auto answer = client.receive();  // to the end: the connection is closed, not reset
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 " + status)) << answer;
    EXPECT_NE(answer.find("\r\nConnection: close\r\n"), std::string::npos) << answer;
  }
  bystander.send(kGreeting);
  EXPECT_TRUE(bystander.receive(".\n").starts_with("HTTP/1.1 200"));
  EXPECT_EQ(vsd.stop(), 0);
}

TEST(HttpEndToEnd, PipelinedRequestsOfAHalfClosedClientAreAllAnswered) {
  VsdProcess vsd(EXAMPLES_FOLDER);
  const RawClient client(vsd.port());
  std::string requests;
  for (int i = 0; i < 200; ++i) {
    requests += post(3) + "abc" + "HEAD /greeting HTTP/1.1\r\nHost: a\r\n\r\n";
  }
  client.send(requests);
  client.end_sending();
  const auto answers = client.receive();
  std::size_t count = 0;
  for (auto at = answers.find("HTTP/1.1 200 OK\r\n"); at != std::string::npos;
       at = answers.find("HTTP/1.1 200 OK\r\n", at + 1)) {
    ++count;
  }
  EXPECT_EQ(count, 400U);
}

TEST(HttpEndToEnd, AWorkerThatIsStuckInAScriptIsReplaced) {
  const wz::test::TemporaryFolder root;
  root.write("correlation/p/s/services/stuck/service.wz",
             "wz_service(stuck, url=\"/stuck\");\nwz_response(ok, file=\"r.txt\");\n");
  root.write("correlation/p/s/services/stuck/r.txt", "done");
  root.write("correlation/p/s/services/stuck/script.c",
             "#include <string.h>\n#include <wz/wz_script.h>\n"
             "void post_recv(void) {\n"
             "  char out[8];\n"
             "  wz_exec_js(WZ_JS_TEXT, strstr(wz_get_url(), \"ever\") ? \"for (;;);\" : \"1\",\n"
             "             WZ_JS_TEXT, out, 8, 0, 0);\n}\n");
  VsdProcess vsd(root.path(), "SCRIPT_TIMEOUT 1\n");
  const RawClient client(vsd.port());
  client.send("GET /stuck?ever HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_TRUE(client.receive("failed.\n").starts_with("HTTP/1.1 500"));
  const RawClient next(vsd.port());
  next.send("GET /stuck HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_TRUE(next.receive("done").starts_with("HTTP/1.1 200"));
  EXPECT_EQ(vsd.stop(), 0);
}

TEST(HttpEndToEnd, TheEndLetsRequestsUnderWayFinish) {
  VsdProcess vsd(EXAMPLES_FOLDER, "WORKERS 1\n");  // so that both see the end at the same time
  const RawClient idle(vsd.port());
  idle.send(kGreeting);
  EXPECT_TRUE(idle.receive(".\n").starts_with("HTTP/1.1 200"));
  const RawClient busy(vsd.port());
  busy.send(post(6) + "abc");
  vsd.signal_stop();
  EXPECT_EQ(idle.receive(), "");
  busy.send("def");
  const auto answer = busy.receive();
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 200")) << answer;
  EXPECT_NE(answer.find("\r\nConnection: close\r\n"), std::string::npos);
  EXPECT_TRUE(answer.ends_with("abcdef"));
  EXPECT_EQ(vsd.stop(), 0);
}

// What the timer of the server's side of a connection waits for, as the kernel lists it.
std::string server_timer(int server_port, int client_port) {
  std::array<char, 64> ends{};
  std::snprintf(ends.data(), ends.size(), ":%04X 0100007F:%04X ",
                static_cast<unsigned>(server_port), static_cast<unsigned>(client_port));
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);) {
    if (line.find(ends.data()) != std::string::npos) {
      std::istringstream fields(line);
      std::vector<std::string> words(std::istream_iterator<std::string>(fields), {});
      return words.at(5);
    }
  }
  return {};
}

TEST(Listeners, SeveralAddressesAreServedAndClientsAreProbed) {
  VsdProcess vsd(EXAMPLES_FOLDER, "TCP_KEEPIDLE 700\n", "--listen=[::1]:0");
  HttpClient client;
  EXPECT_EQ(client.get(vsd.url("/greeting")).status, 200);
  const auto second = vsd.ready_line().find(", [::1]:");
  ASSERT_NE(second, std::string::npos) << vsd.ready_line();
  const int port = std::stoi(vsd.ready_line().substr(second + 8));
  EXPECT_EQ(client.get("http://[::1]:" + std::to_string(port) + "/greeting").status, 200);

  const RawClient raw(vsd.port());
  raw.send("GET /greeting HTTP/1.1\r\nHost: a\r\n\r\n");
  raw.receive("\n");
  const std::string timer = server_timer(vsd.port(), raw.port());
  EXPECT_TRUE(timer.starts_with("02:0001")) << timer;  // keepalive, in less than 655 s and more
  EXPECT_EQ(vsd.run("reload"), 0) << vsd.log();
  EXPECT_EQ(client.get("http://[::1]:" + std::to_string(port) + "/greeting").status, 200);
  EXPECT_EQ(client.connections(), 2);

  // The address of the first is taken.
  EXPECT_EQ(vsd.run("run --listen 127.0.0.1:" + std::to_string(vsd.port())), 1);
  EXPECT_NE(vsd.log().find("IP Address and port is in use"), std::string::npos) << vsd.log();
}

}  // namespace
}  // namespace vsd::test
