// Keeps many requests waiting for their service time and tells how late the answers are: opens a
// connection for each, sends a request on them in turn at an even pace, and takes the time from
// each request to its answer less the service time. usage: load_pending_client PORT TARGET
// CONNECTIONS REQUESTS_PER_SECOND SERVICE_TIME_MS
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kConnectionsPerAddress = 5000;  // a loopback address has only so many ports

int checked(int result, const char* what) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return result;
}

// A connection from a loopback address of its own for every so many.
int connect_to(int port, int number) {
  const int socket = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  const int on = 1;  // the port is chosen by connect, which looks for one much faster
  setsockopt(socket, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr =
      htonl(INADDR_LOOPBACK + static_cast<unsigned>(number / kConnectionsPerAddress));
  checked(bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  checked(connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), "connect");
  return socket;
}

class Run {
 public:
  Run(int port, std::string_view target, int connections, int rate, int service_time)
      : request_("GET " + std::string(target) + " HTTP/1.1\r\nHost: a\r\n\r\n"),
        gap_(std::chrono::nanoseconds(1000000000 / rate)),
        service_time_(service_time),
        epoll_(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")) {
    for (int i = 0; i < connections; ++i) {
      sockets_.push_back(connect_to(port, i));
      epoll_event event{};
      event.events = EPOLLIN;
      event.data.u32 = static_cast<std::uint32_t>(i);
      checked(epoll_ctl(epoll_, EPOLL_CTL_ADD, sockets_.back(), &event), "epoll_ctl");
    }
    sent_.resize(sockets_.size());
  }

  void go() {
    const auto begin = Clock::now();
    std::size_t next = 0;
    while (late_.size() + failed_ < sockets_.size()) {
      const auto now = Clock::now();
      while (next < sockets_.size() && begin + gap_ * static_cast<long>(next) <= now) {
        send_one(next++);
      }
      most_waiting_ = std::max(most_waiting_, next - late_.size() - failed_);
      receive(next < sockets_.size() ? 0 : 100);
    }
  }

  void print() {
    std::sort(late_.begin(), late_.end());
    const auto at = [this](double part) {
      return late_.empty()
                 ? 0.0
                 : late_[static_cast<std::size_t>(part * static_cast<double>(late_.size() - 1))];
    };
    std::printf(
        "answered %zu, failed %zu, at most %zu waiting at once; late by ms: "
        "least %.3f, median %.3f, 99 %% %.3f, most %.3f\n",
        late_.size(), failed_, most_waiting_, at(0), at(0.5), at(0.99), at(1));
  }

 private:
  void send_one(std::size_t number) {
    sent_[number] = Clock::now();
    if (::send(sockets_[number], request_.data(), request_.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request_.size())) {
      ++failed_;
    }
  }

  void receive(int patience) {
    std::array<epoll_event, 256> events{};
    const int found = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), patience);
    for (int i = 0; i < found; ++i) {
      const std::size_t number = events[static_cast<std::size_t>(i)].data.u32;
      std::array<char, 4096> answer{};
      const ssize_t size = recv(sockets_[number], answer.data(), answer.size(), 0);
      const std::chrono::duration<double, std::milli> took = Clock::now() - sent_[number];
      if (std::string_view(answer.data(), size > 0 ? static_cast<std::size_t>(size) : 0)
              .starts_with("HTTP/1.1 200")) {
        late_.push_back(took.count() - service_time_);
      } else {
        ++failed_;
      }
      epoll_ctl(epoll_, EPOLL_CTL_DEL, sockets_[number], nullptr);
    }
  }

  std::string request_;
  Clock::duration gap_;
  double service_time_;
  int epoll_;
  std::vector<int> sockets_;
  std::vector<Clock::time_point> sent_;
  std::vector<double> late_;
  std::size_t failed_ = 0;
  std::size_t most_waiting_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fputs(
        "usage: load_pending_client PORT TARGET CONNECTIONS REQUESTS_PER_SECOND "
        "SERVICE_TIME_MS\n",
        stderr);
    return 2;
  }
  try {
    Run run(std::atoi(argv[1]), argv[2], std::atoi(argv[3]), std::atoi(argv[4]),
            std::atoi(argv[5]));
    run.go();
    run.print();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
