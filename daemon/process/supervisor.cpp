#include "daemon/process/supervisor.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <system_error>
#include <utility>

#include "daemon/file_descriptor.h"
#include "daemon/process/worker_pool.h"

namespace vsd {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kDrainTime{30};              // then the workers are killed
constexpr std::chrono::seconds kStartTime{60};              // of the workers of a new generation
constexpr std::chrono::milliseconds kFilesSettleTime{200};  // after the last change of a file
constexpr std::array kSignals = {SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGUSR1};

// The signals that the parent obeys, blocked and read like a file.
class SignalQueue {
 public:
  SignalQueue() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kSignals) {
      sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, &former_);
    queue_ = FileDescriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!queue_) {
      throw std::system_error(errno, std::generic_category(), "signalfd");
    }
  }
  SignalQueue(const SignalQueue&) = delete;
  SignalQueue& operator=(const SignalQueue&) = delete;
  // The signals stay blocked: one that comes too late must not end the process on its way out.
  ~SignalQueue() = default;

  [[nodiscard]] int descriptor() const noexcept { return queue_.get(); }
  [[nodiscard]] const sigset_t& former_mask() const noexcept { return former_; }

  // The next signal that has arrived; 0: none.
  [[nodiscard]] int next() const {
    signalfd_siginfo info{};
    return read(queue_.get(), &info, sizeof info) == sizeof info ? static_cast<int>(info.ssi_signo)
                                                                 : 0;
  }

 private:
  sigset_t former_{};
  FileDescriptor queue_;
};

class Supervisor {
 public:
  Supervisor(const WorkerStatus& status, GenerationSource& source, SupervisorEvents& events)
      : status_(status), source_(source), events_(events), pool_(status, signals_.former_mask()) {
    status_.daemon().parent = getpid();
  }

  int run(GenerationPtr first);

 private:
  enum class Reload { none, building, waiting, starting, retiring };

  bool start_first(GenerationPtr first);
  void wait_for_events();
  void on_signal(int signal);
  void reap();
  void advance_reload();
  void begin_reload();
  void start_reloaded();
  void conclude(bool took_effect);
  int drain();

  const WorkerStatus& status_;
  GenerationSource& source_;
  SupervisorEvents& events_;
  SignalQueue signals_;
  WorkerPool pool_;
  std::uint32_t last_id_ = 0;
  Reload reload_ = Reload::none;
  bool reload_wanted_ = false;
  std::optional<Clock::time_point> files_settled_at_;
  GenerationPtr next_;
  std::string problem_;  // of the services of the reload under way
  Clock::time_point start_deadline_;
  int stop_requests_ = 0;
};

void Supervisor::reap() {
  int status = 0;
  for (pid_t pid = waitpid(-1, &status, WNOHANG); pid > 0; pid = waitpid(-1, &status, WNOHANG)) {
    pool_.read_reports();  // a worker's last words
    pool_.ended(pid, status);
    events_.child_ended(pid);
  }
}

void Supervisor::on_signal(int signal) {
  switch (signal) {
    case SIGTERM:
    case SIGINT:
      ++stop_requests_;
      break;
    case SIGHUP:
      reload_wanted_ = true;
      break;
    case SIGUSR1:
      events_.reopen_logs();
      pool_.signal_all(kReopenSignal);
      break;
    default:
      break;  // SIGCHLD: waited for below
  }
}

// Sleeps until something has happened or is due, and deals with it, reloads apart.
void Supervisor::wait_for_events() {
  const auto now = Clock::now();
  auto next = pool_.next_tick(now);
  if (files_settled_at_) {
    next = std::min(next, *files_settled_at_);
  }
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
  std::array<pollfd, 4> files{{{signals_.descriptor(), POLLIN, 0},
                               {pool_.descriptor(), POLLIN, 0},
                               {source_.descriptor(), POLLIN, 0},
                               {events_.watch_descriptor(), POLLIN, 0}}};
  poll(files.data(), files.size(), static_cast<int>(std::max<long>(wait, 0)));
  for (int signal = signals_.next(); signal != 0; signal = signals_.next()) {
    on_signal(signal);
  }
  pool_.read_reports();
  reap();
  if (files[3].revents != 0 && events_.files_changed()) {
    files_settled_at_ = Clock::now() + kFilesSettleTime;
  }
  pool_.tick(Clock::now());
}

