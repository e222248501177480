// What workers tell the parent, over one pipe: records that are small enough to be written whole,
// also from a signal handler.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <type_traits>

#include "daemon/process/worker_status.h"

namespace vsd {

struct WorkerReport {
  enum class Kind : std::uint32_t {
    ready,          // it serves
    script_failed,  // it has ended a script that failed, and will serve no longer than it must
    retired,        // it accepts no more connections
  };

  std::int32_t pid = 0;
  Kind kind = Kind::ready;
  std::uint32_t service = 0;  // the others are of a script that failed
  Hook hook = Hook::none;
  std::int32_t signal = 0;  // 0: the script called exit()
  std::int32_t status = 0;  // ... with this
};

static_assert(std::is_trivially_copyable_v<WorkerReport> && sizeof(WorkerReport) <= PIPE_BUF);

// Safe in a signal handler. A report that cannot be written is lost: the parent is gone then.
inline void send_report(int pipe, const WorkerReport& report) noexcept {
  while (write(pipe, &report, sizeof report) < 0 && errno == EINTR) {
  }
}

}  // namespace vsd
