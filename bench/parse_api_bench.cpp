// Declaration lines per second, beside a scan of the same line with strtok_r that knows neither
// quotes nor escapes nor errors. Both fill the same record, which is zeroed for every line;
// zeroing_alone shows how much of the time that is.
#include <benchmark/benchmark.h>
#include <wz/wzlb.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

// range(0) 0: a declaration as people write it; else a line with that many fields.
std::string line_for(const benchmark::State& state) {
  if (state.range(0) == 0) {
    return R"(DateTime(today, format="%Y-%m-%d %H:%M", offset=-1.02:00:00, DayType=WORKING);)";
  }
  std::string line = "Api(name";
  for (int i = 1; i < state.range(0); ++i) {
    line += R"(, keyword=" a longer value, quoted ")";
  }
  return line + ")";
}

WZApi& record() {
  static const auto api = std::make_unique<WZApi>();
  return *api;
}

void parse_line(benchmark::State& state) {
  std::string line = line_for(state);
  std::string message(2 * line.size() + 1024, '\0');
  char file[] = "service.wz";
  for (auto _ : state) {
    if (parse_api_ex(&record(), line.data(), file, message.data(), 1, 1, 1) != 0) {
      state.SkipWithError(message.c_str());
    }
    benchmark::DoNotOptimize(record());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(parse_line)->Arg(0)->Arg(64)->Arg(255);

void scan_with_strtok(const std::string& line, WZApi& api) {
  std::string copy = line;
  char* position = nullptr;
  std::strncpy(api.api_name, strtok_r(copy.data(), "(", &position), WZ_API_MAX_NAME);
  while (char* keyword = strtok_r(nullptr, "=,)", &position)) {
    if (*keyword == ';') {
      break;
    }
    WZApiFields& field = api.api_fields[api.num_tokens++];
    std::memcpy(field.keyword, keyword, std::strlen(keyword) + 1);
    if (char* value = strtok_r(nullptr, ",)", &position)) {
      std::memcpy(field.value, value, std::strlen(value) + 1);
    }
  }
}

void strtok_line(benchmark::State& state) {
  const std::string line = line_for(state);
  for (auto _ : state) {
    std::memset(&record(), 0, sizeof(WZApi));
    scan_with_strtok(line, record());
    benchmark::DoNotOptimize(record());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(strtok_line)->Arg(0)->Arg(64)->Arg(255);

void zeroing_alone(benchmark::State& state) {
  for (auto _ : state) {
    std::memset(&record(), 0, sizeof(WZApi));
    benchmark::DoNotOptimize(record());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(zeroing_alone);

}  // namespace
