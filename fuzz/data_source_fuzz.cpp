// Files of rows. The first byte is the delimiter; the rest is read as an operator's file, and what
// has been read without a problem is written as kept rows and read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "daemon/data_source/row_set.h"

namespace {

using vsd::RowFormat;
using vsd::RowSet;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

void check(const RowSet& set, const RowFormat& format) {
  for (std::size_t i = 0; i < set.rows.size(); ++i) {
    const RowSet::Row& row = set.rows[i];
    require(row.key.find(format.delimiter) == std::string_view::npos);
    require(i == 0 || set.rows[i - 1].key < row.key);
    std::size_t delimiters = 0;
    for (const char c : row.data) {
      delimiters += c == format.delimiter ? 1 : 0;
      require(c != '\0');
    }
    require(delimiters + 2 == format.columns.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || data[0] == '"' || data[0] == '\n' || data[0] == '\r' || data[0] == '\0') {
    return 0;
  }
  const RowFormat format{static_cast<char>(data[0]), {"key", "a", "b"}, 1};
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::size_t problems = 0;
  const vsd::RowReport report = [&](int line, const std::string& problem) {
    require(line > 0 && !problem.empty());
    ++problems;
  };
  RowSet ignored;
  vsd::read_kept_rows(text, format, report, ignored);
  problems = 0;
  RowSet set;
  vsd::read_rows(text, format, report, set);
  if (problems > 0) {
    return 0;
  }
  check(set, format);
  vsd::KeptRows kept(format);
  for (const RowSet::Row& row : set.rows) {
    kept.add(row.key, row.data);
  }
  RowSet again;
  vsd::read_kept_rows(kept.finish(), format, report, again);
  require(problems == 0 && again.rows.size() == set.rows.size());
  for (std::size_t i = 0; i < set.rows.size(); ++i) {
    require(again.rows[i].key == set.rows[i].key && again.rows[i].data == set.rows[i].data);
  }
  return 0;
}
