// A PostgreSQL server of a test's own: a new cluster in a temporary folder, reached through a
// socket there, ended with the test whatever becomes of it.
#pragma once

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/support/temporary_folder.h"

namespace wz::test {

class PostgresServer {
 public:
  PostgresServer() {
    const bool is_root = geteuid() == 0;  // the server refuses to run as root
    if ((is_root && chown(folder().c_str(), kNobody, kNobody) != 0) ||
        std::system(
            command("initdb --no-sync -A trust -U tester -E UTF8 --locale=C >/dev/null").c_str())) {
      throw std::runtime_error("cannot make a cluster");
    }
    start();
  }
  PostgresServer(const PostgresServer&) = delete;
  ~PostgresServer() { crash(); }

  // Starts the server again and waits until it takes connections.
  void start() {
    log_ = popen(command("postgres -F -k .. -h '' -c log_min_messages=log 2>&1").c_str(), "re");
    std::array<char, 512> line{};
    while (std::strstr(line.data(), "ready to accept connections") == nullptr) {
      if (log_ == nullptr || std::fgets(line.data(), line.size(), log_) == nullptr) {
        throw std::runtime_error("the server does not start");
      }
    }
  }

  // Ends it at once and its connections without a proper end.
  void crash() {
    pid_t pid = 0;
    if (std::ifstream(folder_.path() / "data" / "postmaster.pid") >> pid) {
      kill(pid, SIGQUIT);
      pclose(log_);
    }
  }

  [[nodiscard]] std::string folder() const { return folder_.path(); }  // of the socket
  [[nodiscard]] std::string connection() const {
    return "host=" + folder() + " dbname=postgres user=tester application_name=test";
  }

 private:
  static constexpr uid_t kNobody = 65534;

  // A shell command that runs a program of the server, which ends with this process.
  [[nodiscard]] std::string command(const std::string& program) const {
    const std::string user = geteuid() == 0 ? "--reuid=65534 --regid=65534 --clear-groups " : "";
    return "cd " + folder() + " && PGDATA=" + folder() + "/data exec setpriv " + user +
           "--pdeathsig QUIT " POSTGRES_FOLDER "/" + program;
  }

  TemporaryFolder folder_;
  std::FILE* log_ = nullptr;
};

}  // namespace wz::test
