// Workers that fail, services that change, and the end of the daemon, through a real vsd.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <memory>
#include <thread>

#include "daemon/file_descriptor.h"
#include "tests/support/capture.h"
#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

constexpr std::string_view kFaultyScript = R"(
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <wz/wz_script.h>
static int sink;
static int recurse(int depth) { char pad[4096]; memset(pad, depth, 4096); sink += pad[depth % 4096];
  return recurse(depth + 1) + pad[1]; }
static void fail(void) {
  const char *url = wz_get_url();
  if (url == 0) url = "";
  if (strstr(url, "null")) *(volatile int *)0 = 1;
  if (strstr(url, "overflow")) sink = recurse(1);
  if (strstr(url, "abort")) abort();
  if (strstr(url, "exit")) exit(7);
  if (strstr(url, "loop")) for (;;) ++*(volatile int *)&sink;
  if (strstr(url, "kill")) kill(getpid(), SIGKILL);
}
void post_recv(void) { fail(); }
)";

std::string get(std::string_view target) {
  return "GET " + std::string(target) + " HTTP/1.1\r\nHost: a\r\n\r\n";
}

// A work directory with a service `good` and a service `faulty` that fails as its URL says.
class Supervision : public testing::Test {
 protected:
  Supervision() {
    add_service("good", "old\n");
    add_service("faulty", "done\n");
    root_.write(folder("faulty") + "script.c", kFaultyScript);
  }

  static std::string folder(const std::string& name) {
    return "correlation/p/s/services/" + name + "/";
  }

  void add_service(const std::string& name, std::string_view text) const {
    root_.write(folder(name) + "service.wz", "wz_service(" + name + ", url=\"/" + name +
                                                 "\");\nwz_response(ok, file=\"r.txt\");\n");
    root_.write(folder(name) + "r.txt", text);
  }

  static void add_service_to(const VsdProcess& vsd, const std::string& name) {
    vsd.write(folder(name) + "service.wz", "wz_service(" + name + ", url=\"/" + name +
                                               "\");\nwz_response(ok, file=\"r.txt\");\n");
    vsd.write(folder(name) + "r.txt", "more");
  }

  // Whether the next answer on the connection ends with `text`.
  static bool answers(const RawClient& client, const std::string& target, const std::string& text) {
    client.send(get(target));
    return client.receive(text).ends_with(text);
  }

  wz::test::TemporaryFolder root_;
};

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(Supervision, AScriptThatFailsCostsItsOwnRequestOnly) {
  VsdProcess vsd(root_.path(), "WORKERS 1\nSCRIPT_TIMEOUT 1\nCRASH_LIMIT 0\n");
  const RawClient idle(vsd.port());
  EXPECT_TRUE(answers(idle, "/good", "old\n"));
  const std::pair<const char*, const char*> failures[] = {
      {"null", "failed with signal 11 (Segmentation fault)"},
      {"overflow", "failed with signal 11 (Segmentation fault)"},
      {"abort", "failed with signal 6 (Aborted)"},
      {"exit", "called exit(7)"},
      {"loop", "ran for more than 1 s"}};
  for (const auto& [how, words] : failures) {
    const RawClient busy(vsd.port());
    busy.send(get("/good").substr(0, 10));
    const RawClient client(vsd.port());
    EXPECT_TRUE(answers(client, std::string("/faulty?") + how, "failed.\n")) << how;
    EXPECT_TRUE(answers(client, "/good", "old\n")) << how;
    EXPECT_TRUE(answers(idle, "/good", "old\n")) << how;
    busy.send(get("/good").substr(10));
    EXPECT_TRUE(busy.receive("old\n").ends_with("old\n")) << how;
    const std::string line =
        "the script of service 'faulty' " + std::string(words) + " in post_recv\n";
    while (!contains(vsd.log(), line)) {  // the parent writes it when it has heard of it
    }
  }
  EXPECT_EQ(vsd.stop(), 0) << vsd.log();
}

