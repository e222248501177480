// Runs script code so that its failure costs the request at hand and no other: a script that
// faults, aborts, calls exit() or is told by the parent that its time is up is left where it is,
// and the worker answers for it. What it has done to the process is unknown then, so the worker
// finishes what it has and is replaced.
#pragma once

#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <vector>

#include "daemon/process/worker_status.h"

namespace vsd {

// Sent by the parent to a worker whose script has run for too long.
inline constexpr int kScriptTimeoutSignal = SIGXCPU;

// Between the two no script of this process is left, because it is inside of something that others
// share: a script whose time is up is left at the release, and one that faults takes the process
// with it. They nest, and cost no system call. The release may not return; nothing may be held by
// then.
void hold_script() noexcept;
void release_script() noexcept;

class ScriptGuard {
 public:
  // What runs is told to `slot`, which must outlive the guard.
  explicit ScriptGuard(WorkerSlot& slot);
  ScriptGuard(const ScriptGuard&) = delete;
  ScriptGuard& operator=(const ScriptGuard&) = delete;
  ~ScriptGuard();

  // From now on failures are caught and reported to `report_pipe`. For one guard of a process, on
  // its main thread, which has to run the scripts too. Without it a script that fails ends the
  // process.
  void catch_failures(int report_pipe);

  [[nodiscard]] WorkerSlot& slot() const noexcept { return slot_; }

  // Calls `script`, which may be null. False when it failed.
  [[nodiscard]] bool run(void (*script)(), std::uint32_t service, Hook hook);

  // Whether a script has been left where it was: the process may hold its locks and its memory.
  [[nodiscard]] bool has_left_script() const noexcept { return has_left_script_; }

 private:
  static void on_signal(int signal);
  static void on_exit_call(int status, void* guard);
  [[nodiscard]] bool may_leave() const noexcept;
  void report(int signal, int status) const noexcept;

  WorkerSlot& slot_;
  int report_pipe_ = -1;
  bool has_left_script_ = false;
  std::vector<char> signal_stack_;  // a handler cannot run on a stack that has overflowed
  sigjmp_buf landing_{};
};

}  // namespace vsd
