// Tables that grow for the library: its random generators.
#include <wz/wzlb_poi.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kFirstRows = 16;

}  // namespace

int create_table_entry(int* row_num, int* total, int* max, char** table, int size, char* name) {
  if (*total == *max) {
    const int rows = *max > 0 ? *max * 2 : kFirstRows;
    const auto row_size = static_cast<std::size_t>(size);
    const auto used = static_cast<std::size_t>(*max) * row_size;
    auto* grown =
        static_cast<char*>(std::realloc(*table, static_cast<std::size_t>(rows) * row_size));
    if (grown == nullptr) {
      std::fprintf(stderr, "vsd: no memory for a table of %d rows for %s\n", rows, name);
      return -1;
    }
    std::memset(grown + used, 0, static_cast<std::size_t>(rows) * row_size - used);
    *table = grown;
    *max = rows;
  }
  *row_num = (*total)++;
  return 0;
}
