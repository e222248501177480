// What passes between the HTTP layer and the services: a request as views into the connection's
// buffer, and the answer that the service side leaves. Free of sockets and of parser types.
#pragma once

#include <wz/vsd_host.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "daemon/http/forward.h"

namespace vsd::http {

// The longest method that is served, here and in declarations: what the record that scripts read it
// from holds.
inline constexpr std::size_t kMaxMethodLength = sizeof(HttpMethodInfo::http_method);

// What the handler keeps with a client's connection; gone with it.
class Session {
 public:
  Session() = default;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  virtual ~Session() = default;
};

// A complete, valid request. All views live until the handler returns.
struct Request {
  std::string_view method;  // "GET"; at most kMaxMethodLength characters
  std::string_view target;  // origin form: "/order?cust=7", or "*"; an absolute form comes without
                            // its scheme and authority, which remain in `head`
  std::string_view head;    // raw text from the request line through the blank line
  std::string_view body;    // transfer coding removed; may hold NULs
  std::string_view path;    // what services are matched by instead of the target's path; empty for
                            // HTTP
  std::string_view client;  // the sender's address where there is no socket to ask
  int socket = -1;
  std::unique_ptr<Session>* session = nullptr;  // the connection's, empty at first; null: none
  int version = 11;                             // 10 or 11 for HTTP/1.0 and 1.1
  char protocol = VSD_PROTO_HTTP;
  bool has_if_modified_since = false;
  bool has_if_none_match = false;
  bool can_be_forwarded = false;  // Response::forward may be set
};

// How an answer goes wrong on purpose, for those who test clients.
enum class Fault : std::uint8_t {
  none,
  reset,           // the connection is reset instead of an answer
  empty,           // the connection is closed instead of an answer
  garbage,         // bytes that are no HTTP, then the connection is closed
  slow,            // the answer arrives at `bytes_per_second`
  close_mid_body,  // the connection is closed behind the first half of the body
};

// The answer. The HTTP layer owns framing: it adds Content-Length, Connection and Date, and drops
// header lines that would contradict it. The strings are reused from request to request, so a
// steady state allocates nothing.
struct Response {
  int status = 200;
  std::string status_line;  // a whole status line without CR LF that replaces ours; empty: none
  std::string headers;      // complete header lines, each ending in CR LF; "Connection: close"
                            // among them closes the connection behind the answer
  std::string body;
  std::chrono::seconds keep_alive{0};  // how long the connection may be idle behind the answer;
                                       // 0: as configured
  std::chrono::milliseconds delay{0};  // service time: send no earlier than this after receipt
  Fault fault = Fault::none;
  std::uint32_t bytes_per_second = 0;       // of Fault::slow; above 0 then
  std::unique_ptr<ForwardRequest> forward;  // if set, a backend answers instead

  // Not a service but vsd answers, with a text for people: the request cannot be served.
  bool is_refusal = false;

  // For those who record the traffic.
  static constexpr std::uint32_t kNoService = ~std::uint32_t{0};
  std::uint32_t service = kNoService;  // number of the service that answers
  std::string nearest;                 // services that came nearest when none did, a line each
  std::uint64_t streamed = 0;          // bytes of a backend's body, which is not kept in `body`

  // The answer, or a part of it, is sent later.
  [[nodiscard]] bool is_held() const noexcept { return delay.count() > 0 || fault == Fault::slow; }

  void clear() noexcept {
    status = 200;
    status_line.clear();
    headers.clear();
    body.clear();
    keep_alive = std::chrono::seconds{0};
    delay = std::chrono::milliseconds{0};
    fault = Fault::none;
    forward.reset();
    is_refusal = false;
    service = kNoService;
    nearest.clear();
    streamed = 0;
  }
};

// Serves requests, one at a time.
class RequestHandler {
 public:
  RequestHandler() = default;
  RequestHandler(const RequestHandler&) = delete;
  RequestHandler& operator=(const RequestHandler&) = delete;
  virtual ~RequestHandler() = default;

  // `response` comes cleared.
  virtual void handle(const Request& request, Response& response) = 0;

  // A request is answered without handle(): it could not be read, `response` says why by its
  // status, and only `head`, as much as there is of it, and where it came from are set; or handle()
  // threw.
  virtual void refused(const Request& /*request*/, const Response& /*response*/) {}

  // A request that handle() left to a backend has its answer, `duration` after it was read: the
  // status and the number of bytes that the client is sent.
  virtual void forwarded(const Request& /*request*/, const Response& /*response*/,
                         std::chrono::steady_clock::duration /*duration*/) {}
};

}  // namespace vsd::http
