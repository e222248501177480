// The floor of the load comparison: an epoll loop that answers every read with the same bytes and
// understands no HTTP. What a server needs above it is its own. Prints the port it listens on.
// usage: load_bare_loop SIZE_OF_BODY
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int listen_on_loopback() {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, generic, size) != 0 || listen(listener, SOMAXCONN) != 0 ||
      getsockname(listener, generic, &size) != 0) {
    std::perror("load_bare_loop");
    std::exit(1);
  }
  std::printf("%d\n", ntohs(address.sin_port));
  std::fflush(stdout);
  return listener;
}

void watch(int epoll, int fd) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = fd;
  epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string body(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 13, 'x');
  const std::string answer = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
                             std::to_string(body.size()) + "\r\n\r\n" + body;
  const int listener = listen_on_loopback();
  const int epoll = epoll_create1(0);
  watch(epoll, listener);
  std::array<epoll_event, 64> events{};
  std::array<char, 16384> input{};
  for (;;) {
    const int count = epoll_wait(epoll, events.data(), static_cast<int>(events.size()), -1);
    for (int i = 0; i < count; ++i) {
      const int fd = events[static_cast<std::size_t>(i)].data.fd;
      if (fd == listener) {
        const int client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK);
        const int on = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        watch(epoll, client);
      } else if (recv(fd, input.data(), input.size(), 0) <= 0 ||
                 send(fd, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) {
        close(fd);
      }
    }
  }
}
