// What the operator wrote about a data source, and where its rows come from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "daemon/data_source/row_set.h"

namespace vsd {

struct DataSourceDefinition {
  std::string name;
  int line = 0;
  std::filesystem::path file;  // the operator's
  RowFormat format;
  bool is_kept = false;  // rows survive the end of the daemon, in `kept_file`
  std::filesystem::path kept_file;
  std::size_t cache_bytes = 0;
  // Of everything that the rows depend on: as long as it is the same, so is the table. Rows that
  // are kept do not follow the operator's file.
  std::uint64_t fingerprint = 0;
};

// Where the rows of kept data sources are, below the work directory.
[[nodiscard]] inline std::filesystem::path kept_rows_folder(const std::filesystem::path& root) {
  return root / "state";
}

// Reads the rows: the kept ones if there are any, otherwise those of the operator's file. Sets
// the fingerprint and a cache size that fits. What is wrong is added to `problems`.
[[nodiscard]] RowSet load_rows(DataSourceDefinition& source, std::vector<Problem>& problems);

}  // namespace vsd
