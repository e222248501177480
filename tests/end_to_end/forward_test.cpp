// Requests that vsd forwards, to itself and to backends that behave badly.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(ForwardEndToEnd, TheGatewayReachesItsOwnVsd) {
  VsdProcess vsd(EXAMPLES_FOLDER);
  HttpClient client;
  const auto greeting = client.get(vsd.url("/gateway?name=Ann%20B"));
  EXPECT_EQ(greeting.status, 200);
  EXPECT_TRUE(greeting.body.starts_with("Hello Ann B,")) << greeting.body;
  const std::string body(300'000, 'b');
  const auto echo = client.post(vsd.url("/gateway"), body, {"Transfer-Encoding: chunked"});
  EXPECT_TRUE(contains(echo.headers, "\r\nX-Answered-By: gateway\r\n")) << echo.headers;
  EXPECT_TRUE(echo.body.starts_with(
      "method: POST\nurl: /echo\nhost: 127.0.0.1:" + std::to_string(vsd.port()) + "\n"))
      << echo.body.substr(0, 100);
  EXPECT_TRUE(echo.body.ends_with(body));
  EXPECT_EQ(vsd.stop(), 0);
}

// Of two requests one insists on a certificate that somebody known has signed.
TEST(ForwardEndToEnd, TlsBackendsAreVerified) {
  const wz::test::TemporaryFolder root;
  const std::string key = (root.path() / "key.pem").string();
  const std::string files = " -key " + key + " -out " + key + ".crt";
  ASSERT_EQ(std::system(("openssl genrsa -out " + key +
                         " 2048 2>/dev/null;"
                         "openssl req -x509 -new -subj /CN=127.0.0.1" +
                         files)
                            .c_str()),
            0);
  const std::unique_ptr<FILE, int (*)(FILE*)> backend(
      popen(("openssl s_server -accept 127.0.0.1:0 -naccept 2 -www -key " + key + " -cert " + key +
             ".crt 2>/dev/null")
                .c_str(),
            "r"),
      pclose);
  int port = 0;
  std::array<char, 200> line{};
  while (port == 0 && std::fgets(line.data(), line.size(), backend.get()) != nullptr) {
    std::sscanf(line.data(), "ACCEPT 127.0.0.1:%d", &port);
  }
  const std::string forward = ", forward=\"https://127.0.0.1:" + std::to_string(port) + "/\"";
  root.write("work/correlation/p/s/services/t/service.wz",
             "wz_service(t, url=\"/t\"); wz_response(any" + forward +
                 ", verify=NO, query=any);\n"
                 "wz_response(known" +
                 forward + ");\n");
  VsdProcess vsd(root.path() / "work");
  HttpClient client;
  EXPECT_EQ(client.get(vsd.url("/t")).status, 502);
  const auto answer = client.get(vsd.url("/t?any=1"));
  EXPECT_EQ(answer.status, 200);
  EXPECT_TRUE(contains(answer.body, "s_server")) << answer.body;
  EXPECT_EQ(vsd.stop(), 0);
}

