// The sockets of one event loop, watched with an epoll set. A socket is registered once and
// reported for as long as it is ready: arming it anew for each wait would cost a system call each
// time.
#pragma once

#include <sys/epoll.h>

#include <array>
#include <chrono>
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

  // `watcher` must outlive the registration. Throws std::system_error.
  void add(int socket, Watcher& watcher, Interest interest);
  void change(int socket, Watcher& watcher, Interest interest) noexcept;
  // `watcher` is not called any more, even if its socket was found ready already.
  void remove(int socket, const Watcher& watcher) noexcept;

  // Waits until a socket is ready or `due` has passed, or somewhat less where that is long, then
  // calls the watchers of all that are ready.
  void dispatch(std::chrono::steady_clock::time_point due);

 private:
  int wait(std::chrono::steady_clock::duration patience) noexcept;

  static constexpr std::size_t kMostEvents = 128;

  FileDescriptor epoll_;
  std::array<epoll_event, kMostEvents> events_{};
  std::size_t next_ = 0;  // of events_, those not dispatched yet
  std::size_t count_ = 0;
  bool waits_in_nanoseconds_ = true;  // until the kernel refuses to
};

}  // namespace vsd::http
