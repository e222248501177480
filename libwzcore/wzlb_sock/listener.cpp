// TCP listeners and UDP endpoints. One implementation stands behind the variants of each: they
// differ in family, address and where the message goes.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_sock.h>

#include <cerrno>
#include <cstring>

#include "libwzcore/wzlb_sock/socket_support.h"

namespace wz {
namespace {

constexpr int kFailed = -1;
constexpr int kNotBound = -2;
constexpr int kBadAddress = -3;

struct ListenRequest {
  int family = AF_INET;
  int port = 0;
  int backlog = 0;
  const char* ip = nullptr;  // null or empty: every address
  bool ipv6_only = false;
  bool shared = false;  // with others that bind the same address in the same way
};

bool is_given(const char* text) noexcept {
  return text != nullptr && text[0] != '\0';
}

// Every address of the family, with the port.
socklen_t any_address(int family, int port, SocketAddress& address) noexcept {
  address = {};
  const in_port_t network_port = htons(static_cast<in_port_t>(port));
  if (family == AF_INET6) {
    address.v6.sin6_family = AF_INET6;
    address.v6.sin6_port = network_port;
    return sizeof address.v6;
  }
  address.v4.sin_family = AF_INET;
  address.v4.sin_port = network_port;
  return sizeof address.v4;
}

// An IPv6 address may name its interface: "fe80::1%eth0".
bool set_ipv6(const char* ip, sockaddr_in6& address) noexcept {
  addrinfo hints{};
  hints.ai_family = AF_INET6;
  hints.ai_flags = AI_NUMERICHOST;
  addrinfo* found = nullptr;
  if (getaddrinfo(ip, nullptr, &hints, &found) != 0) {
    return false;
  }
  const auto& given = *reinterpret_cast<const sockaddr_in6*>(found->ai_addr);
  address.sin6_addr = given.sin6_addr;
  address.sin6_scope_id = given.sin6_scope_id;
  freeaddrinfo(found);
  return true;
}

bool set_ip(const ListenRequest& request, SocketAddress& address) noexcept {
  return request.family == AF_INET6 ? set_ipv6(request.ip, address.v6)
                                    : inet_aton(request.ip, &address.v4.sin_addr) != 0;
}

// Both kinds of address, where none is given.
int family_of(const char* ip) noexcept {
  return is_given(ip) && std::strchr(ip, ':') == nullptr ? AF_INET : AF_INET6;
}

int report_unbound(const ListenRequest& request, int error, const Message& message) noexcept {
  constexpr const char* kInUse = "IP Address and port is in use";
  const bool in_use = error == EADDRINUSE;
  const char* label = in_use ? "" : "Error = ";
  const char* reason = in_use ? kInUse : wzlb_strerror(error);
  if (is_given(request.ip)) {
    message.set("Error in binding for listen socket (IP = %s, Port = %d). %s%s", request.ip,
                request.port, label, reason);
  } else {
    message.set("Error in binding for listen socket (Port = %d). %s%s", request.port, label,
                reason);
  }
  return kNotBound;
}

bool set_listener_options(int fd, const ListenRequest& request) noexcept {
  return set_option(fd, SOL_SOCKET, SO_REUSEADDR, 1) &&
         (request.family != AF_INET6 ||
          set_option(fd, IPPROTO_IPV6, IPV6_V6ONLY, request.ipv6_only ? 1 : 0)) &&
         (!request.shared || set_option(fd, SOL_SOCKET, SO_REUSEPORT, 1));
}

int open_listener(const ListenRequest& request, const Message& message) noexcept {
  SocketHandle fd(socket(request.family, SOCK_STREAM, 0));
  if (!fd) {
    message.set("Error in creating socket. Error: %s\n", wzlb_strerror(errno));
    return kFailed;
  }
  if (!set_listener_options(fd.get(), request)) {
    message.set("Error in setting socket options for reuse address. Error: %s",
                wzlb_strerror(errno));
    return kFailed;
  }
  SocketAddress address;
  const socklen_t length = any_address(request.family, request.port, address);
  if (is_given(request.ip) && !set_ip(request, address)) {
    message.set("Error: Invalid IP address (%s) given in %s().", request.ip,
                request.family == AF_INET6 ? "tcp_listen6_ex" : "tcp_listen_ex");
    return kBadAddress;
  }
  if (request.port < 0 || request.port > kMaxPort) {
    return report_unbound(request, EINVAL, message);
  }
  if (bind(fd.get(), &address.any, length) != 0) {
    return report_unbound(request, errno, message);
  }
  if (listen(fd.get(), request.backlog) != 0) {
    message.set("Error in listening on socket. Error: %s", wzlb_strerror(errno));
    return kFailed;
  }
  return fd.release();
}

int open_listener_keeping_message(const ListenRequest& request, Print print) noexcept {
  return with_kept_message(print,
                           [&](char* text) { return open_listener(request, Message(text)); });
}

bool make_non_blocking(int fd) noexcept {
  const int flags = fcntl(fd, F_GETFL);
  return flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) >= 0;
}

int open_datagram_socket(int family, const Message& message) noexcept {
  const int fd = socket(family, SOCK_DGRAM, 0);
  if (fd < 0) {
    message.set("Error in creating socket for UDP. Error=%s", wzlb_strerror(errno));
  }
  return fd;
}

// Hands the endpoint out, non-blocking where `no_delay` asks for it.
int finish_endpoint(SocketHandle& fd, int no_delay, const Message& message) noexcept {
  if (no_delay != 0 && !make_non_blocking(fd.get())) {
    message.set("Error in fcntl (NODELAY). Error=%s", wzlb_strerror(errno));
    return kFailed;
  }
  return fd.release();
}

struct EndpointRequest {
  int family = AF_INET;  // where no host is given
  unsigned short port = 0;
  int no_delay = 0;
  const char* host = nullptr;  // null or empty: every address
  bool shared = false;
};

// Deliberate: a shared endpoint does without SO_REUSEADDR, with which the system would let an
// unshared one have the same address as well.
bool set_endpoint_options(int fd, int family, bool shared) noexcept {
  return set_option(fd, SOL_SOCKET, shared ? SO_REUSEPORT : SO_REUSEADDR, 1) &&
         (family != AF_INET6 || set_option(fd, IPPROTO_IPV6, IPV6_V6ONLY, 0));
}

int open_udp_server(const EndpointRequest& request, const Message& message) noexcept {
  SocketAddress address;
  socklen_t length = any_address(request.family, request.port, address);
  if (is_given(request.host)) {
    char reason[WZLB_SOCK_ERROR_SIZE] = "";
    length = fill_address(address, request.host, request.port, Message(reason));
    if (length == 0) {
      message.set("Error in udp_server: gethostbyname. Error=%s", reason);
      return kFailed;
    }
  }
  const int family = address.any.sa_family;
  SocketHandle fd(open_datagram_socket(family, message));
  if (!fd) {
    return kFailed;
  }
  if (!set_endpoint_options(fd.get(), family, request.shared)) {
    message.set("Error in setting setsockopt (REUSEADDR): Error=%s", wzlb_strerror(errno));
    return kFailed;
  }
  if (bind(fd.get(), &address.any, length) != 0) {
    message.set("Error in bind. Error=%s", wzlb_strerror(errno));
    return kFailed;
  }
  return finish_endpoint(fd, request.no_delay, message);
}

int open_udp_client(const char* server_name, int default_port, int no_delay,
                    const Message& message) noexcept {
  SocketAddress address;
  const socklen_t length = fill_address(address, server_name, default_port, message);
  if (length == 0) {
    return kFailed;
  }
  SocketHandle fd(open_datagram_socket(address.any.sa_family, message));
  if (!fd) {
    return kFailed;
  }
  if (connect(fd.get(), &address.any, length) != 0) {
    message.set("Unable to make connection with Server '%s'. SysErr(%d): %s", server_name, errno,
                wzlb_strerror(errno));
    return kFailed;
  }
  return finish_endpoint(fd, no_delay, message);
}

}  // namespace
}  // namespace wz

