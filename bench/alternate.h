// Two sides that take turns within one measurement, so that load of the machine meets both.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <vector>

namespace wz::bench {

inline double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Processor time of the thread in seconds: a busy machine takes the time between, not this.
inline double thread_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Seconds of one of `calls` calls.
template <typename Call>
double seconds_per_call(Call& call, std::size_t calls) {
  const double start = thread_seconds();
  for (std::size_t i = 0; i < calls; ++i) {
    call();
    benchmark::ClobberMemory();
  }
  return (thread_seconds() - start) / static_cast<double>(calls);
}

struct Medians {
  double ours;  // seconds of a call
  double reference;
};

struct Nothing {
  void operator()() const {}
};

// Each iteration prepares both sides, then times `calls` calls of each. The counter `ratio` is ours
// / reference of the medians (below 1: ours is faster).
template <typename Ours, typename Reference, typename Prepare = Nothing>
Medians alternate(benchmark::State& state, std::size_t calls, Ours ours, Reference reference,
                  Prepare prepare = {}) {
  std::vector<double> our_times;
  std::vector<double> reference_times;
  for (auto _ : state) {
    prepare();
    our_times.push_back(seconds_per_call(ours, calls));
    reference_times.push_back(seconds_per_call(reference, calls));
  }
  const Medians medians{median(our_times), median(reference_times)};
  state.counters["ratio"] = medians.ours / medians.reference;
  return medians;
}

// The same for calls that do `items` things each, with their nanoseconds as counters.
template <typename Ours, typename Reference, typename Prepare = Nothing>
void alternate_items(benchmark::State& state, std::size_t items, Ours ours, Reference reference,
                     Prepare prepare = {}) {
  const Medians medians = alternate(state, 1, ours, reference, prepare);
  state.counters["ours_ns"] = medians.ours / static_cast<double>(items) * 1e9;
  state.counters["ref_ns"] = medians.reference / static_cast<double>(items) * 1e9;
}

}  // namespace wz::bench
