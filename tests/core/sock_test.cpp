#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <wz/wzlb.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "daemon/file_descriptor.h"
#include "libwzcore/internal/trace.h"
#include "tests/support/capture.h"

namespace {

using vsd::FileDescriptor;
using wz::mutable_text;
using wz::test::stderr_of;

constexpr int kBacklog = 4;

class Sock : public testing::Test {
 protected:
  int port_of(const FileDescriptor& fd) { return wzlb_get_port_from_fd(fd.get(), message_); }
  FileDescriptor listen_on_loopback(int port = 0) {
    return FileDescriptor(wzlb_tcp_listen_ex(port, kBacklog, mutable_text("127.0.0.1"), message_));
  }
  // A port on which nothing listens any more.
  int closed_port() {
    const FileDescriptor listener = listen_on_loopback();
    return port_of(listener);
  }

  char message_[WZLB_SOCK_ERROR_SIZE] = "";
};

struct SplitCase {
  const char* name;
  const char* host;  // null: invalid
  int port;
};

TEST(ServerNames, SplitIntoHostAndPort) {
  const SplitCase cases[] = {
      {"host:80", "host", 80},
      {"host", "host", -1},
      {"[::1]:8080", "::1", 8080},
      {"[::1]", "::1", -1},
      {"fe80::1:2", "fe80::1:2", -1},
      {"10.0.0.1:0", "10.0.0.1", 0},
      {"h:65535", "h", 65535},
      {"h:65536", nullptr, 0},
      {"h:99999999999999999999", nullptr, 0},
      {"h:", nullptr, 0},
      {":80", nullptr, 0},
      {"h:8x", nullptr, 0},
      {"h:-1", nullptr, 0},
      {"", nullptr, 0},
      {"[::1", nullptr, 0},
      {"[::1]80", nullptr, 0},
      {"[::1]:", nullptr, 0},
      {"[]:80", nullptr, 0},
      {"[host]:80", nullptr, 0},
      {"ho[st", nullptr, 0},
      {"::1]", nullptr, 0},
      {"/tmp/a:b", "/tmp/a:b", -1},
  };
  for (const SplitCase& c : cases) {
    SCOPED_TRACE(c.name);
    int port = 7;
    const char* host = nullptr;
    const std::string printed =
        stderr_of([&] { host = wzlb_split_host_port(mutable_text(c.name), &port); });
    EXPECT_STREQ(host, c.host);
    EXPECT_EQ(port, c.host != nullptr ? c.port : 7);
    EXPECT_EQ(printed, c.host != nullptr ? "" : "Invalid input = " + std::string(c.name));
  }
  int port = 0;
  stderr_of([&] { EXPECT_EQ(wzlb_split_host_port(nullptr, &port), nullptr); });
}

struct SettingsCase {
  const char* value;
  int result;
  const char* host;
  int port;
  int external_port;
  const char* message;
};

constexpr const char* kFourFields =
    " ListenSettings - Invalid format of listen port settings.Number of token = 4. It should be in "
    "[IP]:<port>:[external_port] format.";

const SettingsCase kSettingsCases[] = {
    {"8080", 0, "", 8080, 8080, ""},
    {" 10.0.0.1 : 8080 :9090\n", 0, "10.0.0.1", 8080, 9090, ""},
    {"8080:9090", 0, "", 8080, 9090, ""},
    {"web:80", 0, "web", 80, 80, ""},
    {"", 1, "", 0, 0, "Empty input (No port given)."},
    {nullptr, 1, "", 0, 0, "Empty input (No port given)."},
    {":::", 1, "", 0, 0, "Empty input (No port given)."},
    {"web", 2, "web", 0, 0, "Only IP/host name was given. = web"},
    {"a:1:2:3", -1, "", 0, 0, kFourFields},
    {"a:1:2:3:4", -1, "", 0, 0, kFourFields},
    {"79", -1, "", 0, 0,
     "ListenSettings - Listen port must be between 80 and 65535. Port given is 79"},
    {"web:65536", -1, "web", 0, 0,
     "ListenSettings - Listen port must be between 80 and 65535. Port given is 65536"},
    {"4294967376", -1, "", 0, 0,
     "ListenSettings - Listen port must be between 80 and 65535. Port given is 2147483647"},
    {"web:http", -1, "web", 0, 0,
     "ListenSettings - Listen port must be numeric. Port given is http"},
    {"80:x", -1, "", 80, 80, "ListenSettings - External port must be numeric. Port given is x"},
    {"web:80:79", -1, "web", 80, 80,
     "ListenSettings - External port must be between 80 and 65535. Port given is 79"},
};

TEST(ListenSettings, HostPortAndExternalPort) {
  for (const SettingsCase& c : kSettingsCases) {
    SCOPED_TRACE(c.value != nullptr ? c.value : "null");
    WzlbListenSettings settings{};
    char message[200] = "";
    EXPECT_EQ(wzlb_parse_listen_settings(mutable_text(c.value), &settings, message, sizeof message),
              c.result);
    EXPECT_STREQ(settings.host, c.host);
    EXPECT_EQ(settings.listen_port, c.port);
    EXPECT_EQ(settings.external_port, c.external_port);
    EXPECT_STREQ(message, c.message);
  }
  WzlbListenSettings settings{};
  char cut[6] = "";
  const std::string long_host(100, 'h');
  EXPECT_EQ(
      wzlb_parse_listen_settings(mutable_text((long_host + ":80").c_str()), &settings, cut, 6), 0);
  EXPECT_EQ(settings.host, long_host.substr(0, 64));
  wzlb_parse_listen_settings(mutable_text("79"), &settings, cut, sizeof cut);
  EXPECT_STREQ(cut, "Liste");
}

TEST(ListenSettings, FromTheConfigurationFile) {
  const std::filesystem::path root = testing::TempDir() + "/listen_settings";
  const std::filesystem::path file = root / "rmc/conf/rmc.conf";
  std::filesystem::create_directories(file.parent_path());
  const auto read = [&](const char* content, WzlbListenSettings& settings, char* message) {
    std::ofstream(file) << content;
    return wzlb_get_rmc_listen_settings(&settings, mutable_text(root.c_str()), message, 1024);
  };
  char message[1024] = "";
  WzlbListenSettings settings{};
  EXPECT_EQ(read("#PORT 1\nPORTS 81\n  PORT  web:8080\n", settings, message), 0);
  EXPECT_STREQ(settings.host, "web");
  EXPECT_EQ(settings.listen_port, 8080);
  EXPECT_EQ(read("HOST x\n", settings, message), -1);
  EXPECT_EQ(message, "Error: Keyword PORT not found in conf file " + file.string() + ".");
  std::filesystem::remove_all(root);
}

TEST_F(Sock, FillsAddresses) {
  sockaddr_in6 address;
  EXPECT_EQ(wzlb_fill_sockaddr_ex(&address, mutable_text("127.0.0.1:81"), 90, message_),
            static_cast<int>(sizeof(sockaddr_in)));
  const auto* any = reinterpret_cast<const sockaddr*>(&address);
  EXPECT_STREQ(wzlb_sockaddr_to_ip(any, 1), "127.0.0.1:81");
  EXPECT_STREQ(wzlb_sockaddr_to_ip(any, 0), "127.0.0.1");
  EXPECT_STREQ(wzlb_sock_ntop(any, sizeof(sockaddr_in) - 1), "");
  EXPECT_EQ(wzlb_fill_sockaddr(&address, mutable_text("::1"), 90),
            static_cast<int>(sizeof(sockaddr_in6)));
  EXPECT_STREQ(wzlb_sock_ntop(any, sizeof address), "[::1]:90");

  // No name server is asked about a label of more than 63 letters.
  const std::string long_label = std::string(64, 'n') + ":1";
  const std::pair<const char*, const char*> failures[] = {
      {"127.0.0.1", "Port is missing in Server '127.0.0.1' and no default port is provided."},
      {"[::1", "Invalid input = [::1"},
      {nullptr, "Invalid input = NULL"},
      {long_label.c_str(), "SysErr("},
  };
  for (const auto& [name, text] : failures) {
    EXPECT_EQ(wzlb_fill_sockaddr_ex_r(&address, mutable_text(name), -1, message_), 0);
    EXPECT_EQ(std::string(message_).substr(0, std::string(text).size()), text);
  }
}

TEST_F(Sock, PathsFillTheUnixAddress) {
  const std::string base = "/tmp/wz_sock_" + std::to_string(getpid()) + "_";
  const auto path_of = [&](std::size_t length) {
    return base + std::string(length - base.size(), 'p');
  };
  for (const std::size_t length : {107U, 108U}) {
    const std::string path = path_of(length);
    sockaddr_un address;
    ASSERT_EQ(wzlb_fill_sockaddr_unix(&address, mutable_text(path.c_str()), message_),
              static_cast<int>(sizeof address));
    const FileDescriptor server(socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind(server.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(server.get(), kBacklog), 0);
    const FileDescriptor client(wzlb_tcp_client_ex(mutable_text(path.c_str()), 0, 1, message_));
    EXPECT_TRUE(client) << message_;
    EXPECT_EQ(wzlb_get_dest_addr(client.get(), 0), path);
    int state = 0;
    const FileDescriptor pending(wzlb_nb_open_socket(AF_UNIX, message_));
    EXPECT_EQ(wzlb_nb_connect(pending.get(), mutable_text(path.c_str()), 0, &state, message_), 0);
    EXPECT_EQ(state, WZLB_CON_CONNECTED);
    unlink(path.c_str());
  }
  sockaddr_un address;
  EXPECT_EQ(wzlb_fill_sockaddr_unix(&address, mutable_text(path_of(109).c_str()), message_), 0);
  EXPECT_STREQ(message_, "Address path specified exceeds unix socket path length of 108.");
}

TEST_F(Sock, NonBlockingConnectReportsItsState) {
  const FileDescriptor listener = listen_on_loopback();
  const FileDescriptor client(wzlb_nb_open_socket(AF_INET, message_));
  EXPECT_EQ(fcntl(client.get(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
  int state = 0;
  const auto connect_client = [&] {
    return wzlb_nb_connect(client.get(), mutable_text("127.0.0.1"), port_of(listener), &state,
                           message_);
  };
  EXPECT_EQ(connect_client(), 1);
  EXPECT_EQ(state, WZLB_CON_IN_PROGRESS);
  pollfd writable{client.get(), POLLOUT, 0};
  ASSERT_EQ(poll(&writable, 1, 5000), 1);
  connect_client();
  EXPECT_EQ(connect_client(), 1);
  EXPECT_EQ(state, WZLB_CON_CONNECTED);

  EXPECT_EQ(wzlb_nb_connect(client.get(), nullptr, 1, &state, message_), -1);
  const FileDescriptor second(wzlb_nb_open_socket(AF_INET6, message_));
  sockaddr_in6 v4;
  wzlb_fill_sockaddr_ex(&v4, mutable_text("127.0.0.1:80"), 0, message_);
  EXPECT_EQ(wzlb_nb_connect_addr(second.get(), v4, &state, message_), -1);
  EXPECT_STREQ(message_,
               "Error: connect(): errno 97 (Address family not supported by protocol).\n");
  // A blocking socket learns at once that nobody listens.
  const FileDescriptor third(socket(AF_INET, SOCK_STREAM, 0));
  EXPECT_EQ(
      wzlb_nb_connect(third.get(), mutable_text("127.0.0.1"), closed_port(), &state, message_), -1);
  EXPECT_EQ(std::string(message_), "Error: connect():  Connection refused for fd " +
                                       std::to_string(third.get()) +
                                       ", errno 111 (Connection refused).\n");
  EXPECT_EQ(wzlb_nb_open_socket(-1, message_), -1);
  EXPECT_STREQ(message_,
               "Error: socket() failed to open a socket. errno 97 (Address family not supported by "
               "protocol).\n");
}

TEST_F(Sock, BlockingClientConnectsFromAnAddress) {
  const FileDescriptor listener = listen_on_loopback();
  const std::string server = "127.0.0.1:" + std::to_string(port_of(listener));
  char* name = mutable_text(server.c_str());
  const FileDescriptor client(
      wzlb_tcp_client_ex2(name, -1, 3, mutable_text("127.0.0.2"), message_));
  ASSERT_TRUE(client) << message_;
  EXPECT_STREQ(wzlb_get_src_addr(client.get(), 0), "127.0.0.2");
  EXPECT_EQ(wzlb_get_dest_addr_ex(client.get(), 1), server);
  timeval limit{};
  socklen_t length = sizeof limit;
  getsockopt(client.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, &length);
  EXPECT_EQ(limit.tv_sec, 3);
  EXPECT_NE(std::string(wzlb_get_tcpinfo(client.get())).find("state=ESTABLISHED "),
            std::string::npos);
  EXPECT_STREQ(wzlb_get_tcpinfo(-1), "");

  int fd = -1;
  const std::string printed = stderr_of(
      [&] { fd = wzlb_tcp_client_ex2(name, -1, 0, mutable_text("192.0.2.1"), message_); });
  EXPECT_EQ(printed,
            "Warning: Failed to bind on IP '192.0.2.1', so any available IP will be used to make "
            "connection.\n");
  EXPECT_TRUE(FileDescriptor(fd));
  EXPECT_EQ(wzlb_tcp_client_ex2(name, -1, 0, mutable_text("[x"), message_), -1);

  const int closed = closed_port();
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(wzlb_tcp_client(mutable_text("127.0.0.1"), closed), -1); }),
            "ZelErr[9000002]: Failed to create TCP-client for Server 127.0.0.1:" +
                std::to_string(closed) +
                ".\n Because Unable to make connection with Server '127.0.0.1'. SysErr(111): "
                "Connection refused");
}

TEST_F(Sock, ListenersTellWhatIsWrong) {
  const FileDescriptor first = listen_on_loopback();
  const int port = port_of(first);
  EXPECT_EQ(wzlb_tcp_listen_ex(port, kBacklog, mutable_text("127.0.0.1"), message_), -2);
  EXPECT_EQ(message_, "Error in binding for listen socket (IP = 127.0.0.1, Port = " +
                          std::to_string(port) + "). IP Address and port is in use");
  EXPECT_EQ(wzlb_tcp_listen_ex(port, kBacklog, nullptr, message_), -2);
  EXPECT_EQ(message_, "Error in binding for listen socket (Port = " + std::to_string(port) +
                          "). IP Address and port is in use");
  EXPECT_EQ(wzlb_tcp_listen_ex(0, kBacklog, mutable_text("1.2.3.x"), message_), -3);
  EXPECT_STREQ(message_, "Error: Invalid IP address (1.2.3.x) given in tcp_listen_ex().");
  EXPECT_EQ(wzlb_tcp_listen_ex(0, kBacklog, mutable_text("192.0.2.1"), message_), -2);
  EXPECT_STREQ(message_,
               "Error in binding for listen socket (IP = 192.0.2.1, Port = 0). Error = Cannot "
               "assign requested address");
  EXPECT_EQ(wzlb_tcp_listen(65536, kBacklog), -2);
  EXPECT_STREQ(wzlb_get_error(),
               "Error in binding for listen socket (Port = 65536). Error = Invalid argument");
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(wzlb_Tcp_listen(port, kBacklog), -2); }),
            "Error in binding for listen socket (Port = " + std::to_string(port) +
                "). IP Address and port is in use\n");
}

