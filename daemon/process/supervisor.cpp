#include "daemon/process/supervisor.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "daemon/file_descriptor.h"

namespace vsd {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kDrainTime{30};  // then the workers are killed
constexpr std::chrono::milliseconds kFirstBackOff{100};
constexpr std::chrono::milliseconds kLongestBackOff{10000};
constexpr std::chrono::milliseconds kWatchInterval{500};  // between looks at the scripts
constexpr std::chrono::seconds kStableAfter{10};  // a worker that lived so long starts afresh
constexpr int kStartFailed = 3;                   // a worker's exit status when it could not serve

// The signals that the parent waits for; blocked everywhere else in it.
sigset_t parent_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP}) {
    sigaddset(&signals, signal);
  }
  return signals;
}

class Supervisor {
 public:
  Supervisor(const SupervisorOptions& options, const WorkerStatus& status, const WorkerBody& body)
      : options_(options), status_(status), body_(body), workers_(status.workers()) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    ready_read_ = FileDescriptor(ends[0]);
    ready_write_ = FileDescriptor(ends[1]);
  }

  int run();

 private:
  struct Worker {
    pid_t pid = -1;  // -1: not running
    Clock::time_point started;
    Clock::time_point restart_at;
    std::chrono::milliseconds back_off = kFirstBackOff;
    unsigned script_count = 0;  // as last seen, and since when
    Clock::time_point script_since;
  };

  void prepare_slot(std::size_t index) const;
  void start(std::size_t index);
  [[noreturn]] void run_worker(std::size_t index);
  bool wait_until_ready();
  void reap();
  void on_worker_end(Worker& worker, std::size_t index, int status);
  void restart_due();
  [[nodiscard]] bool watches_scripts() const { return options_.script_timeout.count() > 0; }
  void kill_stuck();
  void signal_workers(int signal) const;
  [[nodiscard]] bool any_running() const;
  [[nodiscard]] timespec time_to_next_event() const;
  int drain();

  [[nodiscard]] WorkerSlot& slot(std::size_t index) const { return status_.slots()[index]; }

  const SupervisorOptions& options_;
  const WorkerStatus& status_;
  const WorkerBody& body_;
  std::vector<Worker> workers_;
  FileDescriptor ready_read_;
  FileDescriptor ready_write_;
  const sigset_t signals_ = parent_signals();
  sigset_t former_mask_{};
  pid_t parent_ = getpid();
  bool stopping_ = false;
  bool stopped_cleanly_ = true;  // no worker failed after the daemon was asked to stop
};

void Supervisor::prepare_slot(std::size_t index) const {
  WorkerSlot& fresh = slot(index);
  fresh.number = static_cast<std::uint32_t>(index);
  fresh.generation = status_.daemon().generation.load();
  fresh.script.count = 0;
  fresh.served = 0;
  fresh.state = WorkerState::starting;
}

void Supervisor::start(std::size_t index) {
  prepare_slot(index);
  std::fflush(nullptr);  // a child must not write what the parent has buffered a second time
  const pid_t pid = fork();
  if (pid == 0) {
    run_worker(index);
  }
  Worker& worker = workers_[index];
  if (pid < 0) {
    std::fprintf(stderr, "vsd: cannot start worker %zu: %s\n", index,
                 std::generic_category().message(errno).c_str());
    worker.restart_at = Clock::now() + worker.back_off;
    return;
  }
  worker.pid = pid;
  slot(index).pid = pid;
  worker.started = Clock::now();
}

void Supervisor::run_worker(std::size_t index) {
  // A worker never outlives its parent; the parent may have died between fork and here.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent_) {
    std::_Exit(0);
  }
  std::signal(SIGINT, SIG_IGN);  // a terminal sends it to all; the parent decides
  sigprocmask(SIG_SETMASK, &former_mask_, nullptr);
  ready_read_.reset();
  int status = kStartFailed;
  try {
    status = body_(static_cast<int>(index), [this, index] {
      slot(index).state = WorkerState::serving;
      const char byte = 1;
      if (write(ready_write_.get(), &byte, 1) == 1) {
        ready_write_.reset();
      }
    });
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vsd: worker %zu: %s\n", index, error.what());
  }
  std::exit(status);
}

// Blocks until every worker has reported; false when one ended before it served.
bool Supervisor::wait_until_ready() {
  ready_write_.reset();  // so that the last worker's death reads as the end of the pipe
  std::size_t reported = 0;
  while (reported < workers_.size()) {
    std::array<char, 64> bytes{};
    const ssize_t count = read(ready_read_.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return false;
    }
    reported += static_cast<std::size_t>(count);
  }
  return true;
}

