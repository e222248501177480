#include "daemon/process/worker_pool.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include "daemon/process/script_guard.h"

namespace vsd {
namespace {

constexpr std::chrono::milliseconds kWatchInterval{500};  // between looks at the scripts
constexpr std::chrono::seconds kLengthyScript{1};         // that counts as not serving
constexpr std::chrono::seconds kScriptGrace{1};           // for a script to obey the signal
constexpr std::chrono::minutes kLeaveTime{5};             // for a worker whose script has failed
constexpr int kStartFailed = 3;  // a worker's exit status when it could not serve

std::string describe_signal(int signal) {
  return "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
}

std::string describe_end(int status) {
  return WIFSIGNALED(status) ? "ended by " + describe_signal(WTERMSIG(status))
                             : "exited with status " + std::to_string(WEXITSTATUS(status));
}

std::string describe_failure(const WorkerReport& report, const ScriptRules& rules) {
  if (report.signal == 0) {
    return "called exit(" + std::to_string(report.status) + ")";
  }
  if (report.signal == kScriptTimeoutSignal) {
    return "ran for more than " + std::to_string(rules.timeout.count()) + " s";
  }
  return "failed with " + describe_signal(report.signal);
}

}  // namespace

WorkerPool::WorkerPool(const WorkerStatus& status, const sigset_t& worker_mask)
    : status_(status), worker_mask_(worker_mask), parent_(getpid()), seats_(status.workers()) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  reports_read_ = FileDescriptor(ends[0]);
  reports_write_ = FileDescriptor(ends[1]);
  fcntl(reports_read_.get(), F_SETFL, O_NONBLOCK);
}

bool WorkerPool::start(const GenerationPtr& generation, std::uint32_t id) {
  const auto slots = status_.slots().all();
  const auto free = std::count_if(slots.begin(), slots.end(), [](const WorkerSlot& slot) {
    return slot.state.load() == WorkerState::none;
  });
  // As many again stay free for replacements.
  if (static_cast<std::size_t>(free) < 2 * seats_.size()) {
    return false;
  }
  starting_ = std::make_shared<Served>();
  starting_->generation = generation;
  starting_->id = id;
  start_failed_ = false;
  for (std::uint32_t number = 0; number < seats_.size(); ++number) {
    fork_worker(number, starting_);
  }
  return true;
}

WorkerPool::Start WorkerPool::start_state() const noexcept {
  if (start_failed_) {
    return Start::failed;
  }
  const auto ready = std::count_if(workers_.begin(), workers_.end(), [this](const Worker& worker) {
    return worker.served == starting_ && worker.is_ready && !worker.is_leaving;
  });
  return static_cast<std::size_t>(ready) == seats_.size() ? Start::ready : Start::under_way;
}

void WorkerPool::switch_over() {
  current_ = std::move(starting_);
  starting_ = nullptr;
  status_.daemon().generation = current_->id;
  for (Worker& worker : workers_) {
    if (worker.served != current_) {
      retire(worker);
    }
  }
}

bool WorkerPool::others_retired() const noexcept {
  return std::all_of(workers_.begin(), workers_.end(), [this](const Worker& worker) {
    return worker.served == current_ || worker.has_retired;
  });
}

void WorkerPool::give_up_start() {
  for (Worker& worker : workers_) {
    if (worker.served == starting_) {
      retire(worker);  // it may have accepted connections already
    }
  }
  starting_ = nullptr;
}

void WorkerPool::retire(Worker& worker) {
  worker.is_leaving = true;
  if (!std::exchange(worker.is_told, true)) {
    worker.slot->state = WorkerState::draining;
    kill(worker.pid, kRetireSignal);
  }
}

// Until then a worker whose script has failed serves on, so that its connections need not wait for
// the pause before the restart.
void WorkerPool::on_successor_ready(const Worker& successor) {
  for (Worker& worker : workers_) {
    if (worker.number == successor.number && worker.served == successor.served &&
        worker.is_leaving && !worker.is_told) {
      retire(worker);
      worker.kill_at = Clock::now() + kLeaveTime;
    }
  }
}

WorkerSlot* WorkerPool::free_slot() const noexcept {
  for (WorkerSlot& slot : status_.slots().all()) {
    if (slot.state.load() == WorkerState::none) {
      return &slot;
    }
  }
  return nullptr;
}

