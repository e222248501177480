// A UDP socket: every datagram is a message, and its answer goes back to the sender.
#pragma once

#include <sys/socket.h>

#include <list>
#include <memory>
#include <string>

#include "daemon/file_descriptor.h"
#include "daemon/http/delay_queue.h"
#include "daemon/http/dialogue.h"
#include "daemon/http/socket_poller.h"
#include "daemon/raw/endpoint.h"

namespace vsd::raw {

using http::TimePoint;

class DatagramPort final : public http::SocketPoller::Watcher {
 public:
  // Registers the socket. All but `socket` must outlive the port, and no answer may be woken after
  // its end. Throws std::system_error.
  DatagramPort(http::DelayOwner& owner, http::ExchangeContext& context, http::SocketPoller& poller,
               FileDescriptor socket, const Endpoint& endpoint);
  ~DatagramPort();

  void on_ready() override { receive(); }
  // Serves what has arrived. True when it stopped for the others' sake and more may wait.
  bool receive();
  // Leaves what comes from now on to others; answers that wait are still sent.
  void stop_receiving() noexcept;

  [[nodiscard]] int socket() const noexcept { return socket_.get(); }

 private:
  struct Address {
    sockaddr_storage name;
    socklen_t length;
  };
  // An answer before its time.
  struct Waiting final : http::Delayed {
    DatagramPort* port = nullptr;
    std::list<Waiting>::iterator place;
    Address to{};
    std::string body;
    TimePoint since;
    std::uint32_t service = 0;

    void resume(TimePoint now) override;
  };

  void serve(std::string_view message, const Address& from, TimePoint now);
  bool make_answer();
  void send(std::string_view body, const Address& to) const noexcept;
  void hold(const Address& to, TimePoint now);

  http::DelayOwner& owner_;
  http::ExchangeContext& context_;
  http::SocketPoller& poller_;
  FileDescriptor socket_;
  const Endpoint& endpoint_;
  std::unique_ptr<char[]> buffer_;
  std::list<Waiting> waiting_;
  bool is_receiving_ = true;
};

}  // namespace vsd::raw
