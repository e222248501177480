#include "daemon/process/listener.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace vsd {
namespace {

constexpr int kBacklog = 4096;

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

AddressList resolve(const ListenAddress& address) {
  addrinfo hints{};
  hints.ai_family = address.host.empty() ? AF_INET6 : AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const char* host = address.host.empty() ? nullptr : address.host.c_str();
  const int error = getaddrinfo(host, std::to_string(address.port).c_str(), &hints, &found);
  if (error != 0) {
    throw std::runtime_error("cannot listen on " + to_string(address) + ": " + gai_strerror(error));
  }
  return {found, &freeaddrinfo};
}

std::uint16_t bound_port(int socket) {
  sockaddr_storage name{};
  socklen_t length = sizeof name;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&name), &length) != 0) {
    return 0;
  }
  return ntohs(name.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(name).sin6_port
                                          : reinterpret_cast<sockaddr_in&>(name).sin_port);
}

// SO_REUSEPORT lets the workers of this daemon share an address, but it would also let a second
// daemon join unnoticed. A first bind without it finds out whether the port is taken.
bool is_free(const addrinfo& candidate) {
  const FileDescriptor probe(socket(candidate.ai_family, candidate.ai_socktype | SOCK_CLOEXEC, 0));
  const int on = 1;
  setsockopt(probe.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return bind(probe.get(), candidate.ai_addr, candidate.ai_addrlen) == 0;
}

[[noreturn]] void fail(const ListenAddress& address, int error) {
  throw std::runtime_error("cannot listen on " + to_string(address) + ": " +
                           std::generic_category().message(error));
}

Listener bind_listener(const ListenAddress& address, const addrinfo& candidate) {
  Listener listener;
  listener.socket = FileDescriptor(
      socket(candidate.ai_family, candidate.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!listener.socket) {
    fail(address, errno);
  }
  const int fd = listener.socket.get();
  const int on = 1;
  const int off = 0;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
  if (candidate.ai_family == AF_INET6) {
    setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
  }
  if (bind(fd, candidate.ai_addr, candidate.ai_addrlen) != 0 || listen(fd, kBacklog) != 0) {
    fail(address, errno);
  }
  listener.port = bound_port(fd);
  return listener;
}

}  // namespace

std::string to_string(const ListenAddress& address) {
  const std::string port = ":" + std::to_string(address.port);
  if (address.host.empty()) {
    return "*" + port;
  }
  const bool is_ipv6 = address.host.find(':') != std::string::npos;
  return (is_ipv6 ? "[" + address.host + "]" : address.host) + port;
}

Listener open_listener(const ListenAddress& address) {
  const AddressList candidates = resolve(address);
  if (!is_free(*candidates)) {
    fail(address, errno);
  }
  return bind_listener(address, *candidates);
}

Listener join_listener(const ListenAddress& address) {
  const AddressList candidates = resolve(address);
  return bind_listener(address, *candidates);
}

}  // namespace vsd
