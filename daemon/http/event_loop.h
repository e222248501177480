// The event loop of one worker, on Asio; a client's part is in Connection, everything about HTTP in
// Exchange.
//
// Timers cost system calls, so there are two for all connections: time-outs are deadlines that one
// coarse timer looks through, and answers that wait for their service time lie in a queue with one
// timer for the earliest.
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "daemon/http/connection.h"
#include "daemon/http/server.h"
#include "daemon/raw/datagram_port.h"

namespace vsd::http {

namespace asio = boost::asio;

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
  static constexpr std::uint64_t kRetire = std::uint64_t{1} << 32U;
  void wake(std::uint64_t request) noexcept;
  void abandon(int socket);

 private:
  using Descriptor = asio::posix::stream_descriptor;
  using ConnectionPtr = std::shared_ptr<Connection>;

  // An endpoint and the waits on it.
  struct Intake {
    Intake(EventLoop& loop, const Endpoint& endpoint);
    ~Intake();
    Intake(const Intake&) = delete;
    Intake& operator=(const Intake&) = delete;

    Descriptor listener;
    Descriptor handed_over;  // the channel's
    const HandoverChannel* handover;
    const raw::Endpoint* raw;
    std::unique_ptr<raw::DatagramPort> datagrams;  // then there is no listener
    bool accepting = false;                        // a wait on the listener is under way
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

  void wait_for_signal();
  void wait_for_requests();  // of wake()
  void on_stop();
  void begin_drain();
  void begin_retirement();
  void end_when_drained();

  void wait_for_handover(Intake& intake);
  void take_over(Intake& intake);
  void hand_over_idle();
  void hand_over_idle(const Intake& intake);
  bool hand_over(const Intake& intake, std::span<const ConnectionPtr> connections);
  [[nodiscard]] bool hands_over() const noexcept { return retired_ && !context_.draining; }

  void wait_for_sockets();
  void wait_for_clients(Intake& intake);
  bool accept_clients(Intake& intake);
  void open(Intake& intake, FileDescriptor socket);
  bool make_room_for_client(Intake& intake);
  void tell_connections() const noexcept;

  void arm_delay_timer();
  void release_due();

  void arm_sweep();
  void sweep();
  void look_at(Client& client, TimePoint now);

  ExchangeContext context_;
  SocketPoller poller_;
  asio::io_context io_{BOOST_ASIO_CONCURRENCY_HINT_UNSAFE};
  std::vector<std::unique_ptr<Intake>> intakes_;
  Descriptor sockets_{io_};  // the poller's
  Descriptor wake_event_{io_};
  asio::signal_set signals_{io_};
  std::map<int, std::function<void()>> signal_actions_;
  std::function<void()> on_retired_;
  asio::steady_timer sweep_timer_{io_};
  asio::steady_timer delay_timer_{io_};
  std::vector<Client> clients_;
  DelayQueue delayed_;
  TimePoint delay_armed_ = TimePoint::max();
  bool retired_ = false;
  bool sweeping_ = false;
};

}  // namespace vsd::http