WorkerPool::Worker* WorkerPool::find(pid_t pid) noexcept {
  const auto found = std::find_if(workers_.begin(), workers_.end(),
                                  [pid](const Worker& worker) { return worker.pid == pid; });
  return found == workers_.end() ? nullptr : &*found;
}

void WorkerPool::fork_worker(std::uint32_t number, const std::shared_ptr<Served>& served) {
  const auto now = Clock::now();
  WorkerSlot* const slot = free_slot();
  if (slot != nullptr) {
    slot->number = number;
    slot->generation = served->id;
    slot->restarts = seats_[number].restarts;
    slot->script.count = 0;
    slot->script.overdue = 0;
    slot->script.lengthy = 0;
    slot->served = 0;
    slot->state = WorkerState::starting;
    std::fflush(nullptr);  // a child must not write what the parent has buffered a second time
  }
  const pid_t pid = slot != nullptr ? fork() : -1;
  if (pid == 0) {
    run_worker(*slot, *served->generation);
  }
  if (pid < 0) {
    std::fprintf(stderr, "vsd: cannot start worker %u: %s\n", number,
                 slot == nullptr ? "too many workers are still ending" : std::strerror(errno));
    if (slot != nullptr) {
      slot->state = WorkerState::none;
    }
    start_failed_ = start_failed_ || served == starting_;
    restarts_.push_back({number, served, seats_[number].back_off.next(now, now)});
    return;
  }
  slot->pid = pid;
  Worker worker;
  worker.pid = pid;
  worker.slot = slot;
  worker.number = number;
  worker.served = served;
  worker.started = now;
  workers_.push_back(std::move(worker));
}

void WorkerPool::run_worker(WorkerSlot& slot, const Generation& generation) {
  // A worker never outlives its parent; the parent may have died between fork and here.
  prctl(PR_SET_PDEATHSIG, kStopSignal);
  if (getppid() != parent_) {
    std::_Exit(0);
  }
  slot.pid = getpid();
  reports_read_.reset();
  std::signal(SIGINT, SIG_IGN);  // a terminal sends it to all; the parent decides
  sigset_t mask = worker_mask_;
  for (const int signal : {kStopSignal, kRetireSignal, kReopenSignal}) {
    sigaddset(&mask, signal);
  }
  sigprocmask(SIG_SETMASK, &mask, nullptr);
  int status = kStartFailed;
  try {
    status = generation.serve({slot, reports_write_.get(), worker_mask_});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vsd: worker %u: %s\n", slot.number.load(), error.what());
  }
  std::exit(status);
}

void WorkerPool::read_reports() {
  WorkerReport report;
  while (read(reports_read_.get(), &report, sizeof report) == sizeof report) {
    on_report(report);
  }
}

void WorkerPool::on_report(const WorkerReport& report) {
  Worker* const worker = find(report.pid);
  if (worker == nullptr) {
    return;
  }
  switch (report.kind) {
    case WorkerReport::Kind::ready:
      worker->is_ready = true;
      on_successor_ready(*worker);
      break;
    case WorkerReport::Kind::retired:
      worker->has_retired = true;
      break;
    case WorkerReport::Kind::script_failed:
      on_script_failure(*worker, report.service, report.hook,
                        describe_failure(report, worker->served->generation->rules()));
      break;
  }
}

void WorkerPool::on_script_failure(Worker& worker, std::uint32_t service, Hook hook,
                                   const std::string& how) {
  const Generation& generation = *worker.served->generation;
  if (service >= generation.states().size()) {
    return;  // the script has written over what the worker says about it
  }
  const std::string name = generation.service_name(service);
  std::fprintf(stderr, "vsd: worker %u: the script of service '%s' %s in %s\n", worker.number,
               name.c_str(), how.c_str(), to_string(hook));
  ServiceState& state = generation.states()[service];
  ++state.crashes;
  const ScriptRules& rules = generation.rules();
  const bool too_often =
      worker.served->crashes.reached(service, Clock::now(), rules.crash_limit, rules.crash_window);
  if (too_often && !state.out_of_service.exchange(true)) {
    std::fprintf(stderr,
                 "vsd: service '%s' is out of service until the next reload: its script failed %zu "
                 "times within %lld s; it is answered with 503\n",
                 name.c_str(), rules.crash_limit,
                 static_cast<long long>(rules.crash_window.count()));
  }
  if (!worker.is_leaving) {
    replace(worker);
  }
}

