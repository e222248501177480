// The parent process: starts the workers, replaces one that dies or is stuck in a script, and ends
// them all on SIGTERM or SIGINT. It never runs script code, so nothing that a script does can end
// the daemon.
#pragma once

#include <chrono>
#include <functional>

#include "daemon/process/worker_status.h"

namespace vsd {

// What one worker process does: serve until asked to stop (SIGTERM), then return its exit status.
// `ready` is to be called once, when it serves.
using WorkerBody = std::function<int(int worker, const std::function<void()>& ready)>;

struct SupervisorOptions {
  std::function<void()> on_ready;          // in the parent, once every worker serves
  std::chrono::seconds script_timeout{0};  // a script that runs longer is stuck; 0: none ever is
};

// Starts as many workers as `status` has. Runs until a signal asks the daemon to end and the
// workers have drained. Returns the exit status of the daemon: 0 after a clean stop, 1 when the
// first workers could not start or one failed while it stopped.
[[nodiscard]] int supervise(const SupervisorOptions& options, const WorkerStatus& status,
                            const WorkerBody& body);

}  // namespace vsd
