// 100,000 names in a table of 131072 heads against absl::flat_hash_map with lookup by string_view
// (absl's own, as Debian builds it). Both sides meet the same names in the same random order; each
// name has its length known.
#include <absl/container/flat_hash_map.h>
#include <absl/strings/string_view.h>
#include <wz/wzlb.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "bench/alternate.h"

namespace {

constexpr int kHeads = 131072;
constexpr int kNames = 100000;

using Map = absl::flat_hash_map<std::string, int>;

// Names of a kind: short numbered ones, or such as protocol headers have.
std::vector<std::string> make_names(bool long_names, int first) {
  std::vector<std::string> names;
  for (int i = first; i < first + kNames; ++i) {
    names.push_back(long_names ? "X-Service-" + std::to_string(i % 97) + "-Correlation-" +
                                     std::to_string(i)
                               : "name_" + std::to_string(i));
  }
  std::shuffle(names.begin(), names.end(), std::mt19937(7));
  return names;
}

class Table {
 public:
  Table() { wzlb_init_norm_id_table(&key_, kHeads); }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() { wzlb_obj_hash_destroy(&key_); }
  unsigned int insert(std::string& name) {
    return wzlb_get_or_gen_norm_id(&key_, name.data(), static_cast<int>(name.size()), nullptr);
  }
  int find(std::string& name) {
    return wzlb_get_norm_id(&key_, name.data(), static_cast<int>(name.size()));
  }

 private:
  NormObjKey key_{};
};

void insert_all(Map& map, const std::vector<std::string>& names) {
  int id = 0;
  for (const std::string& name : names) {
    map.try_emplace(absl::string_view(name), id++);
  }
}

template <typename Find>
long sum_of(std::vector<std::string>& names, Find find) {
  long sum = 0;
  for (std::string& name : names) {
    sum += find(name);
  }
  return sum;
}

void LookUp(benchmark::State& state, bool hit) {
  const bool long_names = state.range(0) != 0;
  std::vector<std::string> names = make_names(long_names, 0);
  Table table;
  Map map;
  for (std::string& name : names) {
    table.insert(name);
  }
  insert_all(map, names);
  std::vector<std::string> asked = make_names(long_names, hit ? 0 : kNames);
  std::shuffle(asked.begin(), asked.end(), std::mt19937(8));
  wz::bench::alternate_items(
      state, kNames,
      [&] {
        benchmark::DoNotOptimize(sum_of(asked, [&](std::string& n) { return table.find(n); }));
      },
      [&] {
        benchmark::DoNotOptimize(sum_of(asked, [&](const std::string& n) {
          const auto found = map.find(absl::string_view(n));
          return found != map.end() ? found->second : -2;
        }));
      });
}

// Into a table and a map that are set up: what set-up costs shows with `set_up` 1.
void Insert(benchmark::State& state) {
  std::vector<std::string> names = make_names(state.range(0) != 0, 0);
  const bool with_set_up = state.range(1) != 0;
  std::optional<Table> table;
  std::optional<Map> map;
  const auto make_map = [&map] { map.emplace().reserve(kNames); };
  wz::bench::alternate_items(
      state, kNames,
      [&] {
        if (with_set_up) {
          table.emplace();
        }
        for (std::string& name : names) {
          table->insert(name);
        }
      },
      [&] {
        if (with_set_up) {
          make_map();
        }
        insert_all(*map, names);
      },
      [&] {
        table.reset();
        map.reset();
        if (!with_set_up) {
          table.emplace();
          make_map();
        }
      });
}

BENCHMARK_CAPTURE(LookUp, hit, true)->ArgName("long")->Arg(0)->Arg(1)->MinTime(0.3);
BENCHMARK_CAPTURE(LookUp, miss, false)->ArgName("long")->Arg(0)->Arg(1)->MinTime(0.3);
BENCHMARK(Insert)->ArgNames({"long", "set_up"})->ArgsProduct({{0, 1}, {0, 1}})->MinTime(0.3);

}  // namespace
