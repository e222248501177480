// Socket addresses and TCP figures as text.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_sock.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "libwzcore/wzlb_sock/socket_support.h"

namespace wz {
namespace {

using AddressText = std::array<char, 128>;  // a path, or "[IPv6]:port"
static_assert(sizeof(AddressText) > sizeof sockaddr_un::sun_path);

void print_address(const char* host, int port, bool bracketed, AddressText& text) noexcept {
  std::snprintf(text.data(), text.size(), bracketed ? "[%s]:%d" : "%s:%d", host, port);
}

// `path_size` bytes of the path may be read.
char* text_of(const sockaddr* address, std::size_t path_size, bool give_port,
              AddressText& text) noexcept {
  text[0] = '\0';
  const int family = address != nullptr ? address->sa_family : AF_UNSPEC;
  char host[INET6_ADDRSTRLEN];
  if (family == AF_INET) {
    const auto& v4 = *reinterpret_cast<const sockaddr_in*>(address);
    inet_ntop(family, &v4.sin_addr, give_port ? host : text.data(), sizeof host);
    if (give_port) {
      print_address(host, ntohs(v4.sin_port), false, text);
    }
  } else if (family == AF_INET6) {
    const auto& v6 = *reinterpret_cast<const sockaddr_in6*>(address);
    inet_ntop(family, &v6.sin6_addr, give_port ? host : text.data(), sizeof host);
    if (give_port) {
      print_address(host, ntohs(v6.sin6_port), true, text);
    }
  } else if (family == AF_UNIX) {
    const char* path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
    *std::copy_n(path, strnlen(path, path_size), text.begin()) = '\0';
  }
  return text.data();
}

// Smallest length of a whole address of a family; 0 for families without a text.
std::size_t address_size(int family) noexcept {
  switch (family) {
    case AF_INET:
      return sizeof(sockaddr_in);
    case AF_INET6:
      return sizeof(sockaddr_in6);
    case AF_UNIX:
      return offsetof(sockaddr_un, sun_path);
    default:
      return 0;
  }
}

char* text_of_bytes(const sockaddr* address, socklen_t length, bool give_port,
                    AddressText& text) noexcept {
  const std::size_t needed = length >= sizeof address->sa_family && address != nullptr
                                 ? address_size(address->sa_family)
                                 : 0;
  if (needed == 0 || length < needed) {
    address = nullptr;
  }
  constexpr std::size_t kPathOffset = offsetof(sockaddr_un, sun_path);
  const std::size_t path_size = length > kPathOffset ? length - kPathOffset : 0;
  return text_of(address, std::min(path_size, sizeof sockaddr_un::sun_path), give_port, text);
}

// One end of a socket, read by getsockname or getpeername.
using NameReader = int (*)(int, sockaddr*, socklen_t*);

socklen_t read_name(NameReader read, int fd, SocketAddress& address) noexcept {
  socklen_t length = sizeof address;
  return read(fd, &address.any, &length) == 0 ? length : 0;
}

char* text_of_end(NameReader read, int fd, bool give_port, AddressText& text) noexcept {
  SocketAddress address;
  const socklen_t length = read_name(read, fd, address);
  return text_of_bytes(&address.any, length, give_port, text);
}

constexpr std::array kTcpStates = {"UNKNOWN",    "ESTABLISHED", "SYN_SENT",  "SYN_RECV",
                                   "FIN_WAIT1",  "FIN_WAIT2",   "TIME_WAIT", "CLOSE",
                                   "CLOSE_WAIT", "LAST_ACK",    "LISTEN",    "CLOSING"};

struct TcpFigure {
  const char* name;
  std::uint32_t tcp_info::*value;
};

constexpr TcpFigure kTcpFigures[] = {
    {"rto_us", &tcp_info::tcpi_rto},
    {"ato_us", &tcp_info::tcpi_ato},
    {"snd_mss", &tcp_info::tcpi_snd_mss},
    {"rcv_mss", &tcp_info::tcpi_rcv_mss},
    {"unacked", &tcp_info::tcpi_unacked},
    {"sacked", &tcp_info::tcpi_sacked},
    {"lost", &tcp_info::tcpi_lost},
    {"retrans", &tcp_info::tcpi_retrans},
    {"last_data_sent_ms", &tcp_info::tcpi_last_data_sent},
    {"last_data_recv_ms", &tcp_info::tcpi_last_data_recv},
    {"last_ack_recv_ms", &tcp_info::tcpi_last_ack_recv},
    {"pmtu", &tcp_info::tcpi_pmtu},
    {"rtt_us", &tcp_info::tcpi_rtt},
    {"rttvar_us", &tcp_info::tcpi_rttvar},
    {"snd_ssthresh", &tcp_info::tcpi_snd_ssthresh},
    {"snd_cwnd", &tcp_info::tcpi_snd_cwnd},
    {"advmss", &tcp_info::tcpi_advmss},
    {"reordering", &tcp_info::tcpi_reordering},
    {"rcv_rtt_us", &tcp_info::tcpi_rcv_rtt},
    {"rcv_space", &tcp_info::tcpi_rcv_space},
    {"total_retrans", &tcp_info::tcpi_total_retrans},
};

using FigureText = std::array<char, 1024>;
static_assert(std::size(kTcpFigures) * 32 + 64 <= sizeof(FigureText), "32 bytes a figure");

void print_figures(const tcp_info& info, FigureText& text) noexcept {
  const char* state = kTcpStates[info.tcpi_state < kTcpStates.size() ? info.tcpi_state : 0];
  char* at = text.data();
  const auto room = [&] { return text.size() - static_cast<std::size_t>(at - text.data()); };
  at += std::snprintf(at, room(), "state=%s retransmits=%d", state, info.tcpi_retransmits);
  for (const TcpFigure& figure : kTcpFigures) {
    at += std::snprintf(at, room(), " %s=%u", figure.name, info.*figure.value);
  }
}

}  // namespace
}  // namespace wz