TEST_F(Supervision, AWorkerInAHangingScriptCountsAsNotServing) {
  VsdProcess vsd(root_.path(), "WORKERS 1\nSCRIPT_TIMEOUT 3\nADMIN 127.0.0.1:0\n");
  HttpClient admin;
  const auto await_health = [&](int status, const std::string& part) {
    Answer health;
    do {
      health = admin.get("http://127.0.0.1:" + std::to_string(vsd.admin_port()) + "/health");
    } while (health.status != status);
    EXPECT_TRUE(contains(health.body, part)) << health.body;
  };
  await_health(200, R"("serving":1,"restarts":0)");
  const RawClient client(vsd.port());
  client.send(get("/faulty?loop"));
  await_health(503, R"("serving":0,"restarts":0)");
  EXPECT_TRUE(client.receive("failed.\n").starts_with("HTTP/1.1 500"));
  await_health(200, R"("serving":1)");
}

TEST_F(Supervision, AServiceThatFailsAgainAndAgainIsTakenOut) {
  VsdProcess vsd(root_.path(), "WORKERS 2\nCRASH_LIMIT 3\n");
  for (int i = 0; i < 3; ++i) {
    const RawClient client(vsd.port());
    client.send(get(i == 0 ? "/faulty?kill" : "/faulty?null"));  // nothing can catch SIGKILL
    EXPECT_EQ(client.receive("failed.\n").starts_with("HTTP/1.1 500"), i > 0);
  }
  const RawClient client(vsd.port());
  while (!contains(vsd.log(), "service 'faulty' is out of service")) {
  }
  EXPECT_TRUE(answers(client, "/faulty", "too often.\n"));
  EXPECT_TRUE(answers(client, "/good", "old\n"));
  EXPECT_EQ(vsd.run("reload"), 0);
  EXPECT_TRUE(answers(client, "/faulty", "done\n"));
  EXPECT_TRUE(contains(vsd.log(), "ended by signal 9 (Killed)")) << vsd.log();
  EXPECT_EQ(vsd.stop(), 0);
}

TEST_F(Supervision, AReloadChangesTheServicesUnderOpenConnections) {
  VsdProcess vsd(root_.path(), "WORKERS 1\n");
  const RawClient client(vsd.port());
  EXPECT_TRUE(answers(client, "/good", "old\n"));
  const RawClient busy(vsd.port());
  busy.send(get("/good").substr(0, 10));
  EXPECT_TRUE(answers(RawClient(vsd.port()), "/good", "old\n"));  // `busy` has been read meanwhile

  vsd.write(folder("good") + "r.txt", "new\n");
  EXPECT_EQ(vsd.run("reload"), 0);
  EXPECT_TRUE(answers(client, "/good", "new\n"));
  EXPECT_TRUE(answers(RawClient(vsd.port()), "/good", "new\n"));
  busy.send(get("/good").substr(10));
  EXPECT_TRUE(busy.receive("old\n").ends_with("old\n"));  // begun with the former services
  EXPECT_TRUE(answers(busy, "/good", "new\n"));

  vsd.write(folder("good") + "service.wz", "wz_service(good, url=\"/good\");\nwz_nonsense(x);\n");
  add_service_to(vsd, "more");
  EXPECT_EQ(vsd.run("reload"), 1);
  EXPECT_TRUE(contains(vsd.log(), "good/service.wz:2: unknown declaration")) << vsd.log();
  EXPECT_TRUE(answers(client, "/good", "new\n"));
  EXPECT_TRUE(answers(client, "/more", "more"));
  EXPECT_EQ(vsd.stop(), 0);
  EXPECT_EQ(vsd.run("reload"), 1);  // nobody to be told
}

// Clients that the kernel has accepted for a worker wait in its listener's queue.
TEST_F(Supervision, WhoHasConnectedIsServedWhateverBecomesOfTheWorker) {
  VsdProcess vsd(root_.path(), "WORKERS 1\n");
  for (const bool worker_dies : {true, false}) {
    const pid_t worker = vsd.workers().front();
    kill(worker, SIGSTOP);
    const RawClient client(vsd.port());
    client.send(get("/good"));
    if (worker_dies) {
      kill(worker, SIGKILL);
    } else {
      vsd.signal_stop();
      kill(worker, SIGCONT);
    }
    EXPECT_TRUE(client.receive("old\n").ends_with("old\n")) << worker_dies;
  }
  EXPECT_EQ(vsd.stop(), 0);
}

