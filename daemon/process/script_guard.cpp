#include "daemon/process/script_guard.h"

#include <unistd.h>

#include <array>
#include <cstdlib>

#include "daemon/process/worker_report.h"

namespace vsd {
namespace {

constexpr std::array kFaults = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS};
constexpr std::size_t kSignalStackSize = 64 * 1024;

ScriptGuard* active = nullptr;  // signal handlers get no argument
volatile std::sig_atomic_t holds = 0;
volatile std::sig_atomic_t timeout_is_due = 0;  // came while held

void handle(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_ONSTACK | SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

void unblock_handled() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kFaults) {
    sigaddset(&signals, signal);
  }
  sigaddset(&signals, kScriptTimeoutSignal);
  sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace

void hold_script() noexcept {
  holds = holds + 1;
}

void release_script() noexcept {
  holds = holds - 1;
  if (holds == 0 && timeout_is_due != 0) [[unlikely]] {
    timeout_is_due = 0;
    raise(kScriptTimeoutSignal);
  }
}

ScriptGuard::ScriptGuard(WorkerSlot& slot) : slot_(slot) {}

ScriptGuard::~ScriptGuard() {
  if (active != this) {
    return;
  }
  for (const int signal : kFaults) {
    std::signal(signal, SIG_DFL);
  }
  std::signal(kScriptTimeoutSignal, SIG_IGN);
  active = nullptr;
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  sigaltstack(&none, nullptr);
}

void ScriptGuard::catch_failures(int report_pipe) {
  report_pipe_ = report_pipe;
  signal_stack_.resize(kSignalStackSize);
  stack_t stack{};
  stack.ss_sp = signal_stack_.data();
  stack.ss_size = signal_stack_.size();
  sigaltstack(&stack, nullptr);
  active = this;
  for (const int signal : kFaults) {
    handle(signal, &ScriptGuard::on_signal);
  }
  handle(kScriptTimeoutSignal, &ScriptGuard::on_signal);
  on_exit(&ScriptGuard::on_exit_call, this);
}

// Nothing here has a destructor that a jump back would pass over. The jump does not restore the
// signal mask, because saving it would cost every request a system call.
bool ScriptGuard::run(void (*script)(), std::uint32_t service, Hook hook) {
  if (script == nullptr) {
    return true;
  }
  slot_.script.enter(service, hook);
  if (sigsetjmp(landing_, 0) == 0) {
    script();
    slot_.script.leave();
    return true;
  }
  has_left_script_ = true;
  slot_.script.leave();
  unblock_handled();
  return false;
}

// The way back exists in the thread and process that run() was called in: not in a thread or child
// that the script has made.
bool ScriptGuard::may_leave() const noexcept {
  return holds == 0 && slot_.script.running() &&
         getpid() == slot_.pid.load(std::memory_order_relaxed) && gettid() == getpid();
}

void ScriptGuard::on_signal(int signal) {
  if (signal == kScriptTimeoutSignal && holds != 0) {
    timeout_is_due = 1;
    return;
  }
  if (active != nullptr && active->may_leave()) {
    const ScriptActivity& script = active->slot_.script;
    // The parent's signal may arrive when the script that it was meant for has just returned.
    if (signal == kScriptTimeoutSignal && script.overdue.load() != script.count.load()) {
      return;
    }
    active->report(signal, 0);
    siglongjmp(active->landing_, 1);
  }
  if (signal != kScriptTimeoutSignal) {
    std::signal(signal, SIG_DFL);
    raise(signal);  // once the handler has returned
  }
}

// Scripts call exit() on this process, which is not theirs. glibc lets a handler leave by a jump
// and goes on with the remaining handlers at the next exit(), so the handler is put back in place.
void ScriptGuard::on_exit_call(int status, void* guard) {
  auto* const self = static_cast<ScriptGuard*>(guard);
  if (active != self || !self->may_leave()) {
    return;
  }
  on_exit(&ScriptGuard::on_exit_call, guard);
  self->report(0, status);
  siglongjmp(self->landing_, 1);
}

void ScriptGuard::report(int signal, int status) const noexcept {
  WorkerReport report;
  report.pid = slot_.pid.load(std::memory_order_relaxed);
  report.kind = WorkerReport::Kind::script_failed;
  report.service = slot_.script.service.load(std::memory_order_relaxed);
  report.hook = slot_.script.hook.load(std::memory_order_relaxed);
  report.signal = signal;
  report.status = status;
  send_report(report_pipe_, report);
}

}  // namespace vsd
