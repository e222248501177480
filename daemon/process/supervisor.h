// The parent process: keeps the workers going, replaces the services on a reload and ends
// everything in order. It never runs script code, so nothing that a script does can end the daemon.
//
// It obeys SIGTERM and SIGINT (end; a second one ends at once), SIGHUP (reload) and SIGUSR1 (reopen
// the logs).
#pragma once

#include <sys/types.h>

#include <string>

#include "daemon/process/generation.h"
#include "daemon/process/worker_status.h"

namespace vsd {

// Makes the next generation in steps, so that the parent need not wait for compilers.
class GenerationSource {
 public:
  GenerationSource() = default;
  GenerationSource(const GenerationSource&) = delete;
  GenerationSource& operator=(const GenerationSource&) = delete;
  virtual ~GenerationSource() = default;

  // Begins anew. False, with the reason in `problem`, when that cannot be.
  [[nodiscard]] virtual bool begin(std::string& problem) = 0;
  // What becomes readable when advance() is to be called; -1 when nothing is being made.
  [[nodiscard]] virtual int descriptor() const noexcept = 0;
  // True when finish() may be called.
  [[nodiscard]] virtual bool advance() = 0;
  // Null, with the reason in `problem`, when the services stay as they are. A new generation may
  // have a problem to tell of, too.
  [[nodiscard]] virtual GenerationPtr finish(std::string& problem) = 0;
  // Gives up what was begun.
  virtual void cancel() noexcept = 0;
};

// What the parent tells of. Called in the parent.
class SupervisorEvents {
 public:
  SupervisorEvents() = default;
  SupervisorEvents(const SupervisorEvents&) = delete;
  SupervisorEvents& operator=(const SupervisorEvents&) = delete;
  virtual ~SupervisorEvents() = default;

  virtual void ready() = 0;      // every worker serves
  virtual void reloading() = 0;  // a reload begins
  // No reload is under way any more. `is_good`: nothing was wrong with the services; otherwise
  // `problem` says what was.
  virtual void reloaded(bool is_good, const std::string& problem) = 0;
  virtual void reopen_logs() = 0;
  virtual void child_ended(pid_t pid) = 0;  // of any child process, the workers' included
  virtual void stopping() = 0;              // before the workers are told
  // What becomes readable when files change, or -1; and whether it was a reason to reload.
  [[nodiscard]] virtual int watch_descriptor() const noexcept = 0;
  [[nodiscard]] virtual bool files_changed() = 0;
};

// Runs `first` with the workers of `status` until a signal asks the daemon to end and the workers
// have drained. Returns the exit status of the daemon: 0 after a clean stop, 1 when the first
// workers could not start or one failed while it stopped.
[[nodiscard]] int supervise(const WorkerStatus& status, GenerationPtr first,
                            GenerationSource& source, SupervisorEvents& events);

}  // namespace vsd
