#include "daemon/admin/admin_process.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>

#include "daemon/admin/admin_handler.h"
#include "daemon/http/server.h"
#include "daemon/process/generation.h"

namespace vsd {
namespace {

constexpr std::chrono::seconds kStableAfter{1};

// Operators and scrapers, not traffic.
HttpLimits admin_limits() {
  HttpLimits limits;
  limits.max_header_bytes = 16 * 1024;
  limits.max_body_bytes = 64 * 1024;
  limits.max_connections = 64;
  return limits;
}

// What the parent tells the process. Blocked from before it is forked until it can listen.
sigset_t own_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, kStopSignal);
  sigaddset(&signals, kRetireSignal);
  return signals;
}

}  // namespace

AdminProcess::AdminProcess(ListenAddress address)
    : address_(std::move(address)), listener_(open_listener(address_)) {
  address_.port = listener_.port;
}

AdminProcess::~AdminProcess() {
  if (pid_ > 0) {
    kill(pid_, kStopSignal);
  }
}

void AdminProcess::start(std::function<AdminView()> make_view) {
  make_view_ = std::move(make_view);
  started_ = std::chrono::steady_clock::now();
  std::fflush(nullptr);  // a child must not write what the parent has buffered a second time
  const sigset_t own = own_signals();
  sigset_t former;
  sigprocmask(SIG_BLOCK, &own, &former);
  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, kStopSignal);
    if (getppid() == parent) {
      serve();
    }
    std::_Exit(0);
  }
  const int error = errno;
  sigprocmask(SIG_SETMASK, &former, nullptr);
  if (pid < 0) {
    std::fprintf(stderr, "vsd: cannot start the admin process: %s\n",
                 std::generic_category().message(error).c_str());
    return;
  }
  if (pid_ > 0) {
    kill(pid_, kRetireSignal);
  }
  pid_ = pid;
}

void AdminProcess::on_child_end(pid_t pid) {
  if (pid != pid_) {
    return;
  }
  pid_ = -1;
  if (std::chrono::steady_clock::now() - started_ < kStableAfter) {
    std::fprintf(stderr, "vsd: the admin process ended at once, it stays off until a reload\n");
    return;
  }
  std::fprintf(stderr, "vsd: the admin process ended, restarting\n");
  start(make_view_);
}

void AdminProcess::serve() {
  int status = 1;
  try {
    for (const int signal : {SIGINT, SIGHUP, kReopenSignal}) {
      std::signal(signal, SIG_IGN);  // the parent's, when a terminal or a script sends it to all
    }
    const AdminView view = make_view_();
    AdminHandler handler(view);
    const HttpLimits limits = admin_limits();
    http::Server server(limits, handler, listener_.socket.release(), &handover_);
    server.on_signal(kRetireSignal, [&server] { server.retire(); });
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    server.run();
    status = 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vsd: admin process: %s\n", error.what());
  }
  std::_Exit(status);  // what the parent has open is the parent's to close
}

}  // namespace vsd
