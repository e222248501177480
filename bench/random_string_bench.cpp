// A random string beside a bare loop over std::mt19937_64 that makes the same; what fake values
// cost.
#include <benchmark/benchmark.h>
#include <wz/wzlb.h>
#include <wz/wzlb_faker.h>

#include <array>
#include <cstdlib>
#include <random>
#include <string_view>

namespace {

constexpr int kLength = 16;
constexpr std::string_view kCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
char char_set[] = "a-zA-Z0-9";

void random_string(benchmark::State& state) {
  for (auto _ : state) {
    int length = 0;
    char* value = wzlb_get_random_string(kLength, kLength, char_set, &length);
    benchmark::DoNotOptimize(value);
    WZLB_FREE(value, "bench", -1);
  }
}
BENCHMARK(random_string);

void bare_mt19937_64(benchmark::State& state) {
  std::mt19937_64 generator(1);
  std::uniform_int_distribution<std::size_t> position(0, kCharacters.size() - 1);
  for (auto _ : state) {
    char* value = static_cast<char*>(std::calloc(1, kLength + 1));
    for (int i = 0; i < kLength; ++i) {
      value[i] = kCharacters[position(generator)];
    }
    benchmark::DoNotOptimize(value);
    std::free(value);
  }
}
BENCHMARK(bare_mt19937_64);

// What no random string of this length can do without: a rand() for the length and for each
// character.
void bare_rand(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i <= kLength; ++i) {
      benchmark::DoNotOptimize(std::rand());
    }
  }
}
BENCHMARK(bare_rand);

// As a declared variable gets it: by id, arguments read long ago.
void fake(benchmark::State& state, const char* text) {
  const int id = wzlb_faker_class_to_id(text);
  for (auto _ : state) {
    benchmark::DoNotOptimize(wzlb_faker_get_by_id(id, nullptr));
  }
}
BENCHMARK_CAPTURE(fake, name, "person.name");
BENCHMARK_CAPTURE(fake, german_name, "person.name;locale=de");
BENCHMARK_CAPTURE(fake, address, "address.full");
BENCHMARK_CAPTURE(fake, email, "internet.email");
BENCHMARK_CAPTURE(fake, iban, "finance.iban");
BENCHMARK_CAPTURE(fake, uuid, "id.uuid");

// As a row of the host's table gets it: a block of its own.
void fake_name_for_a_row(benchmark::State& state) {
  RandomStringTableEntry row{};
  row.faker_class_id = wzlb_faker_class_to_id("person.name");
  row.faker_class_args = WZ_BIGBUF_UNSET;
  for (auto _ : state) {
    char* value = nullptr;
    int length = 0;
    wzlb_fill_fake_data(&row, &value, &length);
    benchmark::DoNotOptimize(value);
    WZLB_FREE(value, "bench", -1);
  }
}
BENCHMARK(fake_name_for_a_row);

}  // namespace