// One vsd with one worker, and a backend whose answers the tests write themselves.
class Forwarding : public testing::Test {
 protected:
  Forwarding() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(::listen(listener_, 16), 0);
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    backend_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    const std::string folder = "correlation/p/s/services/";
    root_.write(folder + "f/service.wz",
                "wz_service(f, method=\"GET|HEAD|POST\", url_regex=\"/f.*\");\n"
                "wz_query_var(own, name=own); wz_scratch_var(a);\n"
                "wz_response(own, file=\"own.txt\", forward=\"http://" +
                    backend_ +
                    "/x\", query=own);\n"
                    "wz_response(loop, forward=\"self\", part=url, contains=loop);\n"
                    "wz_response(dead, forward=\"http://127.0.0.1:1\", part=url, contains=dead);\n"
                    "wz_response(silent, forward=\"http://" +
                    backend_ +
                    "\", read_timeout=300, part=url, contains=silent);\n"
                    "wz_response(f, forward=\"http://" +
                    backend_ + "\");\n");
    root_.write(folder + "f/own.txt", "own answer");
    root_.write(folder + "f/script.c",
                "#include <string.h>\n#include <wz/wz_script.h>\n"
                "void post_recv(void) {\n"
                "  wz_set_forward_request_hdr(\"X-One: 1\");\n"
                "  wz_set_forward_request_hdr(\"Upgrade: not mine to set\");\n"
                "  wz_set_forward_request_hdr(\"X-Two: 2\");\n"
                "  if (strstr(wz_get_url(), \"reply\")) wz_http_send_forward_rep_to_client(0, 0);\n"
                "  if (strstr(wz_get_url(), \"status\")) {\n"
                "    wz_set_http_status_code(299); wz_set_http_hdr(\"X-Set: yes\"); }\n"
                "}\n"
                "void pre_send(void) {\n"
                "  wz_set_forward_request_hdr(wz_eval_string(\n"
                "      \"X-To: {fwd_protocol}://{fwd_hostname}:{fwd_port}\"));\n}\n");
    root_.write(folder + "near/service.wz",
                "wz_service(near, url=\"/near\"); wz_response(r, file=\"r.txt\");\n");
    root_.write(folder + "near/r.txt", "here");
    vsd_.emplace(root_.path(), "WORKERS 1\n");
  }
  ~Forwarding() override {
    EXPECT_EQ(client_.get(vsd_->url("/near")).body, "here");  // whatever happened before
    EXPECT_EQ(vsd_->stop(), 0);
    ::close(listener_);
  }

  // What the client gets when the backend sends `answer` and closes.
  std::string exchange(const std::string& request, const std::string& answer,
                       std::string* seen = nullptr) {
    const RawClient client(vsd_->port());
    client.send(request);
    client.end_sending();
    {
      const RawClient backend = RawClient::accepted(listener_);
      const std::string head = backend.receive("\r\n\r\n");
      if (seen != nullptr) {
        *seen = head;
      }
      backend.send(answer);
    }
    return client.receive();
  }

  wz::test::TemporaryFolder root_;
  int listener_;
  std::string backend_;
  std::optional<VsdProcess> vsd_;
  HttpClient client_;
};

TEST_F(Forwarding, PassesOnWhatConcernsBothEnds) {
  std::string seen;
  const std::string answer = exchange(
      "GET /f/a%20b?status HTTP/1.1\r\nHost: client\r\nConnection: X-Hop\r\nX-Hop: 1\r\nTE: x\r\n"
      "X-One: client's\r\nX-Empty:\r\nVia: 1.1 other\r\nAccept: */*\r\n\r\n",
      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 404 Gone\r\nKeep-Alive: 5\r\nX-Back: 1\r\nUpgrade: "
      "y\r\n"
      "Connection: X-Once\r\nX-Once: 1\r\nContent-Length: 4\r\n\r\nbody",
      &seen);
  EXPECT_EQ(seen, "GET /f/a%20b?status HTTP/1.1\r\nHost: " + backend_ +
                      "\r\nX-Empty:\r\nVia: 1.1 other\r\nAccept: */*\r\nVia: 1.1 vsd\r\n"
                      "X-One: 1\r\nX-Two: 2\r\nX-To: http://" +
                      backend_ + "\r\n\r\n");
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 299 ")) << answer;
  EXPECT_TRUE(contains(answer, "\r\nX-Back: 1\r\nContent-Length: 4\r\nX-Set: yes\r\n")) << answer;
  EXPECT_TRUE(answer.ends_with("\r\n\r\nbody"));
  for (const char* const dropped : {"Keep-Alive", "X-Once", "Upgrade"}) {
    EXPECT_FALSE(contains(answer, dropped)) << answer;
  }
}

