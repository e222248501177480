// A bare socket, for what well-behaved clients do not do.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>

namespace vsd::test {

class RawClient {
 public:
  explicit RawClient(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    set_options();
  }
  // The client whose connection waits longest in the queue of `listener`.
  static RawClient accepted(int listener) {
    pollfd waiting{listener, POLLIN, 0};
    EXPECT_EQ(::poll(&waiting, 1, 30000), 1) << "nobody has connected";
    return {::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), Owned{}};
  }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  ~RawClient() { ::close(socket_); }

  void send(std::string_view bytes) const { EXPECT_TRUE(try_send(bytes)); }
  // False when the other side has gone.
  [[nodiscard]] bool try_send(std::string_view bytes) const {
    return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
  }

  // Its own port.
  [[nodiscard]] int port() const {
    sockaddr_in name{};
    socklen_t length = sizeof name;
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&name), &length);
    return ntohs(name.sin_port);
  }

  void end_sending() const { ::shutdown(socket_, SHUT_WR); }

  // Makes the destructor reset the connection instead of ending it in order.
  void close_with_reset() const {
    const linger at_once{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  }

  // Reads until the text ends with `end`, or to the end of the connection.
  std::string receive(std::string_view end = "") const {
    std::string text;
    std::array<char, 65536> buffer{};
    while (end.empty() || !text.ends_with(end)) {
      const ssize_t count = ::recv(socket_, buffer.data(), buffer.size(), 0);
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count <= 0) {
        break;
      }
      text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  // Sends what there is room for now.
  [[nodiscard]] std::size_t send_some(std::string_view bytes) const {
    const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return sent > 0 ? static_cast<std::size_t>(sent) : 0;
  }
  // What has arrived, waiting only while nothing has.
  [[nodiscard]] std::string receive_some() const {
    std::string bytes(1 << 20, '\0');
    const ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), 0);
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
  }
  // Sends without end until the other side has gone; false after `most` bytes.
  [[nodiscard]] bool send_until_reset(std::size_t most) const {
    const std::string block(65536, 'x');
    for (std::size_t sent = 0; sent < most; sent += block.size()) {
      if (::send(socket_, block.data(), block.size(), MSG_NOSIGNAL) < 0) {
        return errno == EPIPE || errno == ECONNRESET;
      }
    }
    return false;
  }

 private:
  struct Owned {};
  RawClient(int socket, Owned) : socket_(socket) { set_options(); }

  void set_options() const {
    const int on = 1;  // each write a segment of its own
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const timeval patience{30, 0};  // a missing answer fails the test instead of blocking it
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }

  int socket_;
};

}  // namespace vsd::test
