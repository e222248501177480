// A real vsd on a port of its own, serving a copy of a work directory.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include "tests/support/temporary_folder.h"

namespace vsd::test {

class VsdProcess {
 public:
  // Starts `vsd run` on a copy of `root` and waits for its ready line. `settings` are keyword lines
  // put behind those of its vsd.conf.
  explicit VsdProcess(const std::filesystem::path& root, const std::string& settings = "") {
    const auto work = folder_.path() / "work";
    std::filesystem::copy(root, work, std::filesystem::copy_options::recursive);
    std::ofstream(work / "vsd.conf", std::ios::app) << '\n' << settings;

    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("pipe");
    }
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      execl(VSD_BINARY, VSD_BINARY, "run", "--root", work.c_str(), "--listen", "127.0.0.1:0",
            nullptr);
      _exit(127);
    }
    ::close(ends[1]);
    const std::string line = read_line(ends[0]);
    ::close(ends[0]);
    const auto address = line.find("ready on ");
    const auto colon = line.find(':', address + 9);
    if (address == std::string::npos || colon == std::string::npos) {
      stop();
      throw std::runtime_error("no ready line, but \"" + line + '"');
    }
    port_ = std::stoi(line.substr(colon + 1));
  }
  VsdProcess(const VsdProcess&) = delete;
  VsdProcess& operator=(const VsdProcess&) = delete;
  ~VsdProcess() { stop(); }

  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string url(const std::string& target) const {
    return "http://127.0.0.1:" + std::to_string(port_) + target;
  }

  // Asks for the end and returns at once.
  void signal_stop() const { kill(pid_, SIGTERM); }

  // Ends vsd if it still runs. Returns its exit status, or -1 when a signal ended it.
  int stop() {
    if (pid_ > 0) {
      signal_stop();
      int status = 0;
      waitpid(std::exchange(pid_, -1), &status, 0);
      exit_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return exit_status_;
  }

 private:
  static std::string read_line(int fd) {
    std::string line;
    for (char byte = 0; ::read(fd, &byte, 1) == 1 && byte != '\n';) {
      line += byte;
    }
    return line;
  }

  wz::test::TemporaryFolder folder_;
  pid_t pid_ = -1;
  int port_ = 0;
  int exit_status_ = -1;
};

}  // namespace vsd::test
