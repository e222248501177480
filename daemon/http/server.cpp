// Sockets and timers on Asio; everything about HTTP is in Exchange.
//
// System calls decide what a request costs: there are one read and one write. The answer is tried
// at once, without waiting for the socket to be writable; waiting is SocketPoller's. Time-outs are
// deadlines that one coarse timer looks through; answers that wait for their service time lie in a
// heap with one timer for the earliest.
#include "daemon/http/server.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <functional>
#include <system_error>
#include <utility>
#include <vector>

#include "daemon/http/exchange.h"
#include "daemon/http/socket_poller.h"

namespace vsd::http {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using Descriptor = asio::posix::stream_descriptor;

constexpr std::chrono::milliseconds kSweepInterval{250};
constexpr int kAcceptsPerEvent = 64;  // then the other connections have their turn

bool would_block(int error) noexcept {
  return error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace

class Server::Loop {
 public:
  Loop(const HttpLimits& limits, RequestHandler& handler, int listen_fd);
  ~Loop() { sockets_.release(); }  // the poller closes it
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  void run();
  void stop() noexcept;

 private:
  class Connection;
  using ConnectionPtr = std::shared_ptr<Connection>;

  struct Delayed {
    TimePoint due;
    ConnectionPtr connection;
    friend bool operator>(const Delayed& a, const Delayed& b) noexcept { return a.due > b.due; }
  };

  void wait_for_signal();
  void wait_for_stop();
  void on_stop();
  void begin_drain();
  void end_when_drained();

  void wait_for_sockets();
  void wait_for_clients();
  bool accept_clients();
  void open(FileDescriptor socket);
  void remove(Connection& connection);
  bool make_room_for_client();

  void delay(TimePoint due, ConnectionPtr connection);
  void arm_delay_timer();
  void release_due();

  void arm_sweep();
  void sweep();

  ExchangeContext context_;
  SocketPoller poller_;
  asio::io_context io_{BOOST_ASIO_CONCURRENCY_HINT_UNSAFE};
  Descriptor listener_{io_};
  Descriptor sockets_{io_};  // the poller's
  Descriptor stop_event_{io_};
  asio::signal_set signals_{io_};
  asio::steady_timer sweep_timer_{io_};
  asio::steady_timer delay_timer_{io_};
  std::vector<ConnectionPtr> connections_;
  std::vector<Delayed> delayed_;  // a heap, the earliest in front
  TimePoint delay_armed_ = TimePoint::max();
  bool accepting_ = false;  // a wait on the listener is under way
  bool sweeping_ = false;
};

// A socket and its exchange. Alive while the loop lists it or an answer of it is delayed.
class Server::Loop::Connection final : public SocketPoller::Watcher,
                                       public std::enable_shared_from_this<Connection> {
 public:
  Connection(Loop& loop, FileDescriptor socket, TimePoint now)
      : loop_(loop), socket_(std::move(socket)), exchange_(loop.context_, socket_.get(), now) {
    loop_.poller_.add(socket_.get(), *this, interest_);
  }

  void on_ready() override;
  void run(TimePoint now);
  void close();
  void check_deadline(TimePoint now);
  void drain(TimePoint now);

  [[nodiscard]] bool open() const noexcept { return static_cast<bool>(socket_); }
  [[nodiscard]] bool idle() const noexcept { return exchange_.idle(); }
  [[nodiscard]] TimePoint deadline() const noexcept { return exchange_.deadline(); }

  std::size_t index = 0;  // in the loop's list

 private:
  using Interest = SocketPoller::Interest;
  enum class Sent { some, blocked, failed };

  void watch(Interest interest);
  bool read_available(TimePoint now);
  Sent send(TimePoint now);

  Loop& loop_;
  FileDescriptor socket_;
  Exchange exchange_;
  Interest wanted_ = Interest::input;    // what the exchange waits for
  Interest interest_ = Interest::input;  // what the socket is registered for
};

// Input that nobody wants yet takes the registration back only when it arrives: most answers are
// sent before the next request comes.
void Server::Loop::Connection::on_ready() {
  const ConnectionPtr self = shared_from_this();
  if (wanted_ == Interest::none) {
    if (interest_ == Interest::none) {
      close();  // reported without any interest: the client is gone
    } else {
      watch(Interest::none);
    }
    return;
  }
  const TimePoint now = Clock::now();
  loop_.context_.date.update(std::time(nullptr));
  if (wanted_ == Interest::input && !read_available(now)) {
    close();
    return;
  }
  run(now);
}

void Server::Loop::Connection::watch(Interest interest) {
  wanted_ = interest;
  if (interest != interest_) {
    loop_.poller_.change(socket_.get(), *this, interest_ = interest);
  }
}

void Server::Loop::Connection::run(TimePoint now) {
  while (open()) {
    switch (exchange_.step(now)) {
      case Exchange::Step::read:
        watch(Interest::input);
        return;
      case Exchange::Step::write:
        switch (send(now)) {
          case Sent::some:
            break;
          case Sent::blocked:
            watch(Interest::output);
            return;
          case Sent::failed:
            close();
            return;
        }
        break;
      case Exchange::Step::wait:
        wanted_ = Interest::none;
        loop_.delay(exchange_.due(), shared_from_this());
        return;
      case Exchange::Step::shut_down:
        ::shutdown(socket_.get(), SHUT_WR);
        exchange_.shut_down(now);
        break;
      case Exchange::Step::close:
        close();
        return;
    }
  }
}

void Server::Loop::Connection::close() {
  if (open()) {
    loop_.poller_.remove(socket_.get(), *this);
    socket_.reset();
    loop_.remove(*this);
  }
}

// Reads what is there. False when the connection is lost.
bool Server::Loop::Connection::read_available(TimePoint now) {
  for (;;) {
    const auto space = exchange_.input_space();
    const ssize_t count = ::recv(socket_.get(), space.data(), space.size(), 0);
    if (count > 0) {
      exchange_.received(static_cast<std::size_t>(count), now);
      return true;
    }
    if (count == 0) {
      exchange_.input_ended();
      return true;
    }
    if (errno != EINTR) {
      return would_block(errno);
    }
  }
}

Server::Loop::Connection::Sent Server::Loop::Connection::send(TimePoint now) {
  const auto output = exchange_.output();
  const auto& [first, second] = output;
  ssize_t count = 0;
  do {
    if (second.empty()) {
      count = ::send(socket_.get(), first.data(), first.size(), MSG_NOSIGNAL);
    } else {
      std::array<iovec, 2> pieces{{{const_cast<char*>(first.data()), first.size()},
                                   {const_cast<char*>(second.data()), second.size()}}};
      msghdr message{};
      message.msg_iov = pieces.data();
      message.msg_iovlen = pieces.size();
      count = ::sendmsg(socket_.get(), &message, MSG_NOSIGNAL);
    }
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    return would_block(errno) ? Sent::blocked : Sent::failed;
  }
  exchange_.written(static_cast<std::size_t>(count), now);
  return Sent::some;
}

void Server::Loop::Connection::check_deadline(TimePoint now) {
  if (exchange_.check_deadline(now)) {
    run(now);
  }
}

// A request may have crossed our decision to end: what has arrived is still served.
void Server::Loop::Connection::drain(TimePoint now) {
  if (!idle()) {
    return;
  }
  if (read_available(now)) {
    run(now);
  }
  if (open() && idle()) {
    close();
  }
}

Server::Loop::Loop(const HttpLimits& limits, RequestHandler& handler, int listen_fd)
    : context_(limits, handler) {
  listener_.assign(listen_fd);
  listener_.non_blocking(true);
  const int event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event < 0) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  stop_event_.assign(event);
  sockets_.assign(poller_.descriptor());
  signals_.add(SIGTERM);
  struct sigaction interrupt {};
  if (::sigaction(SIGINT, nullptr, &interrupt) == 0 && interrupt.sa_handler != SIG_IGN) {
    signals_.add(SIGINT);
  }
}

void Server::Loop::run() {
  wait_for_signal();
  wait_for_stop();
  wait_for_clients();
  wait_for_sockets();
  io_.run();
  delayed_.clear();
  while (!connections_.empty()) {
    connections_.back()->close();
  }
}

void Server::Loop::stop() noexcept {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t ignored = ::write(stop_event_.native_handle(), &one, sizeof one);
}

void Server::Loop::wait_for_signal() {
  signals_.async_wait([this](const error_code& error, int) {
    if (!error) {
      on_stop();
      wait_for_signal();
    }
  });
}

void Server::Loop::wait_for_stop() {
  stop_event_.async_wait(Descriptor::wait_read, [this](const error_code& error) {
    std::uint64_t count = 0;
    if (!error && ::read(stop_event_.native_handle(), &count, sizeof count) == sizeof count) {
      on_stop();
      wait_for_stop();
    }
  });
}

void Server::Loop::on_stop() {
  if (context_.draining) {
    io_.stop();
    return;
  }
  begin_drain();
}

void Server::Loop::begin_drain() {
  while (accept_clients()) {  // who has connected is served
  }
  context_.draining = true;
  error_code ignored;
  listener_.close(ignored);
  const TimePoint now = Clock::now();
  const auto connections = connections_;  // closing changes the list
  for (const auto& connection : connections) {
    connection->drain(now);
  }
  end_when_drained();
}

void Server::Loop::end_when_drained() {
  if (context_.draining && connections_.empty()) {
    io_.stop();
  }
}

void Server::Loop::wait_for_sockets() {
  sockets_.async_wait(Descriptor::wait_read, [this](const error_code& error) {
    if (!error) {
      poller_.dispatch();
      wait_for_sockets();
    }
  });
}

void Server::Loop::wait_for_clients() {
  if (accepting_ || !listener_.is_open()) {
    return;
  }
  accepting_ = true;
  listener_.async_wait(Descriptor::wait_read, [this](const error_code& error) {
    accepting_ = false;
    if (!error && listener_.is_open()) {
      accept_clients();
    }
  });
}

// Accepts who waits; true when it stopped for the others' sake and more may wait. At the limit of
// connections or of descriptors new clients stay in the kernel's queue; the sweep looks again, so
// that the listener, which remains readable, does not keep the loop busy.
bool Server::Loop::accept_clients() {
  for (int i = 0; i < kAcceptsPerEvent; ++i) {
    if (connections_.size() >= context_.limits.max_connections && !make_room_for_client()) {
      return false;
    }
    const int fd =
        ::accept4(listener_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0) {
      open(FileDescriptor(fd));
    } else if (would_block(errno)) {
      wait_for_clients();
      return false;
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      if (!make_room_for_client()) {
        return false;
      }
    }  // else the client has gone before it was accepted
  }
  wait_for_clients();
  return true;
}

void Server::Loop::open(FileDescriptor socket) {
  const int on = 1;
  ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  try {
    auto connection = std::make_shared<Connection>(*this, std::move(socket), Clock::now());
    connection->index = connections_.size();
    connections_.push_back(std::move(connection));
    arm_sweep();
  } catch (const std::exception&) {  // out of memory or of epoll watches: this client is refused
  }
}

void Server::Loop::remove(Connection& connection) {
  const ConnectionPtr keep = connections_[connection.index];
  std::swap(connections_[connection.index], connections_.back());
  connections_[connection.index]->index = connection.index;
  connections_.pop_back();
  end_when_drained();
}

// For a client that waits, closes the connection that has been idle longest. False when there is no
// such client or every connection has a request under way.
bool Server::Loop::make_room_for_client() {
  pollfd waiting{listener_.native_handle(), POLLIN, 0};
  if (::poll(&waiting, 1, 0) != 1) {
    wait_for_clients();
    return false;
  }
  Connection* oldest = nullptr;
  for (const auto& connection : connections_) {
    if (connection->idle() && (oldest == nullptr || connection->deadline() < oldest->deadline())) {
      oldest = connection.get();
    }
  }
  if (oldest == nullptr) {
    arm_sweep();
    return false;
  }
  oldest->close();
  return true;
}

void Server::Loop::delay(TimePoint due, ConnectionPtr connection) {
  delayed_.push_back({due, std::move(connection)});
  std::push_heap(delayed_.begin(), delayed_.end(), std::greater<>{});
  arm_delay_timer();
}

void Server::Loop::arm_delay_timer() {
  if (delayed_.empty() || delayed_.front().due >= delay_armed_) {
    return;
  }
  delay_armed_ = delayed_.front().due;
  delay_timer_.expires_at(delay_armed_);
  delay_timer_.async_wait([this](const error_code& error) {
    if (!error) {
      release_due();
    }
  });
}

void Server::Loop::release_due() {
  delay_armed_ = TimePoint::max();
  const TimePoint now = Clock::now();
  while (!delayed_.empty() && delayed_.front().due <= now) {
    std::pop_heap(delayed_.begin(), delayed_.end(), std::greater<>{});
    const ConnectionPtr connection = std::move(delayed_.back().connection);
    delayed_.pop_back();
    connection->run(now);
  }
  arm_delay_timer();
}

void Server::Loop::arm_sweep() {
  if (sweeping_) {
    return;
  }
  sweeping_ = true;
  sweep_timer_.expires_after(kSweepInterval);
  sweep_timer_.async_wait([this](const error_code& error) {
    sweeping_ = false;
    if (!error) {
      sweep();
    }
  });
}

void Server::Loop::sweep() {
  const TimePoint now = Clock::now();
  context_.date.update(std::time(nullptr));
  // Backwards, because closing a connection puts the last one in its place.
  for (std::size_t i = connections_.size(); i > 0; --i) {
    if (i <= connections_.size() && now >= connections_[i - 1]->deadline()) {
      const ConnectionPtr connection = connections_[i - 1];
      connection->check_deadline(now);
    }
  }
  if (listener_.is_open() && !accepting_) {
    accept_clients();
  }
  if (!connections_.empty() || !accepting_) {
    arm_sweep();
  }
}

Server::Server(const HttpLimits& limits, RequestHandler& handler, int listen_fd)
    : loop_(std::make_unique<Loop>(limits, handler, listen_fd)) {}

Server::~Server() = default;

void Server::run() {
  loop_->run();
}

void Server::stop() noexcept {
  loop_->stop();
}

}  // namespace vsd::http
