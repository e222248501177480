// What HTTP costs without sockets: a request's bytes in, the answer's bytes out, beside Beast's own
// parser, message and serializer doing the same (the reference).
#include <benchmark/benchmark.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>
#include <cstring>

#include "daemon/http/exchange.h"

namespace {

namespace beast_http = boost::beast::http;

const std::string& request_text(int body_size) {
  static std::string text;
  text =
      "POST /order?cust=Ann HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nContent-Type: text/xml\r\n"
      "X-Trace-Id: 0af7651916cd43dd\r\nContent-Length: " +
      std::to_string(body_size) + "\r\n\r\n" +
      std::string(static_cast<std::size_t>(body_size), 'x');
  return text;
}

class FixedAnswer : public vsd::http::RequestHandler {
 public:
  void handle(const vsd::http::Request&, vsd::http::Response& response) override {
    response.headers = "Content-Type: text/plain\r\n";
    response.body = "Hello, World!";
  }
};

void BM_Exchange(benchmark::State& state) {
  const std::string request = request_text(static_cast<int>(state.range(0)));
  const vsd::HttpLimits limits;
  FixedAnswer handler;
  vsd::http::ExchangeContext context(limits, handler);
  const vsd::http::TimePoint now = vsd::http::Clock::now();
  vsd::http::Exchange exchange(context, -1, now);
  for (auto _ : state) {
    const auto space = exchange.input_space();
    std::memcpy(space.data(), request.data(), request.size());
    exchange.received(request.size(), now);
    while (exchange.step(now) == vsd::http::Exchange::Step::write) {
      const auto output = exchange.output();
      benchmark::DoNotOptimize(output[0].data());
      exchange.written(output[0].size() + output[1].size(), now);
    }
  }
}

void BM_Beast(benchmark::State& state) {
  const std::string request = request_text(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    boost::beast::error_code error;
    beast_http::request_parser<beast_http::string_body> parser;
    parser.eager(true);
    parser.put(boost::asio::buffer(request), error);
    beast_http::response<beast_http::string_body> response(beast_http::status::ok,
                                                           parser.get().version());
    response.set(beast_http::field::content_type, "text/plain");
    response.keep_alive(parser.get().keep_alive());
    response.body() = "Hello, World!";
    response.prepare_payload();
    beast_http::response_serializer<beast_http::string_body> serializer(response);
    while (!serializer.is_done()) {
      serializer.next(error, [&](boost::beast::error_code&, const auto& buffers) {
        std::size_t size = 0;
        for (auto it = boost::asio::buffer_sequence_begin(buffers);
             it != boost::asio::buffer_sequence_end(buffers); ++it) {
          const boost::asio::const_buffer piece(*it);
          benchmark::DoNotOptimize(piece.data());
          size += piece.size();
        }
        serializer.consume(size);
      });
    }
  }
}

BENCHMARK(BM_Exchange)->Arg(0)->Arg(1024);
BENCHMARK(BM_Beast)->Arg(0)->Arg(1024);

}  // namespace
