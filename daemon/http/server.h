// The event loop of one worker: its listeners, its connections, their timers.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "daemon/config.h"
#include "daemon/http/handover.h"
#include "daemon/http/message.h"
#include "daemon/http/traffic_observer.h"
#include "daemon/raw/endpoint.h"

namespace vsd::http {

class EventLoop;

// Where a server gets its clients from.
struct Endpoint {
  int socket = -1;  // listening, or bound for datagrams; the server takes it
  const HandoverChannel* handover = nullptr;  // of clients that others have accepted
  const raw::Endpoint* raw = nullptr;         // what is spoken there; null: HTTP
};

class Server {
 public:
  // `limits`, `handler` and the channels must outlive the server. Either all endpoints have a
  // channel or none; without one the server neither takes nor gives connections. Throws
  // std::system_error when the event loop cannot be set up.
  Server(const HttpLimits& limits, RequestHandler& handler, const std::vector<Endpoint>& endpoints);
  Server(const HttpLimits& limits, RequestHandler& handler, int listen_fd,
         const HandoverChannel* handover = nullptr)
      : Server(limits, handler, {{listen_fd, handover}}) {}
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Tells `observer`, which must outlive the server, of the traffic.
  void observe(TrafficObserver& observer);

  // Has `forwarder`, which must outlive the server, pass on what backends answer. Without one such
  // requests are answered 502. Throws std::system_error.
  void forward_with(Forwarder& forwarder);

  // Calls `action` from run() when the process has received `signal`.
  void on_signal(int signal, std::function<void()> action);

  // Calls `action` once the server has retired and accepts nothing more.
  void on_retired(std::function<void()> action);

  // Serves until SIGTERM, SIGINT (unless it is ignored) or stop(): then accepts who has connected
  // and nobody else, finishes the requests under way, closes idle connections, and returns. A
  // second signal or stop() drops what is left. Returns after retire() too.
  void run();

  // May be called from any thread and from a signal handler.
  void stop() noexcept;

  // Leaves the listeners, which others hold too, and its connections to a successor: each is handed
  // over when no request of it is under way. The same as stop() without a channel. May be called
  // like stop().
  void retire() noexcept;

  // Forgets a client whose socket somebody else closes; called by the handler while it serves.
  void abandon(int socket);

 private:
  std::unique_ptr<EventLoop> loop_;
};

}  // namespace vsd::http