TEST_F(Sock, DualStackAndIpv6Only) {
  for (const bool ipv6_only : {false, true}) {
    const FileDescriptor listener(ipv6_only ? wzlb_Tcp_listen6_v2(0, kBacklog)
                                            : wzlb_tcp_listen6(0, kBacklog));
    ASSERT_TRUE(listener) << wzlb_get_error();
    const FileDescriptor v4(
        wzlb_tcp_client_ex(mutable_text("127.0.0.1"), port_of(listener), 2, message_));
    EXPECT_EQ(static_cast<bool>(v4), !ipv6_only);
    int state = 0;
    const FileDescriptor v6(wzlb_nb_open_socket(AF_INET6, message_));
    EXPECT_GE(wzlb_nb_connect(v6.get(), mutable_text("::1"), port_of(listener), &state, message_),
              0);
  }
  EXPECT_EQ(wzlb_tcp_listen6_ex(0, kBacklog, mutable_text("127.0.0.1"), 0), -3);
}

TEST_F(Sock, UdpEndpointsExchangeDatagrams) {
  const FileDescriptor server(
      wzlb_udp_server_ex(0, 1, mutable_text("127.0.0.1"), message_, sizeof message_));
  const FileDescriptor server6(wzlb_udp_server6(0, 0));
  const FileDescriptor client(wzlb_udp_client(mutable_text("127.0.0.1"), port_of(server), 0));
  const FileDescriptor client6(wzlb_udp_client(mutable_text("::1"), port_of(server6), 0));
  char byte = 0;
  EXPECT_EQ(recv(server.get(), &byte, 1, 0), -1);  // does not wait
  ASSERT_EQ(send(client.get(), "x", 1, 0), 1);
  EXPECT_EQ(recv(server.get(), &byte, 1, 0), 1);
  ASSERT_EQ(send(client6.get(), "y", 1, 0), 1);
  EXPECT_EQ(recv(server6.get(), &byte, 1, 0), 1);
  EXPECT_EQ(byte, 'y');
  EXPECT_EQ(wzlb_udp_server_ex(static_cast<unsigned short>(port_of(server)), 0,
                               mutable_text("192.0.2.1"), message_, 14),
            -1);
  EXPECT_STREQ(message_, "Error in bind");
}

