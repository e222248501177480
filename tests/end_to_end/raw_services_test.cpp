// Services of other protocols than HTTP through a real vsd.
#include <gtest/gtest.h>
#include <sched.h>
#include <wz/wzlb_sock.h>

#include <regex>

#include "daemon/file_descriptor.h"
#include "tests/support/capture.h"
#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

using wz::test::content_of;

// What a server sends, at most one datagram or one read.
std::string receive(const FileDescriptor& socket) {
  const timeval patience{30, 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  std::array<char, 65536> buffer{};
  const ssize_t size = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
  return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

std::string ask(const FileDescriptor& socket, std::string_view message) {
  EXPECT_EQ(::send(socket.get(), message.data(), message.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(message.size()));
  return receive(socket);
}

FileDescriptor udp_client(std::string server, int port) {
  return FileDescriptor(wzlb_udp_client(server.data(), port, 0));
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(RawExamples, AnswerLinesBinaryMessagesAndDatagrams) {
  VsdProcess vsd(EXAMPLES_FOLDER, "WORKERS 2\nADMIN 127.0.0.1:0\nACCESS_LOG logs/access.log\n");
  const RawClient lines(vsd.port("quotes"));
  lines.send("QUOTE sku=A-100;\nQUOTE sku=B-200;\nQUOTE sku=C-300;\nQUO");
  const std::string prices =
      "PRICE A-100 12.50\nPRICE B-200 99.00\nERROR unknown command or article\n";
  EXPECT_EQ(lines.receive("article\n"), prices);
  lines.send("TE\nBYE\nQUOTE sku=A-100;\n");
  EXPECT_EQ(lines.receive(), "ERROR unknown command or article\n");
  const RawClient half(vsd.port("quotes"));
  half.send("QUOTE sku=A-100;\nrest");
  half.end_sending();
  EXPECT_EQ(half.receive(), "PRICE A-100 12.50\n");

  const RawClient binary(vsd.port("ledger"));
  binary.send(std::string("\0\4\1A\0N\0\1x", 9));
  EXPECT_EQ(binary.receive(std::string("\xff\0", 2)), std::string("\0\x08\1\0\1A\0N\0"
                                                                  "1\0\2\xff\0",
                                                                  14));

  const FileDescriptor datagrams = udp_client("127.0.0.1", vsd.port("ping"));
  EXPECT_TRUE(std::regex_match(ask(datagrams, "hello"), std::regex("pong \\d\\d:\\d\\d hello")));
  EXPECT_TRUE(std::regex_match(ask(datagrams, ""), std::regex("pong \\d\\d:\\d\\d ")));

  const RawClient http(vsd.port());
  http.send("tcp /tcp 127.0.0.1:8090 HTTP/1.1\r\nHost: a\r\n\r\n");
  http.end_sending();
  const std::string refused = http.receive();
  EXPECT_TRUE(refused.starts_with("HTTP/1.1 400 ")) << refused;
  HttpClient admin;
  const auto journal = [&](const std::string& service) {
    return admin
        .get("http://127.0.0.1:" + std::to_string(vsd.admin_port()) +
             "/requests?service=" + service)
        .body;
  };
  EXPECT_TRUE(contains(journal("quotes"),
                       R"("target":"tcp://127.0.0.1:)" + std::to_string(vsd.port("quotes"))))
      << journal("quotes");
  EXPECT_TRUE(contains(journal("ping"), R"("service_time_ms":10,)")) << journal("ping");
  EXPECT_TRUE(contains(content_of(vsd.root() / "logs" / "access.log"), R"("client":"127.0.0.1:)"));
  EXPECT_EQ(vsd.stop(), 0) << vsd.log();
}

// A work directory of services that are declared by their wz_service fields and answer with a word.
class RawServices : public testing::Test {
 protected:
  static std::string folder(const std::string& name) {
    return "correlation/p/s/services/" + name + "/";
  }
  static std::string declaration(const std::string& name, const std::string& fields) {
    return "wz_service(" + name + ", " + fields +
           ");\nwz_request_var(b, part=body);\nwz_response(ok, file=\"r.txt\");\n";
  }
  void add(const std::string& name, const std::string& fields, const std::string& more = "") const {
    root_.write(folder(name) + "service.wz", declaration(name, fields) + more);
    root_.write(folder(name) + "r.txt", "old {b}");
  }

  const std::string lines_ = "protocol=tcp, listen=\"127.0.0.1:8190\", delimiter=\"\\n\"";
  wz::test::TemporaryFolder root_;
};

TEST_F(RawServices, AScriptThatFailsCostsItsOwnMessageOnly) {
  add("lines", lines_);
  add("dgrams", "protocol=udp, listen=\"127.0.0.1:8190\"");
  for (const char* const name : {"lines", "dgrams"}) {
    root_.write(
        folder(name) + "script.c",
        "#include <string.h>\n#include <wz/wz_script.h>\nvoid post_recv(void) {\n"
        "  if (strcmp(wz_eval_string(\"{b}\"), \"null\") == 0) *(volatile int *)0 = 1;\n}\n");
  }
  VsdProcess vsd(root_.path(), "WORKERS 1\nCRASH_LIMIT 0\n");
  const RawClient idle(vsd.port("lines"));
  const RawClient client(vsd.port("lines"));
  client.send("a\nnull\nb\n");
  EXPECT_EQ(client.receive("b\n"), "old a\nold b\n");
  const FileDescriptor datagrams = udp_client("127.0.0.1", vsd.port("dgrams"));
  EXPECT_EQ(::send(datagrams.get(), "null", 4, 0), 4);
  EXPECT_EQ(ask(datagrams, "c"), "old c");
  for (const RawClient* const open : {&idle, &client}) {
    open->send("d\n");
    EXPECT_EQ(open->receive("d\n"), "old d\n");
  }
  while (!contains(vsd.log(), "the script of service 'lines' failed with signal 11")) {
  }  // the parent writes it when it has heard of it
  EXPECT_EQ(vsd.stop(), 0) << vsd.log();
}

TEST_F(RawServices, AReloadChangesServicesAndPortsUnderOpenConnections) {
  add("lines", lines_);
  add("vip", lines_, "wz_match(part=body, regex=\"^vip\");\n");
  add("dgrams", "protocol=udp, listen=\"127.0.0.1:8190\"");
  VsdProcess vsd(root_.path(), "WORKERS 2\n");
  EXPECT_EQ(vsd.port("vip"), 0);  // it shares the other's
  const RawClient client(vsd.port("lines"));
  client.send("1\n");
  EXPECT_EQ(client.receive("1\n"), "old 1\n");
  const RawClient busy(vsd.port("lines"));
  busy.send("2\n3");
  EXPECT_EQ(busy.receive("2\n"), "old 2\n");

  vsd.write(folder("lines") + "r.txt", "new {b}");
  vsd.write(folder("added") + "service.wz",
            declaration("added", "protocol=tcp, listen=\"[::1]:8191\", to_end=YES"));
  vsd.write(folder("added") + "r.txt", "added {b}");
  std::filesystem::remove_all(vsd.root() / folder("dgrams"));
  EXPECT_EQ(vsd.run("reload"), 0) << vsd.log();
  client.send("4\nvip\n");
  EXPECT_EQ(client.receive("vip\n"), "new 4\nold vip\n");
  busy.send("\n");
  EXPECT_TRUE(busy.receive("3\n").ends_with(" 3\n"));
  std::smatch place;
  const std::string log = vsd.log();
  ASSERT_TRUE(std::regex_search(log, place, std::regex("added on (tcp) \\[::1\\]:(\\d+)"))) << log;
  sockaddr_in6 address{};
  std::string name = "[::1]:" + place[2].str();
  EXPECT_NE(wzlb_fill_sockaddr(&address, name.data(), 0), 0);
  const FileDescriptor added(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::connect(added.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(::send(added.get(), "x\n", 2, 0), 2);
  ::shutdown(added.get(), SHUT_WR);
  EXPECT_EQ(receive(added), "added x\n");

  vsd.write(folder("vip") + "service.wz", declaration("vip", lines_ + ", length=2"));
  EXPECT_EQ(vsd.run("reload"), 1);
  EXPECT_TRUE(contains(vsd.log(), "vip/service.wz:1: wz_service: protocol=tcp needs one of "))
      << vsd.log();
  EXPECT_EQ(vsd.stop(), 0) << vsd.log();
}

// Two network namespaces with a cable between them, gone with the object.
class TwoHosts {
 public:
  TwoHosts() : home_(::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)) {
    is_ready_ = run("ip netns add " + name('a') + " && ip netns add " + name('b') +
                    " && ip link add wz0 netns " + name('a') + " type veth peer name wz0 netns " +
                    name('b') + link('a', "1") + link('b', "2"));
  }
  TwoHosts(const TwoHosts&) = delete;
  TwoHosts& operator=(const TwoHosts&) = delete;
  ~TwoHosts() {
    ::setns(home_.get(), CLONE_NEWNET);
    run("ip netns del " + name('a') + "; ip netns del " + name('b'));
  }

  [[nodiscard]] bool is_ready() const { return is_ready_; }
  [[nodiscard]] const std::string& problem() const { return problem_; }
  // From here on this thread, and what it starts, is on that host.
  void enter(char host) const {
    const FileDescriptor there(::open(("/run/netns/" + name(host)).c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::setns(there.get(), CLONE_NEWNET), 0);
  }

 private:
  static std::string name(char host) { return "wz" + std::to_string(getpid()) + host; }
  static std::string link(char host, const std::string& number) {
    const std::string ip = " && ip -n " + name(host);
    return ip + " addr add 10.203.7." + number + "/24 dev wz0" + ip + " link set wz0 up" + ip +
           " link set lo up";
  }
  bool run(const std::string& commands) {
    std::FILE* const pipe = popen(("exec 2>&1; " + commands).c_str(), "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
      problem_ += static_cast<char>(c);
    }
    return pclose(pipe) == 0;
  }

  FileDescriptor home_;
  bool is_ready_ = false;
  std::string problem_;
};

TEST_F(RawServices, AreReachedFromAnotherNetwork) {
  const TwoHosts hosts;
  if (!hosts.is_ready()) {
    GTEST_SKIP() << "no network namespaces can be made here: " << hosts.problem();
  }
  add("lines", "protocol=tcp, listen=\"10.203.7.1:8190\", delimiter=\"\\n\"");
  add("dgrams", "protocol=udp, listen=\"8191\"");
  ASSERT_NO_FATAL_FAILURE(hosts.enter('a'));
  const VsdProcess vsd(root_.path(), "", "--listen=10.203.7.1:0");
  ASSERT_NO_FATAL_FAILURE(hosts.enter('b'));
  const auto connect = [](int port) {
    std::string server = "10.203.7.1:" + std::to_string(port);
    char message[WZLB_SOCK_ERROR_SIZE] = "";
    FileDescriptor socket(wzlb_tcp_client_ex(server.data(), 0, 30, message));
    EXPECT_TRUE(socket) << message;
    return socket;
  };
  EXPECT_EQ(ask(connect(vsd.port("lines")), "far\n"), "old far\n");
  EXPECT_EQ(ask(udp_client("10.203.7.1", vsd.port("dgrams")), "far"), "old far");
  const std::string far = ", 10.203.7.1:";
  const int http = std::stoi(vsd.ready_line().substr(vsd.ready_line().find(far) + far.size()));
  EXPECT_TRUE(ask(connect(http), "GET /x HTTP/1.1\r\nHost: a\r\n\r\n").starts_with("HTTP/1.1 404"));
}

}  // namespace
}  // namespace vsd::test
