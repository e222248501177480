// What finding the service costs, from 10 to 10,000 services, beside the lookup of the whole path
// in a std::unordered_map. `ratio` is ours / reference, `growth` what the same benchmark costs with
// ten services taken as 1, `reference_growth` the same of the reference, `allocations` those of a
// match.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <map>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "daemon/service/match/service_matcher.h"
#include "daemon/service/service_image.h"

namespace {

std::size_t allocation_count = 0;

}  // namespace

// Counting replaces the global operators: a match must not reach them. Not inlined, because gcc
// takes free() behind an inlined operator for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocation_count;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using vsd::http::Request;

constexpr std::string_view kHead =
    "GET /x HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nUser-Agent: load/1.0\r\nX-Env: test\r\n\r\n";

struct Hash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text);
  }
};
using PathMap = std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>>;

enum class Urls { exact, wildcard, mixed };

// Services, their paths as requests have them, and the same paths in a map.
class Setup {
 public:
  Setup(Urls urls, std::size_t count, bool with_condition) : services_(count) {
    for (std::size_t i = 0; i < count; ++i) {
      vsd::ServiceDefinition& service = services_[i];
      const std::string number = std::to_string(i);
      const bool is_wildcard = urls == Urls::wildcard || (urls == Urls::mixed && i % 2 == 1);
      service.name = "service" + number;
      service.methods = {"GET"};
      service.url = "/shop/v1/item" + number + (is_wildcard ? "/*/status" : "/4711/status");
      if (with_condition) {
        vsd::ConditionDefinition& condition = service.conditions.emplace_back();
        condition.subject = vsd::ConditionSubject::header;
        condition.name = "X-Env";
        condition.test = vsd::ConditionTest::equals;
        condition.value = "test";
      }
      paths_.push_back("/shop/v1/item" + number + "/4711/status");
      map_.emplace(paths_.back(), i);
    }
    std::shuffle(paths_.begin(), paths_.end(), std::minstd_rand(1));
    image_.emplace(vsd::ServiceImage::build(services_));
    matcher_.emplace(*image_);
    request_.method = "GET";
    request_.head = kHead;
  }

  bool find_ours() {
    request_.target = next_path();
    const vsd::ServiceMatch match = matcher_->match(request_);
    matcher_->end();
    return match.service.has_value();
  }
  bool find_in_map() { return map_.find(next_path()) != map_.end(); }

 private:
  std::string_view next_path() {
    position_ = position_ + 1 == paths_.size() ? 0 : position_ + 1;
    return paths_[position_];
  }

  std::vector<vsd::ServiceDefinition> services_;
  std::vector<std::string> paths_;
  PathMap map_;
  std::optional<vsd::ServiceImage> image_;
  std::optional<vsd::ServiceMatcher> matcher_;
  Request request_;
  std::size_t position_ = 0;
};

double cpu_nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <typename Find>
double nanoseconds_per_call(Find find) {
  constexpr int kCalls = 20000;
  const double start = cpu_nanoseconds();
  for (int i = 0; i < kCalls; ++i) {
    if (!find()) {
      std::abort();
    }
  }
  return (cpu_nanoseconds() - start) / kCalls;
}

// The best of alternating rounds, so that other work on the machine disturbs both alike.
void run(benchmark::State& state, Urls urls, bool with_condition) {
  const auto count = static_cast<std::size_t>(state.range(0));
  Setup setup(urls, count, with_condition);
  const auto ours = [&setup] { return setup.find_ours(); };
  const auto reference = [&setup] { return setup.find_in_map(); };
  double best_ours = nanoseconds_per_call(ours);
  double best_reference = nanoseconds_per_call(reference);
  const std::size_t before = allocation_count;
  for (auto _ : state) {
    best_ours = std::min(best_ours, nanoseconds_per_call(ours));
    best_reference = std::min(best_reference, nanoseconds_per_call(reference));
  }
  state.counters["allocations"] = static_cast<double>(allocation_count - before);
  state.counters["ours_ns"] = best_ours;
  state.counters["reference_ns"] = best_reference;
  state.counters["ratio"] = best_ours / best_reference;
  static std::map<std::pair<Urls, bool>, std::pair<double, double>> of_ten;
  const auto& first =
      of_ten.emplace(std::pair(urls, with_condition), std::pair(best_ours, best_reference))
          .first->second;
  state.counters["growth"] = best_ours / first.first;
  state.counters["reference_growth"] = best_reference / first.second;
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Iterations(15);
}
BENCHMARK_CAPTURE(run, exact, Urls::exact, false)->Apply(sizes);
BENCHMARK_CAPTURE(run, wildcard, Urls::wildcard, false)->Apply(sizes);
BENCHMARK_CAPTURE(run, mixed, Urls::mixed, false)->Apply(sizes);
BENCHMARK_CAPTURE(run, header_condition, Urls::exact, true)->Apply(sizes);

// What a request that no service fits costs: every service is compared.
void nearest(benchmark::State& state) {
  std::vector<vsd::ServiceDefinition> services(static_cast<std::size_t>(state.range(0)));
  for (std::size_t i = 0; i < services.size(); ++i) {
    services[i].name = std::to_string(i);
    services[i].methods = {"GET"};
    services[i].url = "/shop/v1/item" + services[i].name + "/status";
  }
  const vsd::ServiceImage image = vsd::ServiceImage::build(services);
  vsd::ServiceMatcher matcher(image);
  Request request;
  request.method = "GET";
  request.target = "/shop/v1/item5/stats";
  request.head = kHead;
  for (auto _ : state) {
    benchmark::DoNotOptimize(matcher.match(request));
    benchmark::DoNotOptimize(matcher.near_misses());
  }
}
BENCHMARK(nearest)->Arg(10)->Arg(10000);

}  // namespace
