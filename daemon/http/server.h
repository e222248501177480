// The event loop of one worker: its listener, its connections, their timers.
#pragma once

#include <memory>

#include "daemon/config.h"
#include "daemon/http/message.h"

namespace vsd::http {

class Server {
 public:
  // Takes over `listen_fd`, a listening stream socket. `limits` and `handler` must outlive the
  // server. Throws std::system_error when the event loop cannot be set up.
  Server(const HttpLimits& limits, RequestHandler& handler, int listen_fd);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Serves until SIGTERM, SIGINT (unless it is ignored) or stop(): then accepts nothing more,
  // finishes the requests under way, closes idle connections, and returns. A second signal or
  // stop() drops what is left.
  void run();

  // May be called from any thread and from a signal handler.
  void stop() noexcept;

  // Forgets a client whose socket somebody else closes; called by the handler while it serves.
  void abandon(int socket);

 private:
  class Loop;
  std::unique_ptr<Loop> loop_;
};

}  // namespace vsd::http
