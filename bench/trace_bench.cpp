// What tracing costs where it is switched off, and what tracked allocation adds to malloc.
#include <benchmark/benchmark.h>
#include <wz/wzlb.h>

#include <cstdlib>

#include "libwzcore/internal/trace.h"

namespace {

void empty_loop(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(++value);
  }
}
BENCHMARK(empty_loop);

void disabled_trace(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(++value);
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_MISC, "value = %d", value);
  }
}
BENCHMARK(disabled_trace);

void disabled_call(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(++value);
    wzlb_debug_log_ex(WZLB_LEVEL_3, WZLB_MODULE_MISC, wz::mutable_text(__FILE_NAME__), __LINE__,
                      wz::mutable_text(__func__), const_cast<char*>("value = %d"), value);
  }
}
BENCHMARK(disabled_call);

void plain_malloc(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    void* block = std::malloc(size);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}
BENCHMARK(plain_malloc)->Arg(32)->Arg(4096);

void tracked_malloc(benchmark::State& state) {
  for (auto _ : state) {
    void* block = WZLB_MALLOC(state.range(0), "bench");
    benchmark::DoNotOptimize(block);
    WZLB_FREE(block, "bench", -1);
  }
}
BENCHMARK(tracked_malloc)->Arg(32)->Arg(4096);

// With a register of live blocks in the thread, which grows by an entry with each block.
void tracked_malloc_with_map(benchmark::State& state) {
  wzlb_mem_map_init();
  tracked_malloc(state);
  wzlb_mem_map_free();
}
BENCHMARK(tracked_malloc_with_map)->Arg(32)->Arg(4096)->Iterations(20000);

}  // namespace
