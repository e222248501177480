// The event loop of one worker: its listener, its connections, their timers.
#pragma once

#include <functional>
#include <memory>

#include "daemon/config.h"
#include "daemon/http/handover.h"
#include "daemon/http/message.h"
#include "daemon/http/traffic_observer.h"

namespace vsd::http {

class EventLoop;

class Server {
 public:
  // Takes over `listen_fd`, a listening stream socket. `limits`, `handler` and `handover` must
  // outlive the server; without a channel the server neither takes nor gives connections. Throws
  // std::system_error when the event loop cannot be set up.
  Server(const HttpLimits& limits, RequestHandler& handler, int listen_fd,
         const HandoverChannel* handover = nullptr);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Tells `observer`, which must outlive the server, of the traffic.
  void observe(TrafficObserver& observer);

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

  // Leaves the listener, which others hold too, and its connections to a successor: each is handed
  // over when no request of it is under way. The same as stop() without a channel. May be called
  // like stop().
  void retire() noexcept;

  // Forgets a client whose socket somebody else closes; called by the handler while it serves.
  void abandon(int socket);

 private:
  std::unique_ptr<EventLoop> loop_;
};

}  // namespace vsd::http
