// Two sides that take turns within one measurement, so that load of the machine meets both.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace wz::bench {

inline double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Seconds of one of `calls` calls.
template <typename Call>
double seconds_per_call(Call& call, std::size_t calls) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  for (std::size_t i = 0; i < calls; ++i) {
    call();
    benchmark::ClobberMemory();
  }
  return std::chrono::duration<double>(Clock::now() - start).count() / static_cast<double>(calls);
}

struct Medians {
  double ours;  // seconds of a call
  double reference;
};

// Each iteration times `calls` calls of both sides. The counter `ratio` is ours / reference of the
// medians (below 1: ours is faster).
template <typename Ours, typename Reference>
Medians alternate(benchmark::State& state, std::size_t calls, Ours ours, Reference reference) {
  std::vector<double> our_times;
  std::vector<double> reference_times;
  for (auto _ : state) {
    our_times.push_back(seconds_per_call(ours, calls));
    reference_times.push_back(seconds_per_call(reference, calls));
  }
  const Medians medians{median(our_times), median(reference_times)};
  state.counters["ratio"] = medians.ours / medians.reference;
  return medians;
}

// The same for calls that do `items` things each, with their nanoseconds as counters.
template <typename Ours, typename Reference>
void alternate_items(benchmark::State& state, std::size_t items, Ours ours, Reference reference) {
  const Medians medians = alternate(state, 1, ours, reference);
  state.counters["ours_ns"] = medians.ours / static_cast<double>(items) * 1e9;
  state.counters["ref_ns"] = medians.reference / static_cast<double>(items) * 1e9;
}

}  // namespace wz::bench
