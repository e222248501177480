#include "daemon/process/worker_status.h"

#include <algorithm>
#include <csignal>

namespace vsd {
namespace {

// Generations that may be on their way out while a new one starts.
constexpr std::size_t kGenerations = 8;

}  // namespace

const char* to_string(Hook hook) noexcept {
  switch (hook) {
    case Hook::none:
      break;
    case Hook::post_recv:
      return "post_recv";
    case Hook::pre_send:
      return "pre_send";
  }
  return "no hook";
}

WorkerStatus::WorkerStatus(std::size_t workers)
    : workers_(workers), slots_(workers * kGenerations) {}

bool WorkerStatus::all_serving() const noexcept {
  const auto current = daemon().generation.load(std::memory_order_acquire);
  const auto slots = slots_.all();
  const auto serving = std::count_if(slots.begin(), slots.end(), [current](const WorkerSlot& slot) {
    return slot.state.load(std::memory_order_acquire) == WorkerState::serving &&
           slot.generation.load(std::memory_order_relaxed) == current;
  });
  return static_cast<std::size_t>(serving) >= workers_;
}

bool WorkerStatus::request_reload() const noexcept {
  const auto parent = daemon().parent.load(std::memory_order_acquire);
  return parent > 0 && kill(parent, SIGHUP) == 0;
}

}  // namespace vsd
