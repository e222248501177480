// Measures two ways to the same result in turns, so that other work on the machine meets both, and
// reports the medians and `ratio`, which is ours / reference (below 1: ours is faster).
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

inline double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Seconds of one call, measured over `calls` of them.
template <typename Call>
double seconds_per_call(Call& call, int calls) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  for (int i = 0; i < calls; ++i) {
    call();
    benchmark::ClobberMemory();
  }
  return std::chrono::duration<double>(Clock::now() - start).count() / calls;
}

struct Medians {
  double ours;       // seconds of one call
  double reference;  // the same
};

// A turn of either side is `calls` calls.
template <typename Ours, typename Reference>
Medians compare(benchmark::State& state, int calls, Ours ours, Reference reference) {
  std::vector<double> our_times;
  std::vector<double> reference_times;
  for (auto _ : state) {
    our_times.push_back(seconds_per_call(ours, calls));
    reference_times.push_back(seconds_per_call(reference, calls));
  }
  const Medians medians{.ours = median(our_times), .reference = median(reference_times)};
  state.counters["ours_ns"] = medians.ours * 1e9;
  state.counters["reference_ns"] = medians.reference * 1e9;
  state.counters["ratio"] = medians.ours / medians.reference;
  return medians;
}

}  // namespace bench
