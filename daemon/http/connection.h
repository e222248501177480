// One client: a socket and its dialogue, driven by readiness, deadlines and due times.
#pragma once

#include <memory>

#include "daemon/file_descriptor.h"
#include "daemon/http/delay_queue.h"
#include "daemon/http/dialogue.h"
#include "daemon/http/socket_poller.h"

namespace vsd::http {

class Connection;

// The event loop, as its connections see it.
class ConnectionOwner : public DelayOwner {
 public:
  ConnectionOwner(const ConnectionOwner&) = delete;
  ConnectionOwner& operator=(const ConnectionOwner&) = delete;

  // No request of the connection is under way (any more). It may be closed at once.
  virtual void idle(Connection& connection) = 0;
  // The connection has closed its socket; it must live until its own call returns.
  virtual void closed(Connection& connection) noexcept = 0;

 protected:
  ConnectionOwner() = default;
  ~ConnectionOwner() = default;
};

class Connection final : public SocketPoller::Watcher,
                         public ForwardSink,
                         public Delayed,
                         public std::enable_shared_from_this<Connection> {
 public:
  // Registers the socket. Throws std::system_error.
  Connection(ConnectionOwner& owner, ExchangeContext& context, SocketPoller& poller,
             FileDescriptor socket, std::unique_ptr<Dialogue> dialogue);

  void on_ready() override;
  void resume(TimePoint now) override;
  void check_deadline(TimePoint now);
  // Serves what has arrived and closes if no request is under way: one may have crossed the
  // decision to end.
  void drain(TimePoint now);
  void close();
  void close_with_reset();
  // Gives the socket up without closing it: somebody else does.
  void abandon();

  [[nodiscard]] int socket() const noexcept { return socket_.get(); }
  [[nodiscard]] const Dialogue& dialogue() const noexcept { return *dialogue_; }

  std::size_t index = 0;  // the owner's

 private:
  using Interest = SocketPoller::Interest;
  enum class Sent { some, blocked, failed };

  [[nodiscard]] bool open() const noexcept { return static_cast<bool>(socket_); }
  void on_head(const BackendHead& head) override;
  bool on_body(std::string_view bytes) override;
  void on_end(ForwardEnd end) override;
  void on_progress() override;

  void run(TimePoint now);
  bool forward(TimePoint now);
  void watch(Interest interest);
  bool read_available(TimePoint now);
  Sent send(TimePoint now);

  ConnectionOwner& owner_;
  ExchangeContext& context_;
  SocketPoller& poller_;
  FileDescriptor socket_;
  std::unique_ptr<Dialogue> dialogue_;
  std::unique_ptr<Forward> forward_;     // of the request under way
  Interest wanted_ = Interest::input;    // what the dialogue waits for
  Interest interest_ = Interest::input;  // what the socket is registered for
};

}  // namespace vsd::http
