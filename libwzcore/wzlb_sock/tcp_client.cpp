// Connecting: non-blocking sockets that report a state, and blocking clients with time-outs.
#include <fcntl.h>
#include <sys/time.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_sock.h>

#include <cerrno>
#include <cstdio>

#include "libwzcore/wzlb_sock/socket_support.h"

namespace wz {
namespace {

constexpr const char* kConnectPrefix = "Error: connect(): ";
constexpr const char* kWarningPrefix = "ZelWarn[9000001]:";

// EINVAL says nothing by itself; the socket may hold the error of the attempt before.
int report_invalid(int fd, const Message& message) noexcept {
  int pending = 0;
  socklen_t length = sizeof pending;
  if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &pending, &length) != 0) {
    message.set("%sunknown connect error.\n", kConnectPrefix);
  } else {
    message.set("%serrno %d (%s).\n", kConnectPrefix, pending, wzlb_strerror(pending));
  }
  return -1;
}

// Deliberate: the length is that of a Unix-domain address, the largest of the records, for every
// family; the kernel reads as much as the family needs.
int connect_with_state(int fd, const SocketAddress& address, int* con_state,
                       const Message& message) noexcept {
  int unused = 0;
  int& state = con_state != nullptr ? *con_state : unused;
  if (connect(fd, &address.any, sizeof address.local) == 0) {
    state = WZLB_CON_CONNECTED;
    return 0;
  }
  const int error = errno;
  switch (error) {
    case EINPROGRESS:
    case EALREADY:
    case EAGAIN:
      state = WZLB_CON_IN_PROGRESS;
      return 1;
    case EISCONN:
      state = WZLB_CON_CONNECTED;
      return 1;
    case ECONNREFUSED:
      message.set("%s Connection refused for fd %d, errno %d (%s).\n", kConnectPrefix, fd, error,
                  wzlb_strerror(error));
      return -1;
    case EINVAL:
      return report_invalid(fd, message);
    default:
      message.set("%serrno %d (%s).\n", kConnectPrefix, error, wzlb_strerror(error));
      return -1;
  }
}

// Length of the address of a host or a path; 0 after a message.
socklen_t fill_any(SocketAddress& address, char* server_name, int default_port,
                   char* err_msg) noexcept {
  if (is_path(server_name)) {
    return static_cast<socklen_t>(wzlb_fill_sockaddr_unix(&address.local, server_name, err_msg));
  }
  return fill_address(address, server_name, default_port, Message(err_msg));
}

// False after a message when `src_ip` is no address; one that cannot be bound is only warned about.
bool bind_source(int fd, const char* src_ip, char* err_msg) noexcept {
  SocketAddress address;
  const socklen_t length = fill_address(address, src_ip, 0, Message(err_msg));
  if (length == 0) {
    return false;
  }
  if (bind(fd, &address.any, length) != 0) {
    std::fprintf(stderr,
                 "Warning: Failed to bind on IP '%s', so any available IP will be used to make "
                 "connection.\n",
                 src_ip);
  }
  return true;
}

void set_timeout(int fd, int option, int seconds, const char* direction) noexcept {
  const timeval limit{seconds, 0};
  if (setsockopt(fd, SOL_SOCKET, option, &limit, sizeof limit) != 0) {
    std::fprintf(stderr, "%s Unable to set Socket option for %s timeout. SysErr(%d): %s",
                 kWarningPrefix, direction, errno, wzlb_strerror(errno));
  }
}

}  // namespace
}  // namespace wz

using namespace wz;

int wzlb_nb_open_socket(int family, char* err_msg) {
  const Message message(err_msg);
  const int fd = socket(family, SOCK_STREAM, 0);
  if (fd < 0) {
    message.set("Error: socket() failed to open a socket. errno %d (%s).\n", errno,
                wzlb_strerror(errno));
    return -1;
  }
  if (!set_option(fd, SOL_SOCKET, SO_REUSEADDR, 1)) {
    message.set("Error: setsockopt() SO_REUSEADDR failed for socket %d, errno %d (%s).\n", fd,
                errno, wzlb_strerror(errno));
    return -1;
  }
  if (fcntl(fd, F_SETFL, O_NONBLOCK) < 0) {
    message.set("Error: fcntl() in making connection non blocking for socket %d, errno %d (%s).\n",
                fd, errno, wzlb_strerror(errno));
    return -1;
  }
  return fd;
}

int wzlb_nb_connect(int sock_fd, char* server_ip, int server_port, int* con_state, char* err_msg) {
  if (server_ip == nullptr) {
    return -1;
  }
  SocketAddress address{};
  if (fill_any(address, server_ip, server_port, err_msg) == 0) {
    return -1;
  }
  return connect_with_state(sock_fd, address, con_state, Message(err_msg));
}

int wzlb_nb_connect_addr(int sock_fd, struct sockaddr_in6 server_addr, int* con_state,
                         char* err_msg) {
  SocketAddress address{};
  address.v6 = server_addr;
  return connect_with_state(sock_fd, address, con_state, Message(err_msg));
}

int wzlb_tcp_client_ex2(char* server_name, int default_port, int timeout_val, char* src_ip,
                        char* err_msg) {
  const Message message(err_msg);
  if (server_name == nullptr) {
    message.set("Invalid input = %s", printable(server_name));
    return -1;
  }
  SocketHandle fd(socket(is_path(server_name) ? AF_UNIX : AF_INET, SOCK_STREAM, 0));
  if (!fd) {
    message.set("SysErr(%d): %s.", errno, wzlb_strerror(errno));
    return -1;
  }
  if (src_ip != nullptr && src_ip[0] != '\0' && !bind_source(fd.get(), src_ip, err_msg)) {
    return -1;
  }
  SocketAddress address{};
  const socklen_t length = fill_any(address, server_name, default_port, err_msg);
  if (length == 0) {
    return -1;
  }
  if (timeout_val > 0) {
    set_timeout(fd.get(), SO_SNDTIMEO, timeout_val, "send");
    set_timeout(fd.get(), SO_RCVTIMEO, timeout_val, "recieve");
  }
  if (connect(fd.get(), &address.any, length) != 0) {
    message.set("Unable to make connection with Server '%s'. SysErr(%d): %s", server_name, errno,
                wzlb_strerror(errno));
    return -1;
  }
  return fd.release();
}

int wzlb_tcp_client_ex(char* server_name, int default_port, int timeout_val, char* err_msg) {
  return wzlb_tcp_client_ex2(server_name, default_port, timeout_val, nullptr, err_msg);
}

int wzlb_tcp_client(char* server_name, int default_port) {
  constexpr int kNoTimeout = -1;
  char reason[WZLB_SOCK_ERROR_SIZE] = "";
  const int fd = wzlb_tcp_client_ex(server_name, default_port, kNoTimeout, reason);
  if (fd < 0) {
    std::fprintf(stderr,
                 "ZelErr[9000002]: Failed to create TCP-client for Server %s:%d.\n Because %s",
                 printable(server_name), default_port, reason);
  }
  return fd;
}
