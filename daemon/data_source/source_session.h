// The data sources as one process uses them: the records that the library reads, the open tables
// behind them, and what the host operations on data sources do.
#pragma once

#include <wz/vsd_host.h>

#include <cstdint>
#include <string>
#include <vector>

#include "daemon/data_source/data_store.h"

namespace vsd {

class SourceSession {
 public:
  // Becomes what `indexdatasource` shows. One per process. Throws std::runtime_error when the
  // tables cannot be opened.
  SourceSession(const DataStore& store, std::vector<DataTablePtr> tables);
  SourceSession(const SourceSession&) = delete;
  SourceSession& operator=(const SourceSession&) = delete;
  ~SourceSession();

  [[nodiscard]] static SourceSession* current() noexcept { return current_; }

  // What vsd_data_source_enter and vsd_data_source_leave do; they nest.
  [[nodiscard]] int enter(bool for_writing) noexcept;
  void leave(int row) noexcept;
  // What make_db_backup does. Whoever comes while another process writes the file waits, and finds
  // its change written already or writes it with those of everybody else who waits.
  void keep(int row) noexcept;

 private:
  void fill_records();
  [[nodiscard]] int open_tables() noexcept;
  void forget_tables() noexcept;
  void close_tables() noexcept;
  // The rows as they are now, and which of the changes they have.
  [[nodiscard]] int copy_rows(int row, KeptRows& rows, std::uint64_t& changes) noexcept;
  void write_kept_rows(int row) noexcept;
  [[nodiscard]] TableState& state(int row) const noexcept;

  static inline SourceSession* current_ = nullptr;

  const DataStore& store_;
  std::vector<DataTablePtr> tables_;
  std::vector<std::vector<db_col>> columns_;
  std::vector<vsdIndexDataSource> records_;
  StoreEnvironment environment_;
  std::uint64_t epoch_ = 0;
  int depth_ = 0;
  bool has_written_ = false;
  unsigned writes_ = 0;
  bool has_told_ = false;  // that a file of kept rows cannot be written
};

}  // namespace vsd
