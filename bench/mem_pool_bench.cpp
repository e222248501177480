// A slot taken and given back against malloc and free of the same size, in one thread.
#include <wz/wzlb.h>

#include <array>
#include <cstdlib>

#include "bench/alternate.h"

namespace {

constexpr std::size_t kPairs = 10000;

using Free = void (*)(wzlb_mp_handler*, void*);

class Pool {
 public:
  explicit Pool(benchmark::State& state) {
    wzlb_mp_init(&handler_, static_cast<int>(state.range(0)), 64, 16, 0);
  }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  ~Pool() { wzlb_mp_destroy(&handler_); }
  wzlb_mp_handler* handler() { return &handler_; }

 private:
  wzlb_mp_handler handler_{};
};

template <Free free_slot>
void Pair(benchmark::State& state) {
  Pool pool(state);
  const auto size = static_cast<std::size_t>(state.range(0));
  wz::bench::alternate_items(
      state, kPairs,
      [&] {
        for (std::size_t i = 0; i < kPairs; ++i) {
          void* slot = wzlb_mp_get_slot(pool.handler());
          benchmark::DoNotOptimize(slot);
          free_slot(pool.handler(), slot);
        }
      },
      [&] {
        for (std::size_t i = 0; i < kPairs; ++i) {
          void* block = std::malloc(size);
          benchmark::DoNotOptimize(block);
          std::free(block);
        }
      });
}

// Forty taken, forty given back, as by a request that keeps records until its end.
template <Free free_slot>
void Batch(benchmark::State& state) {
  Pool pool(state);
  const auto size = static_cast<std::size_t>(state.range(0));
  std::array<void*, 40> held{};
  const auto run = [&held](auto take, auto release) {
    for (std::size_t i = 0; i < kPairs / held.size(); ++i) {
      for (void*& each : held) {
        each = take();
      }
      benchmark::ClobberMemory();
      for (void* each : held) {
        release(each);
      }
    }
  };
  wz::bench::alternate_items(
      state, kPairs,
      [&] {
        run([&] { return wzlb_mp_get_slot(pool.handler()); },
            [&](void* slot) { free_slot(pool.handler(), slot); });
      },
      [&] { run([&] { return std::malloc(size); }, [](void* block) { std::free(block); }); });
}

BENCHMARK(Pair<wzlb_mp_free_slot>)->Arg(64)->Arg(2048)->MinTime(0.2);
BENCHMARK(Pair<wzlb_mp_free_slot_ex>)->Arg(64)->Arg(2048)->MinTime(0.2);
BENCHMARK(Batch<wzlb_mp_free_slot>)->Arg(64)->Arg(2048)->MinTime(0.2);
BENCHMARK(Batch<wzlb_mp_free_slot_ex>)->Arg(64)->Arg(2048)->MinTime(0.2);

}  // namespace
