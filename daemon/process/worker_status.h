// What the parent and the workers tell each other about themselves, in memory that they share:
// which workers there are and what they do, and which services are out of service. Everybody reads
// all of it; who writes what is said beside each field. Plain atomics, no locks: a worker may die
// anywhere.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "daemon/process/shared_array.h"

namespace vsd {

// Where a script is called.
enum class Hook : std::uint32_t { none, post_recv, pre_send };

[[nodiscard]] const char* to_string(Hook hook) noexcept;

// What runs in a worker, so that the parent sees when it is stuck and what it died of. Written by
// the worker.
struct ScriptActivity {
  std::atomic<std::uint32_t> count;    // odd while a script runs; changes with every run
  std::atomic<std::uint32_t> service;  // number in the image of the worker's generation
  std::atomic<Hook> hook;
  std::atomic<std::uint32_t> overdue;  // by the parent: the `count` of a run that is to end
  std::atomic<std::uint32_t> lengthy;  // by the parent: of one that others have waited for too long

  // There is one writer, so no locked addition.
  void enter(std::uint32_t number, Hook in) noexcept {
    service.store(number, std::memory_order_relaxed);
    hook.store(in, std::memory_order_relaxed);
    step();
  }
  void leave() noexcept { step(); }
  [[nodiscard]] bool running() const noexcept {
    return count.load(std::memory_order_acquire) % 2 != 0;
  }
  // Whether it keeps the worker from everything else.
  [[nodiscard]] bool is_lengthy() const noexcept {
    return running() &&
           lengthy.load(std::memory_order_relaxed) == count.load(std::memory_order_relaxed);
  }

 private:
  void step() noexcept {
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  }
};

enum class WorkerState : std::uint32_t {
  none,      // the slot is free
  starting,  // forked, not serving yet
  serving,
  draining,  // accepts nothing more, finishes what it has
};

// One worker process. Set by the parent but for `state` and `served`, which are the worker's own
// while it runs.
struct alignas(64) WorkerSlot {
  std::atomic<WorkerState> state;
  std::atomic<std::int32_t> pid;
  std::atomic<std::uint32_t> number;      // 0 .. workers - 1; its successors have the same one
  std::atomic<std::uint32_t> generation;  // of the services that it serves; never changes
  std::atomic<std::uint32_t> restarts;    // how often workers of this number have been replaced
                                          // because they failed
  ScriptActivity script;
  std::atomic<std::uint64_t> served;  // requests that reached a service

  // Whether new requests of this generation are answered here, and soon.
  [[nodiscard]] bool serves(std::uint32_t of_generation) const noexcept {
    return state.load(std::memory_order_acquire) == WorkerState::serving &&
           generation.load(std::memory_order_relaxed) == of_generation && !script.is_lengthy();
  }

  void count_served() noexcept {
    served.store(served.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
};

// Of the daemon as a whole. Written by the parent.
struct DaemonStatus {
  std::atomic<std::int32_t> parent;           // its process id
  std::atomic<std::uint32_t> generation;      // that new requests are served by; counted from 1
  std::atomic<std::uint64_t> restarts;        // of all workers
  std::atomic<std::uint64_t> reloads;         // that took effect
  std::atomic<std::uint64_t> failed_reloads;  // that changed nothing
};

class WorkerStatus {
 public:
  // Slots for `workers` processes of each of several generations. Throws std::system_error.
  explicit WorkerStatus(std::size_t workers);

  [[nodiscard]] std::size_t workers() const noexcept { return workers_; }
  [[nodiscard]] DaemonStatus& daemon() const noexcept { return daemon_[0]; }
  [[nodiscard]] const SharedArray<WorkerSlot>& slots() const noexcept { return slots_; }

  // How many of the worker numbers have a worker of the current generation that serves: there may
  // be two of a number while one is replaced.
  [[nodiscard]] std::size_t serving() const;
  [[nodiscard]] bool all_serving() const { return serving() == workers_; }

  // Asks the parent to load the services anew, as `vsd reload` does; returns at once. From any
  // process of the daemon. False when the parent cannot be told.
  [[nodiscard]] bool request_reload() const noexcept;

 private:
  std::size_t workers_;
  SharedArray<DaemonStatus> daemon_{1};
  SharedArray<WorkerSlot> slots_;
};

// One service of one generation. Written by the parent.
struct ServiceState {
  std::atomic<std::uint32_t> crashes;  // runs of its script that failed or took too long
  std::atomic<bool> out_of_service;    // it crashed too often: answered with 503
};

// By the service's number in the image of its generation.
using ServiceStates = SharedArray<ServiceState>;

}  // namespace vsd
