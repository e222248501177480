// vsd's HTTP server with a handler that answers at once: what of a request's cost is HTTP's and
// what the services'. Prints the port it listens on.
// usage: load_http_layer SIZE_OF_BODY
#include <cstdio>
#include <cstdlib>
#include <string>

#include "daemon/http/server.h"
#include "daemon/process/listener.h"

namespace {

class FixedAnswer : public vsd::http::RequestHandler {
 public:
  explicit FixedAnswer(std::size_t size) : body_(size, 'x') {}

  void handle(const vsd::http::Request&, vsd::http::Response& response) override {
    response.headers = "Content-Type: text/plain\r\n";
    response.body = body_;
  }

 private:
  std::string body_;
};

}  // namespace

int main(int argc, char** argv) {
  FixedAnswer handler(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 13);
  vsd::Listener listener = vsd::open_listener({"127.0.0.1", 0});
  std::printf("%d\n", listener.port);
  std::fflush(stdout);
  const vsd::HttpLimits limits;
  vsd::http::Server server(limits, handler, listener.socket.release());
  server.run();
}
