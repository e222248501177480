#include "daemon/http/socket_poller.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

namespace vsd::http {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongWait{50};
constexpr long kLongestWait = 60L * 60 * 1000;  // milliseconds; then the caller waits again

epoll_event event_of(SocketPoller::Watcher* watcher, SocketPoller::Interest interest) noexcept {
  epoll_event event{};
  event.data.ptr = watcher;
  if (interest != SocketPoller::Interest::none) {
    event.events = interest == SocketPoller::Interest::input ? EPOLLIN : EPOLLOUT;
  }
  return event;
}

// The kernel may add a thousandth to a wait, and five times that to one of a nice process: an
// answer due in eight seconds would leave eight milliseconds late. So the end of a long wait is
// waited for by itself.
Clock::duration first_part(Clock::duration patience) noexcept {
  return patience > kLongWait ? patience - patience / 64 : patience;
}

}  // namespace

SocketPoller::SocketPoller() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
  if (!epoll_) {
    throw std::system_error(errno, std::generic_category(), "epoll_create1");
  }
}

void SocketPoller::add(int socket, Watcher& watcher, Interest interest) {
  epoll_event event = event_of(&watcher, interest);
  if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, socket, &event) != 0) {
    throw std::system_error(errno, std::generic_category(), "epoll_ctl");
  }
}

void SocketPoller::change(int socket, Watcher& watcher, Interest interest) noexcept {
  epoll_event event = event_of(&watcher, interest);
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, socket, &event);
}

void SocketPoller::remove(int socket, const Watcher& watcher) noexcept {
  // Explicitly: a process that a script started may still hold the socket, and with it the
  // registration, when ours is closed.
  epoll_event ignored{};
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, socket, &ignored);
  for (std::size_t i = next_; i < count_; ++i) {
    if (events_[i].data.ptr == &watcher) {
      events_[i].data.ptr = nullptr;
    }
  }
}

// An answer is to leave at its time, so milliseconds, rounded up, are what old kernels and strict
// containers get.
int SocketPoller::wait(Clock::duration patience) noexcept {
  const auto most = static_cast<int>(events_.size());
  if (waits_in_nanoseconds_) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(patience);
    const timespec timeout{seconds.count(), std::chrono::nanoseconds(patience - seconds).count()};
    const int found = ::epoll_pwait2(epoll_.get(), events_.data(), most, &timeout, nullptr);
    if (found >= 0 || errno == EINTR) {
      return found;
    }
    waits_in_nanoseconds_ = false;
  }
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(patience).count();
  return ::epoll_wait(epoll_.get(), events_.data(), most,
                      static_cast<int>(std::min<long>(milliseconds, kLongestWait)));
}

void SocketPoller::dispatch(Clock::time_point due) {
  int found = 0;
  if (due == Clock::time_point::max()) {
    found = ::epoll_wait(epoll_.get(), events_.data(), static_cast<int>(events_.size()), -1);
  } else {
    found = wait(first_part(std::max(due - Clock::now(), Clock::duration::zero())));
  }
  count_ = found > 0 ? static_cast<std::size_t>(found) : 0;
  for (next_ = 0; next_ < count_;) {
    if (auto* const watcher = static_cast<Watcher*>(events_[next_++].data.ptr)) {
      watcher->on_ready();
    }
  }
}

}  // namespace vsd::http
