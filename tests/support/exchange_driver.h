// Drives a connection as an event loop would, with bytes and times from the caller.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "daemon/http/exchange.h"
#include "daemon/raw/raw_exchange.h"

namespace vsd::http {

// Answers with what it was asked, so that one text shows what was understood.
class EchoHandler : public RequestHandler {
 public:
  int handled = 0;

  void handle(const Request& request, Response& response) override {
    ++handled;
    response.headers = "Content-Type: text/plain\r\n";
    if (request.target == "/none") {
      response.status = 204;
      return;
    }
    if (request.target == "/large") {
      response.body.assign(100'000, 'x');
      return;
    }
    for (const auto fault :
         {Fault::reset, Fault::empty, Fault::garbage, Fault::slow, Fault::close_mid_body}) {
      if (request.target == "/fault" + std::to_string(static_cast<int>(fault))) {
        response.fault = fault;
        response.bytes_per_second = 200;
      }
    }
    if (request.target == "/slow") {
      response.delay = std::chrono::milliseconds(70);
    } else if (request.target == "/close") {
      response.headers += "Connection: close\r\nContent-Length: 7\r\n";
    }
    response.body.append(request.method).append(" ").append(request.target).append(" ");
    response.body.append(std::to_string(request.head.size())).append(" ").append(request.body);
  }
};

class ExchangeDriver {
 public:
  // HTTP, or what is spoken at `endpoint`, which must outlive the driver.
  ExchangeDriver(const HttpLimits& limits, RequestHandler& handler,
                 const raw::Endpoint* endpoint = nullptr)
      : context_(limits, handler) {
    if (endpoint != nullptr) {
      dialogue_ = std::make_unique<raw::RawExchange>(context_, *endpoint, -1, now);
    } else {
      dialogue_ = std::make_unique<Exchange>(context_, -1, now);
    }
  }

  TimePoint now{std::chrono::hours(1)};
  std::string output;
  bool client_reads = true;
  bool shut_down = false;
  bool closed = false;

  Dialogue& exchange() { return *dialogue_; }
  ExchangeContext& context() { return context_; }

  // Does what the exchange asks for, until it wants input, waits or is closed.
  Exchange::Step pump() {
    for (;;) {
      const auto step = dialogue_->step(now);
      if (step == Exchange::Step::write && client_reads) {
        std::size_t count = 0;
        for (const auto piece : dialogue_->output()) {
          output += piece;
          count += piece.size();
        }
        dialogue_->written(count, now);
      } else if (step == Exchange::Step::shut_down) {
        shut_down = true;
        dialogue_->shut_down(now);
      } else {
        closed = step == Exchange::Step::close;
        return step;
      }
    }
  }

  Exchange::Step feed(std::string_view bytes) {
    auto step = pump();
    while (!bytes.empty() && step == Exchange::Step::read) {
      const auto space = dialogue_->input_space();
      const auto count = std::min(space.size(), bytes.size());
      std::memcpy(space.data(), bytes.data(), count);
      dialogue_->received(count, now);
      bytes.remove_prefix(count);
      step = pump();
      if (step == Exchange::Step::wait) {
        now = dialogue_->due();
        step = pump();
      }
    }
    return step;
  }

  Exchange::Step end_input() {
    dialogue_->input_ended();
    return pump();
  }

  Exchange::Step later(Clock::duration time) {
    now += time;
    (void)dialogue_->check_deadline(now);
    return pump();
  }

 private:
  ExchangeContext context_;
  std::unique_ptr<Dialogue> dialogue_;
};

// The output without "100 Continue", which depends on whether the body came with the head.
inline std::string without_interim(std::string output) {
  constexpr std::string_view kInterim = "HTTP/1.1 100 Continue\r\n\r\n";
  for (auto at = output.find(kInterim); at != std::string::npos; at = output.find(kInterim)) {
    output.erase(at, kInterim.size());
  }
  return output;
}

}  // namespace vsd::http