TEST_F(Supervision, NoRequestFailsWhileServicesAreReloaded) {
  VsdProcess vsd(root_.path(), "WORKERS 2\n");
  std::atomic<bool> done{false};
  std::atomic<int> failed{0};
  const auto ask_again_and_again = [&](bool keep) {
    auto kept = std::make_unique<RawClient>(vsd.port());
    while (!done) {
      failed += answers(*kept, "/good", "old\n") ? 0 : 1;
      if (!keep) {
        kept = std::make_unique<RawClient>(vsd.port());
      }
    }
  };
  std::thread keeping(ask_again_and_again, true);
  std::thread opening(ask_again_and_again, false);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(vsd.run("reload"), 0) << vsd.log();
  }
  done = true;
  keeping.join();
  opening.join();
  EXPECT_EQ(failed, 0);
}

TEST_F(Supervision, WatchedFilesAreLoadedWhenTheyChange) {
  VsdProcess vsd(root_.path(), "", "--watch");
  HttpClient client;
  for (const std::string text : {"new", "two"}) {
    vsd.write(folder("good") + "r.txt", text);
    add_service_to(vsd, text);
    while (client.get(vsd.url("/good")).body != text ||
           client.get(vsd.url("/" + text)).body != "more") {
    }
    vsd.write(folder(text) + "r.txt", "less");
    while (client.get(vsd.url("/" + text)).body != "less") {
    }
  }
  EXPECT_EQ(client.connections(), 1);
}

TEST_F(Supervision, LogsAreReopenedAndAFullDiskStopsNothing) {
  VsdProcess vsd(root_.path(), "WORKERS 1\nACCESS_LOG logs/access.log\n");
  const auto log = vsd.root() / "logs" / "access.log";
  const RawClient client(vsd.port());
  EXPECT_TRUE(answers(client, "/good?\"\xff", "old\n"));
  std::filesystem::rename(log, log.string() + ".1");
  vsd.signal(SIGUSR1);
  while (!std::filesystem::exists(log)) {
  }
  EXPECT_TRUE(answers(client, "/faulty", "done\n"));
  const std::string old_line = wz::test::content_of(log.string() + ".1");
  EXPECT_TRUE(contains(old_line, R"(,"target":"/good?\"\u00ff","service":"good","status":200,)"))
      << old_line;
  const RawClient rude(vsd.port());
  rude.send("GET /a b HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_TRUE(rude.receive().starts_with("HTTP/1.1 400"));
  const std::string lines = wz::test::content_of(log);
  EXPECT_TRUE(contains(lines, R"("service":"faulty")"));
  EXPECT_TRUE(contains(lines, R"("client":"127.0.0.1:)")) << lines;
  EXPECT_TRUE(
      contains(lines, R"("method":"","target":"GET /a b HTTP/1.1","service":"","status":400,)"))
      << lines;

  VsdProcess full(root_.path(), "WORKERS 1\nACCESS_LOG /dev/full\n");
  const RawClient other(full.port());
  EXPECT_TRUE(answers(other, "/good", "old\n"));
  EXPECT_TRUE(answers(other, "/good", "old\n"));
  EXPECT_TRUE(contains(full.log(), "cannot write /dev/full: No space left on device\n"));
}

// The datagrams that a service manager gets.
class ServiceManager {
 public:
  explicit ServiceManager(const std::filesystem::path& path)
      : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    const timeval patience{20, 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
  }
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;
  ~ServiceManager() { unsetenv("NOTIFY_SOCKET"); }

  // The first line of the next message.
  std::string next() const {
    std::string message(1000, '\0');
    const ssize_t size = recv(socket_.get(), message.data(), message.size(), 0);
    message.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return message.substr(0, message.find('\n'));
  }

 private:
  FileDescriptor socket_;
};

TEST_F(Supervision, TheServiceManagerIsToldAndA404MayHideTheServices) {
  const wz::test::TemporaryFolder place;
  const ServiceManager manager(place.path() / "notify");
  VsdProcess vsd(root_.path(), "MATCH_DETAIL OFF\n");
  EXPECT_EQ(manager.next(), "READY=1");
  const RawClient client(vsd.port());
  EXPECT_TRUE(answers(client, "/go", "No service fits this request.\n"));
  vsd.signal(SIGHUP);
  EXPECT_EQ(manager.next(), "RELOADING=1");
  EXPECT_EQ(manager.next(), "READY=1");
  EXPECT_EQ(vsd.stop(), 0);
  EXPECT_EQ(manager.next(), "STOPPING=1");
}

}  // namespace
}  // namespace vsd::test
