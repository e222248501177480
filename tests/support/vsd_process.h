// A real vsd on a port of its own, serving a copy of a work directory.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace vsd::test {

class VsdProcess {
 public:
  // Starts `vsd run` on a copy of `root` and waits for its ready line. `settings` are keyword lines
  // put behind those of its vsd.conf, `option` is one more argument.
  explicit VsdProcess(const std::filesystem::path& root, const std::string& settings = "",
                      const char* option = nullptr) {
    const auto work = this->root();
    std::filesystem::copy(root, work, std::filesystem::copy_options::recursive);
    std::ofstream(work / "vsd.conf", std::ios::app) << '\n' << settings;

    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("pipe");
    }
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      dup2(open(log_path().c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600), STDERR_FILENO);
      setenv("VSD_SERVICE_PORTS", "FREE", 1);  // several vsd serve the same examples
      execl(VSD_BINARY, VSD_BINARY, "run", "--root", work.c_str(), "--listen", "127.0.0.1:0",
            option, nullptr);
      _exit(127);
    }
    ::close(ends[1]);
    ready_line_ = read_line(ends[0]);
    const std::string& line = ready_line_;
    ::close(ends[0]);
    const auto address = line.find("ready on ");
    const auto colon = line.find(':', address + 9);
    if (address == std::string::npos || colon == std::string::npos) {
      stop();
      throw std::runtime_error("no ready line, but \"" + line + '"');
    }
    port_ = std::stoi(line.substr(colon + 1));
    if (const auto admin = line.find("admin on 127.0.0.1:"); admin != std::string::npos) {
      admin_port_ = std::stoi(line.substr(line.find(':', admin) + 1));
    }
  }
  VsdProcess(const VsdProcess&) = delete;
  VsdProcess& operator=(const VsdProcess&) = delete;
  ~VsdProcess() { stop(); }

  [[nodiscard]] const std::string& ready_line() const { return ready_line_; }
  [[nodiscard]] int port() const { return port_; }
  // Of a service of another protocol than HTTP.
  [[nodiscard]] int port(const std::string& service) const {
    const auto place = ready_line_.find(", " + service + " on ");
    return place == std::string::npos
               ? 0
               : std::stoi(ready_line_.substr(ready_line_.find(':', place) + 1));
  }
  // 0 without the keyword ADMIN.
  [[nodiscard]] int admin_port() const { return admin_port_; }
  [[nodiscard]] std::string url(const std::string& target) const {
    return "http://127.0.0.1:" + std::to_string(port_) + target;
  }

  // The work directory that is served.
  [[nodiscard]] std::filesystem::path root() const { return folder_.path() / "work"; }
  void write(const std::string& name, std::string_view text) const {
    folder_.write("work/" + name, text);
  }

  // What vsd has written on standard error so far.
  [[nodiscard]] std::string log() const {
    std::ifstream file(log_path());
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Runs `vsd COMMAND` on the work directory and returns its exit status.
  [[nodiscard]] int run(const std::string& command) const {
    const std::string line = std::string(VSD_BINARY) + " " + command + " --root " +
                             root().string() + " >>" + log_path().string() + " 2>&1";
    const int status = std::system(line.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // The processes that the parent has started and not lost.
  [[nodiscard]] std::vector<pid_t> workers() const {
    const std::string pid = std::to_string(pid_);
    std::ifstream children("/proc/" + pid + "/task/" + pid + "/children");
    return {std::istream_iterator<pid_t>(children), {}};
  }

  void signal(int number) const { kill(pid_, number); }
  // Asks for the end and returns at once.
  void signal_stop() const { signal(SIGTERM); }

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

  [[nodiscard]] std::filesystem::path log_path() const { return folder_.path() / "stderr"; }

  wz::test::TemporaryFolder folder_;
  pid_t pid_ = -1;
  std::string ready_line_;
  int port_ = 0;
  int admin_port_ = 0;
  int exit_status_ = -1;
};

}  // namespace vsd::test
