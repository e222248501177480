// Accepting, keepalive and descriptor flags.
#include <fcntl.h>
#include <netinet/tcp.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_sock.h>

#include <cerrno>
#include <cstdio>

#include "libwzcore/wzlb_sock/socket_support.h"

using namespace wz;

int wzlb_accept(int sockfd, struct sockaddr* addr, socklen_t* addrlen, char* err_buf) {
  const int fd = accept(sockfd, addr, addrlen);
  if (fd < 0) {
    Message(err_buf).set("Error: %s", wzlb_strerror(errno));
    return -1;
  }
  return fd;
}

int wzlb_set_keepalive_params(int sock_fd, int tcp_conn_keepidle, int tcp_conn_keepintvl,
                              int tcp_conn_keepcnt, char* err_msg) {
  const Message message(err_msg);
  if (sock_fd < 0) {
    message.set("Provided socket fd (%d) is negative. Hence returning.", sock_fd);
    return -1;
  }
  struct Step {
    int level;
    int option;
    int value;
    const char* failure;
  };
  const Step steps[] = {
      {SOL_SOCKET, SO_KEEPALIVE, 1,
       "Error while setting heartbeat on tcp connection in setsockopt()"},
      {IPPROTO_TCP, TCP_KEEPIDLE, tcp_conn_keepidle,
       "Error received in setting heartbeat interval on tcp connection in setsockopt()"},
      {IPPROTO_TCP, TCP_KEEPCNT, tcp_conn_keepcnt,
       "Error in setting heartbeat probe count for tcp connection in setsockopt()"},
      {IPPROTO_TCP, TCP_KEEPINTVL, tcp_conn_keepintvl,
       "Error in setting interval after which tcp heartbeat probes will be sent on that "
       "connection"},
  };
  for (const Step& step : steps) {
    if (!set_option(sock_fd, step.level, step.option, step.value)) {
      message.set("%s. Error: %s", step.failure, wzlb_strerror(errno));
      return -1;
    }
  }
  return 0;
}

int set_fd_cloexec_flag(int fd) {
  const int flags = fcntl(fd, F_GETFD);
  return flags >= 0 && fcntl(fd, F_SETFD, flags | FD_CLOEXEC) >= 0 ? 0 : -1;
}

void wzlb_Fcntl(int fd, int cmd, long arg) {
  if (fcntl(fd, cmd, arg) < 0) {
    std::fprintf(stderr, "Error in fcntl (fd = %d, cmd = %d). Error: %s\n", fd, cmd,
                 wzlb_strerror(errno));
  }
}
