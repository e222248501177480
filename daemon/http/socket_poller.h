// The sockets of one event loop, watched with an epoll set of its own.
//
// Asio re-arms a socket with a system call for every wait. A request costs little more than its
// read and its write, so that call would show; here a socket is registered once and reported for as
// long as it is ready. The set's own descriptor can be waited for like any other, and one wake-up
// serves every socket that is ready.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <cstddef>

#include "daemon/file_descriptor.h"

namespace vsd::http {

class SocketPoller {
 public:
  enum class Interest { none, input, output };

  class Watcher {
   public:
    Watcher() = default;
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    // The socket is ready, or its connection is lost, which is reported whatever the interest.
    virtual void on_ready() = 0;

   protected:
    ~Watcher() = default;
  };

  // Throws std::system_error.
  SocketPoller();

  // Readable while a socket is ready.
  [[nodiscard]] int descriptor() const noexcept { return epoll_.get(); }

  // `watcher` must outlive the registration. Throws std::system_error.
  void add(int socket, Watcher& watcher, Interest interest);
  void change(int socket, Watcher& watcher, Interest interest) noexcept;
  // `watcher` is not called any more, even if its socket was found ready already.
  void remove(int socket, const Watcher& watcher) noexcept;

  // Calls the watchers of the sockets that are ready.
  void dispatch();

 private:
  static constexpr std::size_t kMostEvents = 128;

  FileDescriptor epoll_;
  std::array<epoll_event, kMostEvents> events_{};
  std::size_t next_ = 0;  // of events_, those not dispatched yet
  std::size_t count_ = 0;
};

}  // namespace vsd::http
