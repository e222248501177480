// Small things that several pages say.
#pragma once

#include <algorithm>
#include <string>

#include "daemon/admin/traffic_counters.h"
#include "daemon/process/worker_status.h"

namespace vsd {

// Workers of the current generation that serve.
[[nodiscard]] inline std::size_t serving_workers(const WorkerStatus& status) noexcept {
  const auto slots = status.slots().all();
  const auto current = status.daemon().generation.load(std::memory_order_acquire);
  return static_cast<std::size_t>(std::count_if(
      slots.begin(), slots.end(), [&](const WorkerSlot& slot) { return slot.serves(current); }));
}

// "200"; "none" for answers that sent no status on purpose.
[[nodiscard]] inline std::string status_label(unsigned status) {
  if (status == 0) {
    return "none";
  }
  return status == kOtherStatus ? "other" : std::to_string(status);
}

}  // namespace vsd
