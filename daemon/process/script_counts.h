// Tells the parent when a worker is stuck in a script: each worker counts, in memory that it shares
// with the parent, when it enters script code and when it leaves it.
#pragma once

#include <atomic>
#include <cstddef>

namespace vsd {

// Odd while a script runs. Written by one worker, read by the parent.
using ScriptCount = std::atomic<unsigned>;

// Counts one run of script code for as long as it lives.
class ScriptRun {
 public:
  explicit ScriptRun(ScriptCount& count) noexcept : count_(count) { step(); }
  ScriptRun(const ScriptRun&) = delete;
  ScriptRun& operator=(const ScriptRun&) = delete;
  ~ScriptRun() { step(); }

 private:
  // There is one writer, so no locked addition.
  void step() noexcept {
    count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }

  ScriptCount& count_;
};

// One count per worker, each on a cache line of its own.
class ScriptCounts {
 public:
  explicit ScriptCounts(std::size_t workers);
  ScriptCounts(const ScriptCounts&) = delete;
  ScriptCounts& operator=(const ScriptCounts&) = delete;
  ~ScriptCounts();

  [[nodiscard]] ScriptCount& of(std::size_t worker) const noexcept { return lines_[worker].count; }

 private:
  struct alignas(64) Line {
    ScriptCount count;
  };

  std::size_t size_;
  Line* lines_;
};

}  // namespace vsd
