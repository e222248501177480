// One version of the services, which workers serve until a reload replaces it. The parent keeps it
// for as long as one of its workers lives.
#pragma once

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "daemon/process/worker_status.h"

namespace vsd {

// What the parent tells a worker.
inline constexpr int kStopSignal = SIGTERM;
inline constexpr int kRetireSignal = SIGUSR2;  // leave the connections to a successor and end
inline constexpr int kReopenSignal = SIGUSR1;  // open the logs anew

// How the parent deals with the scripts of a generation.
struct ScriptRules {
  std::chrono::seconds timeout{10};       // of one run; 0: none
  std::size_t crash_limit = 5;            // then the service is out of service; 0: never
  std::chrono::seconds crash_window{60};  // in which the crashes are counted
};

// What a worker process is given.
struct WorkerSeat {
  WorkerSlot& slot;
  int report_pipe;   // for send_report()
  sigset_t serving;  // signal mask of a worker that serves; before, those that it handles wait

  // It serves from now on.
  void report_ready() const;
  // It accepts no more connections.
  void report_retired() const;
  // It has served its last request: a signal that comes now finds nothing to end.
  void ignore_signals() const;
};

class Generation {
 public:
  Generation() = default;
  Generation(const Generation&) = delete;
  Generation& operator=(const Generation&) = delete;
  virtual ~Generation() = default;

  // In a worker process: makes everything ready, handlers of kStopSignal, kRetireSignal and
  // kReopenSignal among it, reports so, and serves until told to end or to retire. Returns the exit
  // status.
  [[nodiscard]] virtual int serve(WorkerSeat seat) const = 0;

  [[nodiscard]] virtual std::string service_name(std::uint32_t service) const = 0;
  [[nodiscard]] virtual const ServiceStates& states() const = 0;
  [[nodiscard]] virtual const ScriptRules& rules() const = 0;
};

using GenerationPtr = std::shared_ptr<const Generation>;

}  // namespace vsd