// Lets another worker of the same number be started when the pause has passed.
void WorkerPool::replace(Worker& worker) {
  worker.is_leaving = true;
  if (stopping_ || (worker.served != current_ && worker.served != starting_)) {
    return;
  }
  Seat& seat = seats_[worker.number];
  ++seat.restarts;
  ++status_.daemon().restarts;
  restarts_.push_back(
      {worker.number, worker.served, seat.back_off.next(worker.started, Clock::now())});
}

void WorkerPool::ended(pid_t pid, int status) {
  Worker* const worker = find(pid);
  if (worker == nullptr) {
    return;
  }
  if (!worker->is_leaving || status != 0) {
    on_unexpected_end(*worker, status);
  }
  worker->slot->pid = 0;
  worker->slot->state = WorkerState::none;
  workers_.erase(workers_.begin() + (worker - workers_.data()));
}

void WorkerPool::on_unexpected_end(Worker& worker, int status) {
  if (stopping_) {
    stopped_cleanly_ = stopped_cleanly_ && status == 0;
    if (status == 0) {
      return;
    }
  }
  std::fprintf(stderr, "vsd: worker %u (pid %d) %s%s\n", worker.number, worker.pid,
               describe_end(status).c_str(), stopping_ ? " while stopping" : "");
  const ScriptActivity& script = worker.slot->script;
  if (script.running()) {  // nothing in the worker could catch it: SIGKILL, _exit()
    on_script_failure(worker, script.service, script.hook, describe_end(status));
  }
  start_failed_ = start_failed_ || (worker.served == starting_ && !worker.is_ready);
  if (!worker.is_leaving) {
    replace(worker);
  }
}

void WorkerPool::restart_due(Clock::time_point now) {
  const auto due = std::partition(restarts_.begin(), restarts_.end(),
                                  [now](const Restart& restart) { return restart.due > now; });
  const std::vector<Restart> ready(std::make_move_iterator(due),
                                   std::make_move_iterator(restarts_.end()));
  restarts_.erase(due, restarts_.end());
  for (const Restart& restart : ready) {
    if (restart.served == current_ || restart.served == starting_) {
      fork_worker(restart.number, restart.served);
    }
  }
}

// A worker whose count is odd and does not change is in one and the same script.
void WorkerPool::watch_script(Worker& worker, Clock::time_point now) {
  const auto timeout = worker.served->generation->rules().timeout;
  ScriptActivity& script = worker.slot->script;
  const std::uint32_t count = script.count.load(std::memory_order_relaxed);
  if (count % 2 == 0 || count != worker.script_count) {
    worker.script_count = count;
    worker.script_since = now;
    return;
  }
  const auto time = now - worker.script_since;
  if (time > kLengthyScript) {
    script.lengthy = count;
  }
  if (timeout.count() == 0) {
    return;
  }
  if (time > timeout && script.overdue != count) {
    script.overdue = count;
    kill(worker.pid, kScriptTimeoutSignal);
  } else if (time > timeout + kScriptGrace) {
    std::fprintf(stderr, "vsd: worker %u is stuck in a script, killing it\n", worker.number);
    kill(worker.pid, SIGKILL);
    worker.script_since = now;
  }
}

void WorkerPool::tick(Clock::time_point now) {
  for (Worker& worker : workers_) {
    watch_script(worker, now);
    if (worker.kill_at && now > *worker.kill_at) {
      std::fprintf(stderr, "vsd: worker %u does not end after a script failed, killing it\n",
                   worker.number);
      kill(worker.pid, SIGKILL);
      worker.kill_at.reset();
    }
  }
  if (!stopping_) {
    restart_due(now);
  }
}

WorkerPool::Clock::time_point WorkerPool::next_tick(Clock::time_point now) const {
  auto next = now + kWatchInterval;
  for (const Restart& restart : restarts_) {
    next = std::min(next, restart.due);
  }
  return next;
}

void WorkerPool::stop() {
  stopping_ = true;
  for (Worker& worker : workers_) {
    worker.is_leaving = true;
    kill(worker.pid, kStopSignal);
  }
}

void WorkerPool::signal_all(int signal) const {
  for (const Worker& worker : workers_) {
    kill(worker.pid, signal);
  }
}

}  // namespace vsd
