#include "daemon/process/generation.h"

#include <unistd.h>

#include "daemon/process/worker_report.h"

namespace vsd {

void WorkerSeat::report_ready() const {
  sigprocmask(SIG_SETMASK, &serving, nullptr);
  slot.state = WorkerState::serving;
  WorkerReport report;
  report.pid = getpid();
  report.kind = WorkerReport::Kind::ready;
  send_report(report_pipe, report);
}

void WorkerSeat::report_retired() const {
  slot.state = WorkerState::draining;
  WorkerReport report;
  report.pid = getpid();
  report.kind = WorkerReport::Kind::retired;
  send_report(report_pipe, report);
}

void WorkerSeat::ignore_signals() const {
  sigset_t mask = serving;
  for (const int signal : {kStopSignal, kRetireSignal, kReopenSignal}) {
    sigaddset(&mask, signal);
  }
  sigprocmask(SIG_SETMASK, &mask, nullptr);
}

}  // namespace vsd