using namespace wz;

char* wzlb_sockaddr_to_ip(const struct sockaddr* sa, int give_port) {
  static thread_local AddressText text;
  return text_of(sa, sizeof sockaddr_un::sun_path, give_port != 0, text);
}

char* wzlb_sock_ntop(const struct sockaddr* sa, socklen_t salen) {
  static thread_local AddressText text;
  return text_of_bytes(sa, salen, true, text);
}

char* wzlb_get_src_addr(int fd, int give_port) {
  static thread_local AddressText text;
  return text_of_end(getsockname, fd, give_port != 0, text);
}

char* wzlb_get_src_addr_ex(int fd, int give_port) {
  static thread_local AddressText text;
  return text_of_end(getsockname, fd, give_port != 0, text);
}

char* wzlb_get_dest_addr(int fd, int give_port) {
  static thread_local AddressText text;
  return text_of_end(getpeername, fd, give_port != 0, text);
}

char* wzlb_get_dest_addr_ex(int fd, int give_port) {
  static thread_local AddressText text;
  return text_of_end(getpeername, fd, give_port != 0, text);
}

char* wzlb_get_tcpinfo(int fd) {
  static thread_local FigureText text;
  text[0] = '\0';
  tcp_info info{};
  socklen_t length = sizeof info;
  if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length) == 0) {
    print_figures(info, text);
  }
  return text.data();
}

int wzlb_get_port_from_fd(int fd, char* err_msg) {
  SocketAddress address;
  if (read_name(getsockname, fd, address) == 0) {
    Message(err_msg).set("Error in getting the port of socket %d. Error: %s", fd,
                         wzlb_strerror(errno));
    return -1;
  }
  switch (address.any.sa_family) {
    case AF_INET:
      return ntohs(address.v4.sin_port);
    case AF_INET6:
      return ntohs(address.v6.sin6_port);
    default:
      Message(err_msg).set("Socket %d has no port.", fd);
      return -1;
  }
}
