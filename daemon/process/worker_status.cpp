#include "daemon/process/worker_status.h"

#include <algorithm>
#include <csignal>
#include <vector>

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

std::size_t WorkerStatus::serving() const {
  const auto current = daemon().generation.load(std::memory_order_acquire);
  std::vector<bool> served(workers_);
  for (const WorkerSlot& slot : slots_.all()) {
    const std::uint32_t number = slot.number.load(std::memory_order_relaxed);
    if (slot.serves(current) && number < workers_) {
      served[number] = true;
    }
  }
  return static_cast<std::size_t>(std::count(served.begin(), served.end(), true));
}

bool WorkerStatus::request_reload() const noexcept {
  const auto parent = daemon().parent.load(std::memory_order_acquire);
  return parent > 0 && kill(parent, SIGHUP) == 0;
}

}  // namespace vsd
