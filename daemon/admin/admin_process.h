// The process that serves the admin listener: a child of the parent's own, so that it answers
// whatever the workers do and however long a build takes, and so that nothing that a client of it
// sends can harm the parent. It reads what the others write into shared memory.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>

#include "daemon/admin/admin_view.h"
#include "daemon/http/handover.h"
#include "daemon/process/listener.h"

namespace vsd {

class AdminProcess {
 public:
  // Opens the listener. Throws std::runtime_error when that cannot be.
  explicit AdminProcess(ListenAddress address);
  AdminProcess(const AdminProcess&) = delete;
  AdminProcess& operator=(const AdminProcess&) = delete;
  ~AdminProcess();  // the process ends when it has answered

  [[nodiscard]] std::string address() const { return to_string(address_); }

  // Starts a process that shows what `make_view` yields, which is called in it; one that runs
  // already leaves it listener and connections and ends. Prints why when it cannot be started.
  void start(std::function<AdminView()> make_view);

  // A child of the parent has ended: starts anew if it was this one, unless it has just been
  // started; then something is wrong for good, and the next start() tries again.
  void on_child_end(pid_t pid);

 private:
  [[noreturn]] void serve();

  ListenAddress address_;
  Listener listener_;
  http::HandoverChannel handover_;
  std::function<AdminView()> make_view_;
  pid_t pid_ = -1;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace vsd
