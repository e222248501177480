#include "daemon/http/socket_poller.h"

#include <cerrno>
#include <system_error>

namespace vsd::http {
namespace {

epoll_event event_of(SocketPoller::Watcher* watcher, SocketPoller::Interest interest) noexcept {
  epoll_event event{};
  event.data.ptr = watcher;
  if (interest != SocketPoller::Interest::none) {
    event.events = interest == SocketPoller::Interest::input ? EPOLLIN : EPOLLOUT;
  }
  return event;
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

void SocketPoller::dispatch() {
  const int found = ::epoll_wait(epoll_.get(), events_.data(), static_cast<int>(events_.size()), 0);
  count_ = found > 0 ? static_cast<std::size_t>(found) : 0;
  for (next_ = 0; next_ < count_;) {
    if (auto* const watcher = static_cast<Watcher*>(events_[next_++].data.ptr)) {
      watcher->on_ready();
    }
  }
}

}  // namespace vsd::http
