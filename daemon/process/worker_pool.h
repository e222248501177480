// The worker processes: one per worker number of the current generation, and those of former ones
// that still finish what they have. Replaces a worker that fails, ends a script that runs for too
// long, and takes a service out of service whose script fails again and again.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "daemon/file_descriptor.h"
#include "daemon/process/back_off.h"
#include "daemon/process/crash_limit.h"
#include "daemon/process/generation.h"
#include "daemon/process/worker_report.h"
#include "daemon/process/worker_status.h"

namespace vsd {

class WorkerPool {
 public:
  using Clock = std::chrono::steady_clock;

  // `worker_mask` is the signal mask of the workers. Throws std::system_error.
  WorkerPool(const WorkerStatus& status, const sigset_t& worker_mask);

  // Starts a worker of each number for `generation`, beside those there are. False, and nothing is
  // started, while there are too many of former generations for that.
  [[nodiscard]] bool start(const GenerationPtr& generation, std::uint32_t id);

  enum class Start { under_way, failed, ready };
  // How the last start goes; failed as soon as one of its workers has ended without serving.
  [[nodiscard]] Start start_state() const noexcept;

  // Makes what was started last the current generation; the others retire. Once no worker of theirs
  // accepts connections, others_retired() is true.
  void switch_over();
  [[nodiscard]] bool others_retired() const noexcept;
  // Ends what was started last; the current generation stays.
  void give_up_start();

  // Readable when a worker has something to report.
  [[nodiscard]] int descriptor() const noexcept { return reports_read_.get(); }
  void read_reports();
  // A child process has ended, of the pool or not. Read its reports first.
  void ended(pid_t pid, int status);

  // What is due by the clock: restarts, and an end to scripts that run too long.
  void tick(Clock::time_point now);
  // Until when nothing of that is due.
  [[nodiscard]] Clock::time_point next_tick(Clock::time_point now) const;

  // From now on workers are not replaced.
  void stop();
  void signal_all(int signal) const;
  [[nodiscard]] bool any_running() const noexcept { return !workers_.empty(); }
  [[nodiscard]] bool stopped_cleanly() const noexcept { return stopped_cleanly_; }

 private:
  struct Served {  // a generation, as long as it has workers
    GenerationPtr generation;
    std::uint32_t id = 0;
    CrashLimit crashes;
  };
  struct Worker {
    pid_t pid = -1;
    WorkerSlot* slot = nullptr;
    std::uint32_t number = 0;
    std::shared_ptr<Served> served;
    Clock::time_point started;
    std::uint32_t script_count = 0;  // as last seen, and since when
    Clock::time_point script_since;
    std::optional<Clock::time_point> kill_at;  // set when it retires after a failure
    bool is_ready = false;
    bool is_leaving = false;  // it needs no replacement (any more)
    bool is_told = false;     // to retire
    bool has_retired = false;
  };
  struct Seat {  // a worker number
    BackOff back_off;
    std::uint32_t restarts = 0;
  };
  struct Restart {
    std::uint32_t number = 0;
    std::shared_ptr<Served> served;
    Clock::time_point due;
  };

  void fork_worker(std::uint32_t number, const std::shared_ptr<Served>& served);
  [[noreturn]] void run_worker(WorkerSlot& slot, const Generation& generation);
  [[nodiscard]] WorkerSlot* free_slot() const noexcept;
  [[nodiscard]] Worker* find(pid_t pid) noexcept;
  void on_report(const WorkerReport& report);
  void on_script_failure(Worker& worker, std::uint32_t service, Hook hook, const std::string& how);
  void on_unexpected_end(Worker& worker, int status);
  void replace(Worker& worker);
  void retire(Worker& worker);
  void on_successor_ready(const Worker& successor);
  void restart_due(Clock::time_point now);
  void watch_script(Worker& worker, Clock::time_point now);

  const WorkerStatus& status_;
  sigset_t worker_mask_;
  pid_t parent_;
  std::vector<Worker> workers_;
  std::vector<Seat> seats_;
  std::vector<Restart> restarts_;
  std::shared_ptr<Served> current_;
  std::shared_ptr<Served> starting_;
  bool start_failed_ = false;
  FileDescriptor reports_read_;
  FileDescriptor reports_write_;
  bool stopping_ = false;
  bool stopped_cleanly_ = true;  // no worker failed after stop()
};

}  // namespace vsd