void Supervisor::begin_reload() {
  reload_wanted_ = false;
  files_settled_at_.reset();
  problem_.clear();
  events_.reloading();
  if (source_.begin(problem_)) {
    reload_ = Reload::building;
  } else {
    conclude(false);
  }
}

void Supervisor::start_reloaded() {
  if (pool_.start(next_, last_id_ + 1)) {
    ++last_id_;
    next_ = nullptr;
    start_deadline_ = Clock::now() + kStartTime;
    reload_ = Reload::starting;
  }
}

void Supervisor::advance_reload() {
  switch (reload_) {
    case Reload::none:
      if (reload_wanted_ || (files_settled_at_ && Clock::now() >= *files_settled_at_)) {
        begin_reload();
      }
      break;
    case Reload::building:
      if (source_.advance()) {
        next_ = source_.finish(problem_);
        reload_ = Reload::waiting;
        if (next_ == nullptr) {
          conclude(false);
        } else {
          start_reloaded();
        }
      }
      break;
    case Reload::waiting:
      start_reloaded();
      break;
    case Reload::starting:
      if (pool_.start_state() == WorkerPool::Start::ready) {
        pool_.switch_over();
        reload_ = Reload::retiring;
      } else if (pool_.start_state() == WorkerPool::Start::failed ||
                 Clock::now() > start_deadline_) {
        pool_.give_up_start();
        problem_ += "the workers of the new services did not start\n";
        conclude(false);
      }
      break;
    case Reload::retiring:
      if (pool_.others_retired()) {
        conclude(true);
      }
      break;
  }
}

void Supervisor::conclude(bool took_effect) {
  reload_ = Reload::none;
  ++(took_effect ? status_.daemon().reloads : status_.daemon().failed_reloads);
  if (!reload_wanted_) {  // otherwise who asked waits for the next one
    events_.reloaded(took_effect && problem_.empty(), problem_);
  }
}

int Supervisor::drain() {
  source_.cancel();
  events_.stopping();
  pool_.stop();
  const auto deadline = Clock::now() + kDrainTime;
  bool killed = false;
  for (int passed_on = stop_requests_; pool_.any_running();) {
    wait_for_events();
    if (stop_requests_ > passed_on) {
      passed_on = stop_requests_;
      pool_.signal_all(kStopSignal);
    }
    if (Clock::now() > deadline && !std::exchange(killed, true)) {
      std::fprintf(stderr, "vsd: workers did not end in time, killing them\n");
      pool_.signal_all(SIGKILL);
    }
  }
  return pool_.stopped_cleanly() ? 0 : 1;
}

bool Supervisor::start_first(GenerationPtr first) {
  bool under_way = pool_.start(first, ++last_id_);
  first.reset();  // it lives as long as its workers
  while (under_way && stop_requests_ == 0) {
    wait_for_events();
    under_way = pool_.start_state() == WorkerPool::Start::under_way;
  }
  return pool_.start_state() == WorkerPool::Start::ready;
}

int Supervisor::run(GenerationPtr first) {
  const bool started = start_first(std::move(first));
  if (started) {
    pool_.switch_over();
    events_.ready();
  }
  while (started && stop_requests_ == 0) {
    wait_for_events();
    advance_reload();
  }
  const int status = drain();
  return started || stop_requests_ > 0 ? status : 1;
}

}  // namespace

int supervise(const WorkerStatus& status, GenerationPtr first, GenerationSource& source,
              SupervisorEvents& events) {
  return Supervisor(status, source, events).run(std::move(first));
}

}  // namespace vsd