using namespace wz;

int wzlb_tcp_listen_ex(int local_port, int backlog, char* ip_addr, char* err_msg) {
  return open_listener({.port = local_port, .backlog = backlog, .ip = ip_addr}, Message(err_msg));
}

int wzlb_tcp_listen(int local_port, int backlog) {
  return open_listener_keeping_message({.port = local_port, .backlog = backlog}, Print::kNo);
}

int wzlb_Tcp_listen(int local_port, int backlog) {
  return open_listener_keeping_message({.port = local_port, .backlog = backlog}, Print::kYes);
}

int wzlb_Tcp_listen_ex(int local_port, int backlog, char* ip_addr) {
  return open_listener_keeping_message({.port = local_port, .backlog = backlog, .ip = ip_addr},
                                       Print::kYes);
}

int wzlb_tcp_listen6_ex(int local_port, int backlog, char* ip_addr, int ipv6_only) {
  return open_listener_keeping_message({.family = AF_INET6,
                                        .port = local_port,
                                        .backlog = backlog,
                                        .ip = ip_addr,
                                        .ipv6_only = ipv6_only != 0},
                                       Print::kNo);
}

int wzlb_tcp_listen6(int local_port, int backlog) {
  return wzlb_tcp_listen6_ex(local_port, backlog, nullptr, 0);
}

int wzlb_Tcp_listen6(int local_port, int backlog) {
  return open_listener_keeping_message({.family = AF_INET6, .port = local_port, .backlog = backlog},
                                       Print::kYes);
}

int wzlb_Tcp_listen6_v2(int local_port, int backlog) {
  return open_listener_keeping_message(
      {.family = AF_INET6, .port = local_port, .backlog = backlog, .ipv6_only = true}, Print::kYes);
}

int wzlb_tcp_listen_shared(int local_port, int backlog, char* ip_addr, char* err_msg) {
  return open_listener({.family = family_of(ip_addr),
                        .port = local_port,
                        .backlog = backlog,
                        .ip = ip_addr,
                        .shared = true},
                       Message(err_msg));
}

int wzlb_udp_server_ex(unsigned short port, int no_delay, char* ip_addr, char* err_msg,
                       int err_msg_len) {
  return open_udp_server({.port = port, .no_delay = no_delay, .host = ip_addr},
                         Message(err_msg, err_msg_len));
}

int wzlb_udp_server(unsigned short port, int no_delay) {
  return with_kept_message(Print::kNo, [&](char* text) {
    return open_udp_server({.port = port, .no_delay = no_delay}, Message(text));
  });
}

int wzlb_udp_server6(unsigned short port, int no_delay) {
  return with_kept_message(Print::kNo, [&](char* text) {
    return open_udp_server({.family = AF_INET6, .port = port, .no_delay = no_delay}, Message(text));
  });
}

int wzlb_udp_server_shared(unsigned short port, int no_delay, char* ip_addr, char* err_msg) {
  return open_udp_server(
      {.family = AF_INET6, .port = port, .no_delay = no_delay, .host = ip_addr, .shared = true},
      Message(err_msg));
}

int wzlb_udp_client(char* server_name, int default_port, int no_delay) {
  return with_kept_message(Print::kNo, [&](char* text) {
    return open_udp_client(server_name, default_port, no_delay, Message(text));
  });
}
