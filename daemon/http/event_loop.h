// The event loop of one worker; a client's part is in Connection, everything about HTTP in
// Exchange.
//
// One wait serves all sockets, and its time-out is the only timer: time-outs of connections are
// deadlines that a coarse sweep looks through, and answers that wait for their service time lie in
// a queue. A request so costs the wait, its read and its write, and no system call besides.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "daemon/http/connection.h"
#include "daemon/http/server.h"
#include "daemon/http/signal_inbox.h"
#include "daemon/raw/datagram_port.h"

namespace vsd::http {

class EventLoop final : public ConnectionOwner {
 public:
  // See Server.
  EventLoop(const HttpLimits& limits, RequestHandler& handler,
            const std::vector<Endpoint>& endpoints);
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void observe(TrafficObserver& observer) noexcept { context_.observer = &observer; }
  void forward_with(Forwarder& forwarder);
  void on_signal(int signal, std::function<void()> action);
  void on_retired(std::function<void()> action) { on_retired_ = std::move(action); }
  void run();

  // What other threads and signal handlers ask for. An eventfd adds them up.
  static constexpr std::uint64_t kStop = 1;
  static constexpr std::uint64_t kRetire = std::uint64_t{1} << 20U;
  static constexpr std::uint64_t kSignal = std::uint64_t{1} << 40U;
  void wake(std::uint64_t request) noexcept;
  void abandon(int socket);

 private:
  using ConnectionPtr = std::shared_ptr<Connection>;

  // Calls back when its descriptor is ready.
  class Call final : public SocketPoller::Watcher {
   public:
    explicit Call(std::function<void()> action) : action_(std::move(action)) {}
    void on_ready() override { action_(); }

   private:
    std::function<void()> action_;
  };

  // An endpoint and what is watched of it.
  struct Intake {
    Intake(EventLoop& loop, const Endpoint& endpoint);
    Intake(const Intake&) = delete;
    Intake& operator=(const Intake&) = delete;

    FileDescriptor listener;
    Call on_client;
    Call on_handover;
    const HandoverChannel* handover;
    const raw::Endpoint* raw;
    std::unique_ptr<raw::DatagramPort> datagrams;  // then there is no listener
    bool accepting = false;                        // the listener is watched
    bool taking_over = false;                      // the channel is
  };

  // `look_at` is no later than the connection's deadline can be, so that the sweep passes over
  // tens of thousands of connections without touching them.
  struct Client {
    ConnectionPtr connection;
    TimePoint look_at;
    Intake* intake;
  };

  void delay(Delayed& item, TimePoint due) override;
  void idle(Connection& connection) override;
  void closed(Connection& connection) noexcept override;

  void on_wake();
  void on_stop();
  void begin_drain();
  void begin_retirement();
  void end_when_drained();

  void stop_taking_over(Intake& intake) noexcept;
  void take_over(Intake& intake);
  void hand_over_idle();
  void hand_over_idle(const Intake& intake);
  bool hand_over(const Intake& intake, std::span<const ConnectionPtr> connections);
  [[nodiscard]] bool hands_over() const noexcept { return retired_ && !context_.draining; }

  void pause(Intake& intake) noexcept;
  void resume(Intake& intake) noexcept;
  void close_listener(Intake& intake) noexcept;
  bool accept_clients(Intake& intake);
  void open(Intake& intake, FileDescriptor socket);
  bool make_room_for_client(Intake& intake);
  void tell_connections() const noexcept;

  void run_timers(TimePoint now);
  void release_due(TimePoint now);
  void arm_sweep();
  void sweep(TimePoint now);
  void look_at(Client& client, TimePoint now);

  ExchangeContext context_;
  SocketPoller poller_;
  std::vector<std::unique_ptr<Intake>> intakes_;
  FileDescriptor wake_event_;
  Call on_wake_{[this] { on_wake(); }};
  SignalInbox signals_;
  std::function<void()> on_retired_;
  std::vector<Client> clients_;
  DelayQueue delayed_;
  TimePoint sweep_due_ = TimePoint::max();
  bool retired_ = false;
  bool is_over_ = false;
};

}  // namespace vsd::http
