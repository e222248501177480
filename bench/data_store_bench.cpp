// A data source of 1,000,000 rows as workers use it, against Berkeley DB's own calls on the same
// table, without the lock that workers share.
#include <benchmark/benchmark.h>
#include <db.h>
#include <wz/wz_ids.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "daemon/data_source/source_session.h"

namespace {

constexpr int kRows = 1'000'000;
constexpr int kCallsPerTurn = 1000;
char table_name[] = "stock";
char field_name[] = "quantity";

class Source {
 public:
  Source() : folder_(make_folder()), store_(folder_) {
    vsd::DataSourceDefinition source;
    source.name = table_name;
    source.file = folder_ / "stock.csv";
    source.format = {'|', {"sku", "name", "quantity", "price"}, 1};
    std::ofstream file(source.file);
    std::mt19937 random(1);
    for (int i = 0; i < kRows; ++i) {
      file << key(i) << "|a name of some length|1000000|12.50\n";
    }
    file.close();
    std::uniform_int_distribution<int> any(0, kRows - 1);
    for (int i = 0; i < kRows; ++i) {
      keys_.push_back(key(any(random)));
    }
    std::vector<vsd::Problem> problems;
    static_cast<void>(vsd::load_rows(source, problems));
    session_.emplace(store_, store_.tables_of({&source}));
  }
  ~Source() {
    session_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  static Source& get() {
    static Source source;
    return source;
  }

  // Keys at random, each time another one.
  char* next_key() { return keys_[next_++ % keys_.size()].data(); }

 private:
  static std::string key(int number) {
    std::string text = std::to_string(number);
    return "SKU-" + std::string(8 - text.size(), '0') + text;
  }
  static std::filesystem::path make_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "wz-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    return pattern;
  }

  std::filesystem::path folder_;
  vsd::DataStore store_;
  std::optional<vsd::SourceSession> session_;
  std::vector<std::string> keys_;
  std::size_t next_ = 0;
};

DBT bytes_of(char* text) {
  DBT thing{};
  thing.data = text;
  thing.size = static_cast<u_int32_t>(std::strlen(text));
  return thing;
}

// A row in the caller's buffer.
DBT read_row(DB* table, DBT* key) {
  static char buffer[4096];
  DBT data{};
  data.data = buffer;
  data.ulen = sizeof buffer;
  data.flags = DB_DBT_USERMEM;
  if (table->get(table, nullptr, key, &data, 0) != 0) {
    std::abort();
  }
  return data;
}

void select_row(benchmark::State& state) {
  Source& source = Source::get();
  bench::compare(
      state, kCallsPerTurn, [&] { std::free(wz_ids_select(table_name, source.next_key())); },
      [&] {
        DBT key = bytes_of(source.next_key());
        benchmark::DoNotOptimize(read_row(indexdatasource[0].db_table, &key));
      });
}
BENCHMARK(select_row)->Iterations(300)->Unit(benchmark::kMillisecond);

void increment_field(benchmark::State& state) {
  Source& source = Source::get();
  bench::compare(
      state, kCallsPerTurn,
      [&] {
        if (wz_ids_increment_field_value(table_name, source.next_key(), field_name, 1) != 0) {
          std::abort();
        }
      },
      [&] {
        DB* const table = indexdatasource[0].db_table;
        DBT key = bytes_of(source.next_key());
        DBT data = read_row(table, &key);
        data.flags = 0;
        if (table->put(table, nullptr, &key, &data, 0) != 0) {
          std::abort();
        }
      });
}
BENCHMARK(increment_field)->Iterations(50)->Unit(benchmark::kMillisecond);

}  // namespace
