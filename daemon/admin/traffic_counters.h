// What has been served, counted in memory that all processes of the daemon share: for each worker
// slot a block with a row per service. A slot belongs to one process at a time, so each counter has
// one writer and counting needs no locked instruction; the counts outlive the worker.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "daemon/process/shared_array.h"

namespace vsd {

// Upper bounds of the latency histogram's buckets, in seconds; one more has no bound.
inline constexpr std::array<double, 15> kLatencyBounds = {
    0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 10};

// The counts of one service, added up over the workers.
struct ServiceTotals {
  struct Status {
    unsigned status = 0;  // 0: nothing was sent that has a status
    std::uint64_t count = 0;
  };
  std::vector<Status> statuses;  // by status; those that did not find room are kOtherStatus
  std::array<std::uint64_t, kLatencyBounds.size() + 1> latencies{};  // by bucket, not cumulative
  std::chrono::nanoseconds latency_sum{0};

  [[nodiscard]] std::uint64_t requests() const noexcept;
};
inline constexpr unsigned kOtherStatus = 0xFFFE;

// What a worker has under way at the moment.
struct WorkerGauges {
  std::atomic<std::uint64_t> connections;
  std::atomic<std::uint64_t> waiting;  // answers that wait for their service time
};

class TrafficCounters {
 public:
  // Throws std::system_error.
  TrafficCounters(std::size_t slots, std::size_t rows)
      : rows_(rows), counters_(slots * rows), gauges_(slots) {}

  [[nodiscard]] std::size_t rows() const noexcept { return rows_; }
  [[nodiscard]] std::size_t slots() const noexcept { return gauges_.size(); }
  [[nodiscard]] WorkerGauges& gauges(std::size_t slot) const noexcept { return gauges_[slot]; }

  // By the worker of `slot` alone.
  void count_answer(std::size_t slot, std::size_t row, unsigned status) const noexcept;
  void count_latency(std::size_t slot, std::size_t row,
                     std::chrono::nanoseconds latency) const noexcept;

  [[nodiscard]] ServiceTotals totals(std::size_t row) const;

 private:
  static constexpr std::size_t kStatuses = 8;  // different ones that a service keeps apart

  struct alignas(64) Row {
    // Each a status + 1 in the upper 16 bits and its count; 0: free. The last takes what finds no
    // room.
    std::array<std::atomic<std::uint64_t>, kStatuses> statuses;
    std::array<std::atomic<std::uint64_t>, kLatencyBounds.size() + 1> latencies;
    std::atomic<std::uint64_t> nanoseconds;
  };

  [[nodiscard]] Row& at(std::size_t slot, std::size_t row) const noexcept {
    return counters_[slot * rows_ + row];
  }

  std::size_t rows_;
  SharedArray<Row> counters_;
  SharedArray<WorkerGauges> gauges_;
};

}  // namespace vsd
