// A unique number against snprintf of a counter into the same kind of block, JavaScript against a
// bare engine that evaluates the same text and is destroyed.
#include <benchmark/benchmark.h>
#include <duktape.h>
#include <wz/wz_script.h>
#include <wz/wzlb.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace {

char unique_format[] = "%017lu";
char program[] = "1+2";

void unique_number(benchmark::State& state) {
  for (auto _ : state) {
    int length = 0;
    char* text = wzlb_get_unique_number(unique_format, 17, &length, 3, -1);
    benchmark::DoNotOptimize(text);
    WZLB_FREE(text, "bench", -1);
  }
}
BENCHMARK(unique_number);

void unique_number_reference(benchmark::State& state) {
  long counter = 0;
  for (auto _ : state) {
    auto* text = static_cast<char*>(WZLB_MALLOC(24, "bench"));
    std::snprintf(text, 24, "%017lu", ++counter);
    benchmark::DoNotOptimize(text);
    WZLB_FREE(text, "bench", -1);
  }
}
BENCHMARK(unique_number_reference);

void random_number(benchmark::State& state) {
  char format[] = "%06d";
  for (auto _ : state) {
    int length = 0;
    benchmark::DoNotOptimize(wzlb_get_random_number(1, 999999, format, 4, &length, 0));
  }
}
BENCHMARK(random_number);

void exec_js(benchmark::State& state) {
  std::array<char, 16> out{};
  std::array<char, 64> message{};
  for (auto _ : state) {
    wz_exec_js(WZ_JS_TEXT, program, WZ_JS_TEXT, out.data(), out.size(), message.data(),
               message.size());
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(exec_js);

void exec_js_reference(benchmark::State& state) {
  std::array<char, 16> out{};
  for (auto _ : state) {
    duk_context* context = duk_create_heap_default();
    duk_peval_string(context, program);
    std::strncpy(out.data(), duk_safe_to_string(context, -1), out.size() - 1);
    duk_destroy_heap(context);
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(exec_js_reference);

}  // namespace
