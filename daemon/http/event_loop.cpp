#include "daemon/http/event_loop.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <system_error>
#include <utility>

#include "daemon/http/exchange.h"
#include "daemon/raw/raw_exchange.h"

namespace vsd::http {
namespace {

constexpr std::chrono::milliseconds kSweepInterval{250};
constexpr std::chrono::seconds kPatience{1};  // with unfinished requests when there is no room
constexpr int kAcceptsPerEvent = 64;          // then the other connections have their turn
constexpr int kReleasesPerEvent = 256;        // of answers that are due; likewise

}  // namespace

EventLoop::Intake::Intake(EventLoop& loop, const Endpoint& endpoint)
    : on_client([this, &loop] { loop.accept_clients(*this); }),
      on_handover([this, &loop] { loop.take_over(*this); }),
      handover(endpoint.handover),
      raw(endpoint.raw) {
  FileDescriptor socket(endpoint.socket);
  if (raw != nullptr && raw->transport == Transport::udp) {
    datagrams = std::make_unique<raw::DatagramPort>(loop, loop.context_, loop.poller_,
                                                    std::move(socket), *raw);
  } else {
    listener = std::move(socket);
    const int flags = ::fcntl(listener.get(), F_GETFL);
    ::fcntl(listener.get(), F_SETFL, flags | O_NONBLOCK);
  }
}

EventLoop::EventLoop(const HttpLimits& limits, RequestHandler& handler,
                     const std::vector<Endpoint>& endpoints)
    : context_(limits, handler),
      wake_event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      signals_(wake_event_.get(), kSignal) {
  if (!wake_event_) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  for (const Endpoint& endpoint : endpoints) {
    intakes_.push_back(std::make_unique<Intake>(*this, endpoint));
  }
  on_signal(SIGTERM, [this] { on_stop(); });
  struct sigaction interrupt {};
  if (::sigaction(SIGINT, nullptr, &interrupt) == 0 && interrupt.sa_handler != SIG_IGN) {
    on_signal(SIGINT, [this] { on_stop(); });
  }
}

EventLoop::~EventLoop() = default;

void EventLoop::forward_with(Forwarder& forwarder) {
  context_.forwarder = &forwarder;
  poller_.add(forwarder.descriptor(), forwarder, SocketPoller::Interest::input);
}

void EventLoop::run() {
  poller_.add(wake_event_.get(), on_wake_, SocketPoller::Interest::input);
  for (const auto& intake : intakes_) {
    if (intake->listener) {
      poller_.add(intake->listener.get(), intake->on_client, SocketPoller::Interest::input);
      intake->accepting = true;
    }
    if (intake->handover != nullptr) {
      poller_.add(intake->handover->descriptor(), intake->on_handover,
                  SocketPoller::Interest::input);
      intake->taking_over = true;
    }
  }
  while (!is_over_) {
    poller_.dispatch(std::min(sweep_due_, delayed_.next_due()));
    run_timers(Clock::now());
  }
  while (!clients_.empty()) {
    const ConnectionPtr connection = clients_.back().connection;
    connection->close();
  }
}

void EventLoop::pause(Intake& intake) noexcept {
  if (std::exchange(intake.accepting, false)) {
    poller_.change(intake.listener.get(), intake.on_client, SocketPoller::Interest::none);
  }
}

void EventLoop::resume(Intake& intake) noexcept {
  if (!std::exchange(intake.accepting, true)) {
    poller_.change(intake.listener.get(), intake.on_client, SocketPoller::Interest::input);
  }
}

void EventLoop::close_listener(Intake& intake) noexcept {
  if (intake.listener) {
    poller_.remove(intake.listener.get(), intake.on_client);
    intake.listener.reset();
    intake.accepting = false;
  }
}

// Accepts who waits; true when it stopped for the others' sake and more may wait. At the limit of
// connections or of descriptors new clients stay in the kernel's queue; the sweep looks again, so
// that the listener, which remains readable, does not keep the loop busy.
bool EventLoop::accept_clients(Intake& intake) {
  for (int i = 0; i < kAcceptsPerEvent; ++i) {
    if (clients_.size() >= context_.limits.max_connections && !make_room_for_client(intake)) {
      return false;
    }
    const int fd = ::accept4(intake.listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0) {
      open(intake, FileDescriptor(fd));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      resume(intake);
      return false;
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      if (!make_room_for_client(intake)) {
        return false;
      }
    }  // else the client has gone before it was accepted
  }
  resume(intake);
  return true;
}

void EventLoop::open(Intake& intake, FileDescriptor socket) {
  const int on = 1;
  ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  const TimePoint now = Clock::now();
  try {
    std::unique_ptr<Dialogue> dialogue;
    if (intake.raw != nullptr) {
      dialogue = std::make_unique<raw::RawExchange>(context_, *intake.raw, socket.get(), now);
    } else {
      dialogue = std::make_unique<Exchange>(context_, socket.get(), now);
    }
    auto connection = std::make_shared<Connection>(*this, context_, poller_, std::move(socket),
                                                   std::move(dialogue));
    connection->index = clients_.size();
    clients_.push_back({std::move(connection), now + shortest_timeout(context_.limits), &intake});
    arm_sweep();
    tell_connections();
  } catch (const std::exception&) {  // out of memory or of epoll watches: this client is refused
  }
}

void EventLoop::closed(Connection& connection) noexcept {
  delayed_.remove(connection);
  const ConnectionPtr keep = clients_[connection.index].connection;
  std::swap(clients_[connection.index], clients_.back());
  clients_[connection.index].connection->index = connection.index;
  clients_.pop_back();
  tell_connections();
  end_when_drained();
}

// For a client that waits, closes the connection that has been idle longest; when none is idle, the
// one whose request has been unfinished longest, so that clients that never finish theirs cannot
// keep all others out. False when there is neither such a client nor such a connection.
bool EventLoop::make_room_for_client(Intake& intake) {
  pollfd waiting{intake.listener.get(), POLLIN, 0};
  if (::poll(&waiting, 1, 0) != 1) {
    resume(intake);
    return false;
  }
  const TimePoint unfinished_for_long = Clock::now() - kPatience + context_.limits.request_timeout;
  ConnectionPtr oldest;
  for (const Client& client : clients_) {
    const Dialogue& dialogue = client.connection->dialogue();
    const bool candidate =
        dialogue.idle() || (dialogue.receiving() && dialogue.deadline() < unfinished_for_long);
    if (!candidate) {
      continue;
    }
    if (oldest == nullptr || dialogue.idle() > oldest->dialogue().idle() ||
        (dialogue.idle() == oldest->dialogue().idle() &&
         dialogue.deadline() < oldest->dialogue().deadline())) {
      oldest = client.connection;
    }
  }
  if (oldest == nullptr) {
    pause(intake);
    arm_sweep();
    return false;
  }
  oldest->close();
  return true;
}

void EventLoop::delay(Delayed& item, TimePoint due) {
  delayed_.add(item, due);
  tell_connections();
}

void EventLoop::tell_connections() const noexcept {
  if (context_.observer != nullptr) {
    context_.observer->connections(clients_.size(), delayed_.size());
  }
}

void EventLoop::run_timers(TimePoint now) {
  if (delayed_.next_due() <= now) {
    release_due(now);
  }
  if (sweep_due_ <= now) {
    sweep(now);
  }
}

void EventLoop::release_due(TimePoint now) {
  context_.date.update(std::time(nullptr));
  for (int i = 0; i < kReleasesPerEvent; ++i) {
    DelayQueue::Item* const item = delayed_.take_due(now);
    if (item == nullptr) {
      break;
    }
    static_cast<Delayed*>(item)->resume(now);
  }
  tell_connections();
  end_when_drained();
}

void EventLoop::arm_sweep() {
  if (sweep_due_ == TimePoint::max()) {
    sweep_due_ = Clock::now() + kSweepInterval;
  }
}

void EventLoop::sweep(TimePoint now) {
  sweep_due_ = TimePoint::max();
  context_.date.update(std::time(nullptr));
  // Backwards, because closing a connection puts the last one in its place.
  for (std::size_t i = clients_.size(); i > 0; --i) {
    if (i <= clients_.size() && now >= clients_[i - 1].look_at) {
      look_at(clients_[i - 1], now);
    }
  }
  bool all_accepting = true;
  for (const auto& intake : intakes_) {
    if (intake->listener && !intake->accepting) {
      accept_clients(*intake);
    }
    all_accepting = all_accepting && (intake->accepting || intake->datagrams != nullptr);
  }
  if (hands_over()) {
    hand_over_idle();
  }
  if (!clients_.empty() || !all_accepting) {
    arm_sweep();
  }
}

void EventLoop::abandon(int socket) {
  for (const Client& client : clients_) {
    if (client.connection->socket() == socket) {
      client.connection->abandon();
      return;
    }
  }
}

void EventLoop::look_at(Client& client, TimePoint now) {
  const ConnectionPtr connection = client.connection;
  const TimePoint deadline = connection->dialogue().deadline();
  const TimePoint next = now + shortest_timeout(context_.limits);
  client.look_at = deadline > now ? std::min(deadline, next) : next;
  if (deadline <= now) {
    connection->check_deadline(now);  // may close it, and then `client` is another one's
  }
}

}  // namespace vsd::http