void Supervisor::on_worker_end(Worker& worker, std::size_t index, int status) {
  worker.pid = -1;
  slot(index).state = WorkerState::none;
  if (stopping_ && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    return;
  }
  const char* consequence = stopping_ ? "while stopping" : "restarting";
  if (WIFSIGNALED(status)) {
    std::fprintf(stderr, "vsd: worker %zu ended by signal %d (%s), %s\n", index, WTERMSIG(status),
                 strsignal(WTERMSIG(status)), consequence);
  } else {
    std::fprintf(stderr, "vsd: worker %zu exited with status %d, %s\n", index, WEXITSTATUS(status),
                 consequence);
  }
  if (stopping_) {
    stopped_cleanly_ = false;
    return;
  }
  ++slot(index).restarts;
  ++status_.daemon().restarts;
  const auto now = Clock::now();
  if (now - worker.started > kStableAfter) {
    worker.back_off = kFirstBackOff;
    worker.restart_at = now;
    return;
  }
  worker.restart_at = now + worker.back_off;
  worker.back_off = std::min(worker.back_off * 2, kLongestBackOff);
}

void Supervisor::reap() {
  int status = 0;
  for (pid_t pid = waitpid(-1, &status, WNOHANG); pid > 0; pid = waitpid(-1, &status, WNOHANG)) {
    const auto worker = std::find_if(workers_.begin(), workers_.end(),
                                     [&](const Worker& w) { return w.pid == pid; });
    if (worker != workers_.end()) {
      on_worker_end(*worker, static_cast<std::size_t>(worker - workers_.begin()), status);
    }
  }
}

void Supervisor::restart_due() {
  for (std::size_t i = 0; i < workers_.size(); ++i) {
    if (workers_[i].pid < 0 && Clock::now() >= workers_[i].restart_at) {
      start(i);
    }
  }
}

// A worker whose count is odd and does not change is in one and the same script.
void Supervisor::kill_stuck() {
  if (!watches_scripts()) {
    return;
  }
  const auto now = Clock::now();
  for (std::size_t i = 0; i < workers_.size(); ++i) {
    Worker& worker = workers_[i];
    const unsigned count = slot(i).script.count.load(std::memory_order_relaxed);
    if (worker.pid < 0 || count % 2 == 0 || count != worker.script_count) {
      worker.script_count = count;
      worker.script_since = now;
    } else if (now - worker.script_since > options_.script_timeout) {
      std::fprintf(stderr, "vsd: worker %zu is stuck in a script, killing it\n", i);
      kill(worker.pid, SIGKILL);
      worker.script_since = now;
    }
  }
}

void Supervisor::signal_workers(int signal) const {
  for (const Worker& worker : workers_) {
    if (worker.pid > 0) {
      kill(worker.pid, signal);
    }
  }
}

bool Supervisor::any_running() const {
  return std::any_of(workers_.begin(), workers_.end(), [](const Worker& w) { return w.pid > 0; });
}

// How long the parent may sleep: until the next restart or look at the scripts is due, at most an
// hour.
timespec Supervisor::time_to_next_event() const {
  auto wait = watches_scripts() ? kWatchInterval : std::chrono::milliseconds(std::chrono::hours(1));
  for (const Worker& worker : workers_) {
    if (worker.pid < 0) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(worker.restart_at - Clock::now());
      wait = std::clamp(left, std::chrono::milliseconds(0), wait);
    }
  }
  return {wait.count() / 1000, wait.count() % 1000 * 1000000};
}

int Supervisor::drain() {
  stopping_ = true;
  signal_workers(SIGTERM);
  const auto deadline = Clock::now() + kDrainTime;
  for (reap(); any_running(); reap()) {
    if (Clock::now() > deadline) {
      std::fprintf(stderr, "vsd: workers did not end in time, killing them\n");
      signal_workers(SIGKILL);
    }
    const timespec pause{0, 200000000};
    sigtimedwait(&signals_, nullptr, &pause);
  }
  return stopped_cleanly_ ? 0 : 1;
}

int Supervisor::run() {
  status_.daemon().parent = parent_;
  status_.daemon().generation = 1;
  sigprocmask(SIG_BLOCK, &signals_, &former_mask_);
  for (std::size_t i = 0; i < workers_.size(); ++i) {
    start(i);
  }
  if (!wait_until_ready()) {
    drain();
    return 1;
  }
  if (options_.on_ready) {
    options_.on_ready();
  }
  while (true) {
    const timespec wait = time_to_next_event();
    const int signal = sigtimedwait(&signals_, nullptr, &wait);
    if (signal == SIGTERM || signal == SIGINT) {
      return drain();
    }
    reap();
    kill_stuck();
    restart_due();
  }
}

}  // namespace

int supervise(const SupervisorOptions& options, const WorkerStatus& status,
              const WorkerBody& body) {
  return Supervisor(options, status, body).run();
}

}  // namespace vsd
