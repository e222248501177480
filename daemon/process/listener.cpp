#include "daemon/process/listener.h"

#include <fcntl.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_sock.h>

#include <array>
#include <stdexcept>

namespace vsd {
namespace {

constexpr int kBacklog = 4096;

using Message = std::array<char, WZLB_SOCK_ERROR_SIZE>;

[[noreturn]] void fail(const ListenAddress& address, const char* reason) {
  std::string text(reason);
  while (text.ends_with('\n')) {
    text.pop_back();
  }
  throw std::runtime_error("cannot listen on " + to_string(address) + ": " + text);
}

// Host names become the address that they stand for.
std::string ip_of(const ListenAddress& address) {
  if (address.host.empty() || address.host.find(':') != std::string::npos) {
    return address.host;
  }
  sockaddr_in6 found{};
  Message message{};
  std::string host = address.host;
  if (wzlb_fill_sockaddr_ex(&found, host.data(), 0, message.data()) == 0) {
    fail(address, message.data());
  }
  return wzlb_sockaddr_to_ip(reinterpret_cast<const sockaddr*>(&found), 0);
}

// The workers of this daemon share an address, but so could a second daemon unnoticed. A first
// socket that shares with nobody finds out whether the address is taken.
void check_free(const ListenAddress& address, Transport transport, char* ip) {
  Message message{};
  int fd = -1;
  const bool is_ipv4 = *ip != '\0' && address.host.find(':') == std::string::npos &&
                       std::string_view(ip).find(':') == std::string_view::npos;
  if (transport == Transport::udp) {
    fd = *ip == '\0' ? wzlb_udp_server6(address.port, 0)
                     : wzlb_udp_server_ex(address.port, 0, ip, message.data(), message.size());
  } else if (is_ipv4) {
    fd = wzlb_tcp_listen_ex(address.port, kBacklog, ip, message.data());
  } else {
    fd = wzlb_tcp_listen6_ex(address.port, kBacklog, ip, 0);
  }
  const FileDescriptor probe(fd);
  if (!probe) {
    fail(address, message[0] != '\0' ? message.data() : wzlb_get_error());
  }
}

Listener bind_listener(const ListenAddress& address, Transport transport, char* ip) {
  Message message{};
  Listener listener;
  listener.socket =
      FileDescriptor(transport == Transport::udp
                         ? wzlb_udp_server_shared(address.port, 1, ip, message.data())
                         : wzlb_tcp_listen_shared(address.port, kBacklog, ip, message.data()));
  if (!listener.socket) {
    fail(address, message.data());
  }
  const int fd = listener.socket.get();
  set_fd_cloexec_flag(fd);
  wzlb_Fcntl(fd, F_SETFL, O_NONBLOCK);
  listener.port = static_cast<std::uint16_t>(wzlb_get_port_from_fd(fd, message.data()));
  return listener;
}

}  // namespace

const char* to_string(Transport transport) noexcept {
  return transport == Transport::udp ? "udp" : "tcp";
}

std::string to_string(const ListenAddress& address) {
  const std::string port = ":" + std::to_string(address.port);
  if (address.host.empty()) {
    return "*" + port;
  }
  const bool is_ipv6 = address.host.find(':') != std::string::npos;
  return (is_ipv6 ? "[" + address.host + "]" : address.host) + port;
}

Listener open_listener(const ListenAddress& address, Transport transport) {
  std::string ip = ip_of(address);
  check_free(address, transport, ip.data());
  return bind_listener(address, transport, ip.data());
}

Listener join_listener(const ListenAddress& address, Transport transport) {
  return bind_listener(address, transport, ip_of(address).data());
}

}  // namespace vsd
