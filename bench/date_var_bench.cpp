// A date variable's value beside the bare calls that it cannot do without: a block, the broken-down
// time and strftime.
#include <benchmark/benchmark.h>
#include <wz/wzlb.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

char date_format[] = "%Y-%m-%d %H:%M:%S";
char millisecond_format[] = "%Y-%m-%d %H:%M:%S.%MS";

void format_value(benchmark::State& state, char* format, int day_type) {
  const int length = static_cast<int>(std::strlen(format));
  for (auto _ : state) {
    int total = 0;
    char* value =
        wzlb_get_formated_cur_date(length, format, 1, 60, day_type, 0, nullptr, 1, &total);
    benchmark::DoNotOptimize(value);
    WZLB_FREE(value, "bench", -1);
  }
}
BENCHMARK_CAPTURE(format_value, date, date_format, 0);
BENCHMARK_CAPTURE(format_value, milliseconds, millisecond_format, 0);
BENCHMARK_CAPTURE(format_value, working_day, date_format, 1);

void bare_strftime(benchmark::State& state) {
  constexpr std::size_t kSize = sizeof date_format + 199;
  for (auto _ : state) {
    const time_t time = std::time(nullptr) + 86400 + 60;
    tm date{};
    localtime_r(&time, &date);
    char* value = static_cast<char*>(std::calloc(1, kSize));
    benchmark::DoNotOptimize(std::strftime(value, kSize, "%Y-%m-%d %H:%M:%S", &date));
    std::free(value);
  }
}
BENCHMARK(bare_strftime);

}  // namespace