TEST_F(Forwarding, FramesAnswersAndSurvivesBadOnes) {
  const std::string get = "GET /f HTTP/1.1\r\nHost: h\r\n\r\n";
  const struct {
    std::string request;
    std::string answer;
    std::string start;
    std::string end;
  } cases[] = {
      {get, "HTTP/1.1 200 OK\r\n\r\nto the end", "HTTP/1.1 200 ",
       "\r\n\r\na\r\nto the end\r\n0\r\n\r\n"},
      {"GET /f HTTP/1.0\r\n\r\n",
       "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n"
       "0\r\nX-Trailer: 1\r\n\r\n",
       "HTTP/1.1 200 ", "\r\nConnection: close\r\n\r\nabc"},
      {get, "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcHTTP/1.1 200 OK\r\n\r\n",
       "HTTP/1.1 200 ", "\r\n\r\nabc"},
      {"HEAD /f HTTP/1.1\r\nHost: h\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n",
       "HTTP/1.1 200 ", "\r\n\r\n"},
      {get, "HTTP/1.1 204 No\r\n\r\n", "HTTP/1.1 204 ", "\r\n\r\n"},
      // Closed mid-answer: what came is sent, and the end shows that something is missing.
      {get, "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc", "HTTP/1.1 200 ", "\r\n\r\nabc"},
      {get, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n", "HTTP/1.1 200 ",
       "\r\n\r\n3\r\nabc\r\n"},
      {get, "", "HTTP/1.1 502 ", "gave no answer.\n"},
      {get, "no HTTP at all\r\n\r\n", "HTTP/1.1 502 ", "gave no answer.\n"},
      {get, "HTTP/1.1 200 OK\r\nX-Half: he", "HTTP/1.1 502 ", "gave no answer.\n"},
      {get, "HTTP/1.1 200 OK\r\nX: " + std::string(90'000, 'x') + "\r\n\r\n", "HTTP/1.1 502 ",
       "gave no answer.\n"},
      {get, "HTTP/1.1 200 OK\r\nContent-Length: 3\r\nContent-Length: 4\r\n\r\nabcd",
       "HTTP/1.1 502 ", "gave no answer.\n"},
      {get, "HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n", "HTTP/1.1 502 ", "gave no answer.\n"},
  };
  for (const auto& each : cases) {
    const std::string answer = exchange(each.request, each.answer);
    EXPECT_TRUE(answer.starts_with(each.start) && answer.ends_with(each.end))
        << each.answer.substr(0, 80) << "\n-> " << answer;
  }
}

TEST_F(Forwarding, DeadSilentAndCircularBackendsHaveTheirStatus) {
  EXPECT_EQ(client_.get(vsd_->url("/f/dead")).status, 502);
  const auto loop = client_.get(vsd_->url("/f/loop"));
  EXPECT_EQ(loop.status, 508) << loop.body;
  EXPECT_EQ(client_.get(vsd_->url("/f?own=1")).body, "own answer");
  const RawClient client(vsd_->port());
  client.send("GET /f/silent HTTP/1.1\r\nHost: h\r\n\r\nGET /near HTTP/1.1\r\nHost: h\r\n\r\n");
  const RawClient backend = RawClient::accepted(listener_);
  EXPECT_EQ(client_.get(vsd_->url("/near")).body, "here");  // meanwhile
  const std::string answers = client.receive("here");
  EXPECT_TRUE(answers.starts_with("HTTP/1.1 504 ")) << answers;
}

TEST_F(Forwarding, StreamsAsTheClientReads) {
  const RawClient client(vsd_->port());
  const std::string sent_body(200'000, 'u');
  client.send("POST /f?own=1&reply HTTP/1.1\r\nHost: h\r\nContent-Length: 200000\r\n\r\n" +
              sent_body);
  const RawClient backend = RawClient::accepted(listener_);
  const std::string request = backend.receive("uuu" + std::string(199'997, 'u'));
  EXPECT_TRUE(request.starts_with("POST /x HTTP/1.1\r\n") &&
              request.ends_with("\r\n\r\n" + sent_body));
  std::string body;
  for (int i = 0; body.size() < 20'000'000; ++i) {
    body += std::to_string(i) + ' ';
  }
  backend.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\n\r\nfirst");
  EXPECT_TRUE(client.receive("first").ends_with("\r\n\r\nfirst"));  // long before the rest
  body.replace(0, 5, "first");
  std::string received = "first";
  for (std::size_t sent = 5; received.size() < body.size();) {
    sent += backend.send_some(std::string_view(body).substr(sent));
    received += client.receive_some();
  }
  EXPECT_TRUE(received == body);
}

TEST_F(Forwarding, AClientThatLeavesEndsTheForward) {
  auto client = std::make_unique<RawClient>(vsd_->port());
  client->send("GET /f HTTP/1.1\r\nHost: h\r\n\r\n");
  const RawClient backend = RawClient::accepted(listener_);
  backend.send("HTTP/1.1 200 OK\r\n\r\nfirst");
  EXPECT_TRUE(contains(client->receive("first\r\n"), "first"));
  client.reset();
  EXPECT_TRUE(backend.send_until_reset(std::size_t{1} << 28U));
}

}  // namespace
}  // namespace vsd::test
