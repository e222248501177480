// Small things that several pages say.
#pragma once

#include <string>

#include "daemon/admin/traffic_counters.h"
#include "daemon/process/worker_status.h"

namespace vsd {

// Workers of the current generation that serve.
[[nodiscard]] inline std::size_t serving_workers(const WorkerStatus& status) noexcept {
  std::size_t count = 0;
  for (const WorkerSlot& slot : status.slots().all()) {
    count += slot.state.load(std::memory_order_acquire) == WorkerState::serving &&
                     slot.generation.load(std::memory_order_relaxed) ==
                         status.daemon().generation.load(std::memory_order_relaxed)
                 ? 1U
                 : 0U;
  }
  return count;
}

// "200"; "none" for answers that sent no status on purpose.
[[nodiscard]] inline std::string status_label(unsigned status) {
  if (status == 0) {
    return "none";
  }
  return status == kOtherStatus ? "other" : std::to_string(status);
}

}  // namespace vsd
