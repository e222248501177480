// The event loop with real sockets.
#include <gtest/gtest.h>

#include <thread>

#include "daemon/http/server.h"
#include "daemon/process/listener.h"
#include "tests/support/exchange_driver.h"
#include "tests/support/raw_client.h"

namespace vsd::http {
namespace {

using test::RawClient;

// A server in a thread of its own; its end is a clean drain.
class RunningServer {
 public:
  explicit RunningServer(const HttpLimits& limits)
      : limits_(limits),
        listener_(open_listener({"127.0.0.1", 0})),
        server_(limits_, handler_, listener_.socket.release()),
        thread_([this] { server_.run(); }) {}
  ~RunningServer() { stop(); }

  int port() const { return listener_.port; }
  void stop() {
    if (thread_.joinable()) {
      server_.stop();
      thread_.join();
    }
  }

 private:
  HttpLimits limits_;
  EchoHandler handler_;
  Listener listener_;
  Server server_;
  std::thread thread_;
};

std::string get(std::string_view target) {
  return "GET " + std::string(target) + " HTTP/1.1\r\nHost: a\r\n\r\n";
}

TEST(HttpServer, ClosesTheLongestIdleConnectionForANewClient) {
  HttpLimits limits;
  limits.max_connections = 2;
  RunningServer server(limits);
  const RawClient first(server.port());
  first.send(get("/1"));
  EXPECT_NE(first.receive("GET /1 28 "), "");
  const RawClient busy(server.port());
  busy.send("GET /busy");
  const RawClient third(server.port());
  third.send(get("/3"));
  EXPECT_NE(third.receive("GET /3 28 "), "");
  EXPECT_EQ(first.receive(), "");
  busy.send(" HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_NE(busy.receive("GET /busy 31 "), "");
}

TEST(HttpServer, ForgetsClientsThatLeaveBeforeTheirAnswer) {
  RunningServer server({});
  for (const bool reset : {false, true}) {
    const RawClient client(server.port());
    client.send(get("/slow") + get("/slow"));
    if (reset) {
      client.close_with_reset();
    }
  }
  const RawClient other(server.port());
  other.send(get("/slow"));  // answered after theirs were due
  EXPECT_NE(other.receive("GET /slow 31 "), "");
}

}  // namespace
}  // namespace vsd::http
