// How the event loop ends: it drains and closes what it has, or hands it over to a successor.
#include <linux/filter.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "daemon/http/event_loop.h"

namespace vsd::http {
namespace {

// Lets no more connections into the queue of a listener, so that none can come between the last
// accept and the close, which would reset it. Who tries then is refused at the next attempt.
void close_queue(int listener) noexcept {
  sock_filter drop_all = BPF_STMT(BPF_RET | BPF_K, 0);
  const sock_fprog program{1, &drop_all};
  ::setsockopt(listener, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
}

}  // namespace

void EventLoop::on_signal(int signal, std::function<void()> action) {
  signals_.on(signal, std::move(action));
}

void EventLoop::wake(std::uint64_t request) noexcept {
  [[maybe_unused]] const ssize_t ignored = ::write(wake_event_.get(), &request, sizeof request);
}

void EventLoop::on_wake() {
  std::uint64_t requests = 0;
  if (::read(wake_event_.get(), &requests, sizeof requests) != sizeof requests) {
    return;
  }
  if (requests >= kSignal) {
    signals_.deliver();
  }
  if (requests % kSignal >= kRetire) {
    begin_retirement();
  }
  if (requests % kRetire != 0) {
    on_stop();
  }
}

void EventLoop::on_stop() {
  if (context_.draining) {
    is_over_ = true;
    return;
  }
  begin_drain();
}

void EventLoop::begin_drain() {
  for (const auto& intake : intakes_) {
    if (intake->datagrams != nullptr && !retired_) {
      close_queue(intake->datagrams->socket());
      while (intake->datagrams->receive()) {
      }
      intake->datagrams->stop_receiving();
    }
    if (intake->listener) {
      close_queue(intake->listener.get());
      while (accept_clients(*intake)) {  // who has connected is served
      }
      take_over(*intake);
    }
  }
  context_.draining = true;
  for (const auto& intake : intakes_) {
    close_listener(*intake);
  }
  const TimePoint now = Clock::now();
  const auto clients = clients_;  // closing changes the list
  for (const Client& client : clients) {
    client.connection->drain(now);
  }
  end_when_drained();
}

void EventLoop::begin_retirement() {
  const bool has_successor = std::all_of(intakes_.begin(), intakes_.end(), [](const auto& intake) {
    return intake->handover != nullptr;
  });
  if (!has_successor) {
    on_stop();
    return;
  }
  if (retired_ || context_.draining) {
    return;
  }
  retired_ = true;
  for (const auto& intake : intakes_) {
    close_listener(*intake);
    stop_taking_over(*intake);
    if (intake->datagrams != nullptr) {
      intake->datagrams->stop_receiving();
    }
  }
  hand_over_idle();
  if (on_retired_) {
    on_retired_();
  }
  end_when_drained();
}

void EventLoop::end_when_drained() {
  if ((context_.draining || retired_) && clients_.empty() && delayed_.empty()) {
    is_over_ = true;
  }
}

void EventLoop::stop_taking_over(Intake& intake) noexcept {
  if (std::exchange(intake.taking_over, false)) {
    poller_.remove(intake.handover->descriptor(), intake.on_handover);
  }
}

void EventLoop::take_over(Intake& intake) {
  if (!intake.taking_over) {
    return;
  }
  for (auto sockets = intake.handover->take(); !sockets.empty();
       sockets = intake.handover->take()) {
    for (FileDescriptor& socket : sockets) {
      open(intake, std::move(socket));
    }
  }
}

void EventLoop::hand_over_idle() {
  for (const auto& intake : intakes_) {
    hand_over_idle(*intake);
  }
}

void EventLoop::hand_over_idle(const Intake& intake) {
  std::vector<ConnectionPtr> idle;
  for (const Client& client : clients_) {
    if (client.intake == &intake && client.connection->dialogue().idle()) {
      idle.push_back(client.connection);
    }
  }
  std::span<const ConnectionPtr> rest(idle);
  while (!rest.empty()) {
    const auto some = rest.first(std::min(rest.size(), HandoverChannel::kMostAtOnce));
    if (!hand_over(intake, some)) {
      return;  // the channel is full; the sweep tries again
    }
    rest = rest.subspan(some.size());
  }
}

// A successor serves the next request of whoever has been answered.
void EventLoop::idle(Connection& connection) {
  if (hands_over()) {
    const ConnectionPtr one = connection.shared_from_this();
    static_cast<void>(hand_over(*clients_[connection.index].intake, {&one, 1}));
  }
}

bool EventLoop::hand_over(const Intake& intake, std::span<const ConnectionPtr> connections) {
  std::array<int, HandoverChannel::kMostAtOnce> sockets{};
  std::transform(connections.begin(), connections.end(), sockets.begin(),
                 [](const ConnectionPtr& connection) { return connection->socket(); });
  if (!intake.handover->give(std::span<const int>(sockets).first(connections.size()))) {
    return false;
  }
  for (const ConnectionPtr& connection : connections) {
    connection->close();  // the client's side stays open: the socket lives on in the channel
  }
  return true;
}

}  // namespace vsd::http
