// One client's connection without its socket: bytes in, requests to the handler, bytes out. Whoever
// drives it (the server's event loop, a test, a fuzzer) does what step() asks for:
//
//   read      receive into input_space() and report received() or input_ended()
//   write     send output() and report written()
//   wait      come back with step() when due() has passed
//   forward   pass forward_request() to a backend, unless that has been done, and report what comes
//             back with forward_head(), forward_body() and forward_ended(); step() may have
//             something new to tell then, and takes more of a body once its output is written
//   reset     release the connection so that the client sees a reset
//   shut_down end the sending side, report shut_down(); reading goes on for a moment, because a
//             client that is still sending would lose the answer to a reset
//   close     release the connection
//
// and calls check_deadline() now and then. Requests are served one at a time in their order; while
// an answer waits for its service time or for a slow client, nothing more is read, so memory per
// connection stays bounded by the limits.
//
// What a request looks like and how an answer is written is the derived class's: see Exchange for
// HTTP/1.1.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "daemon/config.h"
#include "daemon/http/buffers.h"
#include "daemon/http/fault.h"
#include "daemon/http/http_date.h"
#include "daemon/http/message.h"
#include "daemon/http/traffic_observer.h"

namespace vsd::http {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

// What the connections of one event loop share. One request is served at a time, so one Response
// serves all.
struct ExchangeContext {
  ExchangeContext(const HttpLimits& http_limits, RequestHandler& request_handler)
      : limits(http_limits), handler(request_handler) {}

  // Has `request`, which was read at `now`, answered into `response` or left to a backend.
  void answer(const Request& request, TimePoint now);
  // Tells whoever keeps records that `request` gets `response` without having been served.
  void tell_refused(const Request& request);

  const HttpLimits& limits;
  RequestHandler& handler;
  TrafficObserver* observer = nullptr;
  Forwarder* forwarder = nullptr;
  Response response;
  HttpDate date;
  BlockPool blocks;
  StringPool strings;
  bool draining = false;  // connections end with the answer at hand
};

// No deadline is ever set closer than this to the time when it is set.
[[nodiscard]] std::chrono::seconds shortest_timeout(const HttpLimits& limits) noexcept;

class Dialogue {
 public:
  enum class Step { read, write, wait, forward, shut_down, reset, close };

  // `socket` is only passed on to the handler.
  Dialogue(ExchangeContext& context, int socket, TimePoint now);
  virtual ~Dialogue();
  Dialogue(const Dialogue&) = delete;
  Dialogue& operator=(const Dialogue&) = delete;

  // Serves what has arrived and tells what has to happen next.
  [[nodiscard]] Step step(TimePoint now);

  [[nodiscard]] std::span<char> input_space() { return input_.space(); }
  void received(std::size_t count, TimePoint now);
  void input_ended() noexcept { input_ended_ = true; }

  // Two pieces for one gathered write; the second is empty but for large bodies.
  [[nodiscard]] std::array<std::string_view, 2> output() const noexcept;
  void written(std::size_t count, TimePoint now);

  [[nodiscard]] TimePoint due() const noexcept { return due_; }
  void shut_down(TimePoint now) noexcept;

  // Refuses the rest of a request or gives the connection up when it has been silent for too long.
  // True when step() has something new to tell.
  [[nodiscard]] bool check_deadline(TimePoint now);

  // Of a dialogue that asks for Step::forward.
  [[nodiscard]] bool is_forwarding() const noexcept { return state_ == State::forwarding; }
  [[nodiscard]] virtual const ForwardRequest* forward_request() const noexcept { return nullptr; }
  virtual void forward_head(const BackendHead& /*head*/, TimePoint /*now*/) {}
  // False: there is no room until output has been written.
  [[nodiscard]] virtual bool forward_body(std::string_view /*bytes*/, TimePoint /*now*/) {
    return true;
  }
  virtual void forward_ended(ForwardEnd /*end*/, TimePoint /*now*/) {}

  // No request is under way: the connection may be closed without loss.
  [[nodiscard]] bool idle() const noexcept;
  // The rest of a request is awaited, and nothing else is under way.
  [[nodiscard]] bool receiving() const noexcept;
  [[nodiscard]] TimePoint deadline() const noexcept { return deadline_; }

 protected:
  enum class State { open, forwarding, closing, resetting, lingering, closed };

  // Serves one request, or as much of one as has arrived. True when there may be more to do. An
  // unfinished request stays in input_, at least in part.
  virtual bool serve_next(TimePoint now) = 0;
  // Ends the connection, because the rest of a request has not come in time.
  virtual void give_up_request(TimePoint now) = 0;

  // Before an answer is appended: sets what the connection owes to it. False when a fault stands
  // instead of the answer.
  bool begin_answer(TimePoint now);
  void append_body(std::string& body);
  void end_behind_answer(State state) noexcept;
  // How long the connection may be idle behind the answer; 0: as configured.
  void allow_idle(std::chrono::seconds time) noexcept;
  // Bytes that wait for the client.
  [[nodiscard]] std::size_t unsent() const noexcept { return visible_output() - sent_; }
  // The deadline of what comes behind a request.
  void next_deadline(TimePoint now) noexcept;
  std::string& out();

  ExchangeContext& context_;
  InputBuffer input_;
  State state_ = State::open;
  bool input_ended_ = false;
  bool linger_ = false;
  int socket_;
  std::unique_ptr<Session> session_;  // the handler's

 private:
  bool serve_more(TimePoint now);
  bool append_fault(Response& response);
  void release(TimePoint now) noexcept;
  void hold(TimePoint now) noexcept;
  [[nodiscard]] bool has_sent_all() const noexcept;
  [[nodiscard]] std::size_t visible_output() const noexcept;

  std::string out_;                    // heads and small bodies
  std::string large_body_;             // sent behind out_; nothing is served before it is gone
  std::size_t sent_ = 0;               // bytes of both that are already written
  std::size_t held_at_ = kNotHeld;     // bytes of both in front of what is not due yet
  Pace pace_;                          // of a slow answer while it is held
  std::chrono::seconds idle_timeout_;  // behind the last answer
  TimePoint due_{};
  TimePoint held_since_{};
  std::uint32_t held_service_ = Response::kNoService;
  TimePoint deadline_;

  static constexpr std::size_t kNotHeld = static_cast<std::size_t>(-1);
};

}  // namespace vsd::http
