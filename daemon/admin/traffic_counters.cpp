#include "daemon/admin/traffic_counters.h"

#include <algorithm>

namespace vsd {
namespace {

constexpr unsigned kStatusShift = 48;
constexpr std::uint64_t kCountMask = (std::uint64_t{1} << kStatusShift) - 1;

// There is one writer, so no locked addition.
void add(std::atomic<std::uint64_t>& counter, std::uint64_t count) noexcept {
  counter.store(counter.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

std::size_t bucket_of(std::chrono::nanoseconds latency) noexcept {
  const double seconds = std::chrono::duration<double>(latency).count();
  return static_cast<std::size_t>(
      std::lower_bound(kLatencyBounds.begin(), kLatencyBounds.end(), seconds) -
      kLatencyBounds.begin());
}

}  // namespace

std::uint64_t ServiceTotals::requests() const noexcept {
  std::uint64_t sum = 0;
  for (const Status& status : statuses) {
    sum += status.count;
  }
  return sum;
}

void TrafficCounters::count_answer(std::size_t slot, std::size_t row,
                                   unsigned status) const noexcept {
  auto& statuses = at(slot, row).statuses;
  const std::uint64_t own = (status + std::uint64_t{1}) << kStatusShift;
  for (std::size_t i = 0; i + 1 < kStatuses; ++i) {
    const std::uint64_t value = statuses[i].load(std::memory_order_relaxed);
    if (value == 0 || (value & ~kCountMask) == own) {
      statuses[i].store((own | (value & kCountMask)) + 1, std::memory_order_relaxed);
      return;
    }
  }
  add(statuses.back(), 1);
}

void TrafficCounters::count_latency(std::size_t slot, std::size_t row,
                                    std::chrono::nanoseconds latency) const noexcept {
  Row& counters = at(slot, row);
  add(counters.latencies[bucket_of(latency)], 1);
  add(counters.nanoseconds, static_cast<std::uint64_t>(std::max(latency.count(), 0L)));
}

ServiceTotals TrafficCounters::totals(std::size_t row) const {
  ServiceTotals totals;
  const auto add_status = [&totals](unsigned status, std::uint64_t count) {
    const auto place =
        std::lower_bound(totals.statuses.begin(), totals.statuses.end(), status,
                         [](const auto& known, unsigned other) { return known.status < other; });
    if (place != totals.statuses.end() && place->status == status) {
      place->count += count;
    } else if (count > 0) {
      totals.statuses.insert(place, {status, count});
    }
  };
  for (std::size_t slot = 0; slot < slots(); ++slot) {
    const Row& counters = at(slot, row);
    for (std::size_t i = 0; i < kStatuses; ++i) {
      const std::uint64_t value = counters.statuses[i].load(std::memory_order_relaxed);
      const auto status = static_cast<unsigned>(value >> kStatusShift) - 1;
      add_status(i + 1 < kStatuses ? status : kOtherStatus, value & kCountMask);
    }
    for (std::size_t i = 0; i < totals.latencies.size(); ++i) {
      totals.latencies[i] += counters.latencies[i].load(std::memory_order_relaxed);
    }
    totals.latency_sum +=
        std::chrono::nanoseconds(counters.nanoseconds.load(std::memory_order_relaxed));
  }
  return totals;
}

}  // namespace vsd