TEST_F(Sock, KeepaliveValuesReadBack) {
  const FileDescriptor fd(socket(AF_INET, SOCK_STREAM, 0));
  EXPECT_EQ(wzlb_set_keepalive_params(fd.get(), 60, 7, 5, message_), 0);
  const auto option = [&](int level, int name) {
    int value = 0;
    socklen_t length = sizeof value;
    getsockopt(fd.get(), level, name, &value, &length);
    return value;
  };
  EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPIDLE), 60);
  EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPINTVL), 7);
  EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPCNT), 5);
  EXPECT_EQ(wzlb_set_keepalive_params(-3, 1, 1, 1, message_), -1);
  EXPECT_STREQ(message_, "Provided socket fd (-3) is negative. Hence returning.");
  // Idle, count, interval, in this order: the first that fails is named.
  EXPECT_EQ(wzlb_set_keepalive_params(fd.get(), 60, 0, 0, message_), -1);
  EXPECT_STREQ(message_,
               "Error in setting heartbeat probe count for tcp connection in setsockopt(). Error: "
               "Invalid argument");
}

TEST_F(Sock, AcceptFailsWithoutDescriptors) {
  const FileDescriptor listener = listen_on_loopback();
  const FileDescriptor client(
      wzlb_tcp_client_ex(mutable_text("127.0.0.1"), port_of(listener), 2, message_));
  ASSERT_TRUE(client);
  const pid_t child = fork();
  if (child == 0) {
    const rlimit none{static_cast<rlim_t>(client.get() + 1), static_cast<rlim_t>(client.get() + 1)};
    setrlimit(RLIMIT_NOFILE, &none);
    const int fd = wzlb_accept(listener.get(), nullptr, nullptr, message_);
    _exit(fd == -1 && std::string(message_) == "Error: Too many open files" ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  const FileDescriptor accepted(wzlb_accept(listener.get(), nullptr, nullptr, message_));
  EXPECT_TRUE(accepted) << "the connection is still there";
  EXPECT_EQ(set_fd_cloexec_flag(accepted.get()), 0);
  EXPECT_EQ(fcntl(accepted.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  EXPECT_EQ(set_fd_cloexec_flag(-1), -1);
}

TEST_F(Sock, SharedAddressesAreSharedWithTheirLikeOnly) {
  for (char* const ip : {mutable_text("127.0.0.1"), mutable_text("::1"), mutable_text("")}) {
    const FileDescriptor tcp(wzlb_tcp_listen_shared(0, kBacklog, ip, message_));
    const FileDescriptor udp(wzlb_udp_server_shared(0, 1, ip, message_));
    const int port = port_of(tcp);
    const auto udp_port = static_cast<unsigned short>(port_of(udp));
    EXPECT_TRUE(FileDescriptor(wzlb_tcp_listen_shared(port, kBacklog, ip, message_))) << message_;
    EXPECT_TRUE(FileDescriptor(wzlb_udp_server_shared(udp_port, 1, ip, message_))) << message_;
    EXPECT_EQ(ip[0] == '1' ? wzlb_tcp_listen_ex(port, kBacklog, ip, message_)
                           : wzlb_tcp_listen6_ex(port, kBacklog, ip, 0),
              -2);
    EXPECT_EQ(ip[0] != '\0' ? wzlb_udp_server_ex(udp_port, 0, ip, message_, sizeof message_)
                            : wzlb_udp_server6(udp_port, 0),
              -1);
  }
}

}  // namespace
