// What passes between the HTTP layer and whoever sends requests on to backends. The HTTP layer
// keeps the client's side: what is received, how the answer is framed, how fast it is sent.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/socket_poller.h"

namespace vsd::http {

// A request that a backend answers instead of us, and what the service says about its answer.
struct ForwardRequest {
  std::string origin;  // "http://127.0.0.1:9090", "https://..."
  std::string target;  // what stands in the request line there
  std::string method;
  std::vector<std::string> headers;  // lines without CR LF; no framing among them
  std::string_view body;             // in the connection's buffer, which keeps it until the end
  bool has_body = false;             // an empty one is announced, too
  bool verify_peer = true;           // the certificate of an https backend
  std::chrono::milliseconds connect_timeout{0};
  std::chrono::milliseconds read_timeout{0};  // without a byte from the backend

  int status = 0;              // of the answer; 0: the backend's
  std::string status_line;     // as in Response
  std::string answer_headers;  // put behind the backend's; complete lines
  std::chrono::seconds keep_alive{0};
};

// The head of a backend's answer.
struct BackendHead {
  int status = 0;
  std::string_view headers;             // complete lines, without those about the connection; a
                                        // Content-Length is among them when there is a length
  std::optional<std::uint64_t> length;  // of the body; without one it ends when it ends
};

enum class ForwardEnd : std::uint8_t { complete, failed, timed_out };

// Who wants the answer. on_head, on_body and on_end are called from inside the client library: the
// forward must live until on_progress, which follows them.
class ForwardSink {
 public:
  ForwardSink() = default;
  ForwardSink(const ForwardSink&) = delete;
  ForwardSink& operator=(const ForwardSink&) = delete;

  virtual void on_head(const BackendHead& head) = 0;
  // False: there is no room; the same bytes come again behind Forward::resume.
  virtual bool on_body(std::string_view bytes) = 0;
  virtual void on_end(ForwardEnd end) = 0;
  virtual void on_progress() = 0;

 protected:
  ~ForwardSink() = default;
};

// A request under way. Destroying it cancels what is left.
class Forward {
 public:
  Forward() = default;
  Forward(const Forward&) = delete;
  Forward& operator=(const Forward&) = delete;
  virtual ~Forward() = default;

  // There is room again: calls on_body at once if something waits. False when nothing does.
  virtual bool resume() = 0;
};

// The forwards of one event loop, which calls on_ready when the descriptor is readable.
class Forwarder : public SocketPoller::Watcher {
 public:
  [[nodiscard]] virtual int descriptor() const noexcept = 0;

  // `request` and `sink` outlive the forward; on_progress comes after this returns. Throws when
  // there is no memory for it.
  [[nodiscard]] virtual std::unique_ptr<Forward> start(const ForwardRequest& request,
                                                       ForwardSink& sink) = 0;

 protected:
  ~Forwarder() = default;
};

}  // namespace vsd::http
