// The Berkeley DB environment that holds all tables, as one process has it open.
//
// Only one process at a time is inside of it (see data_store.h), so it needs no locks of its own.
// It has transactions and a log, so that what a killed process has left half done can be undone.
// Nothing is synced to the disk: it outlives processes, not the machine, and is filled anew at each
// start.
#pragma once

#include <db.h>

#include <cstddef>
#include <filesystem>
#include <string>

#include "daemon/data_source/row_set.h"

namespace vsd {

class StoreEnvironment {
 public:
  StoreEnvironment() = default;
  StoreEnvironment(const StoreEnvironment&) = delete;
  StoreEnvironment& operator=(const StoreEnvironment&) = delete;
  // Does not close: a process that ends in between must not touch what others share.
  ~StoreEnvironment() = default;

  enum class Mode { join, recover };
  // 0 or an error of Berkeley DB. `recover` makes everything as it was after the last change that
  // was complete; who has it open from before must abandon() it.
  [[nodiscard]] int open(const std::filesystem::path& folder, std::size_t cache_bytes, Mode mode);
  // In order; every table must be closed.
  void close() noexcept;
  // Gives up what is open without another call to it: it may be in any state.
  void abandon(const std::filesystem::path& folder) noexcept;

  [[nodiscard]] bool is_open() const noexcept { return environment_ != nullptr; }
  // Berkeley DB has found it broken.
  [[nodiscard]] bool is_broken() const noexcept { return is_broken_; }

  [[nodiscard]] int open_table(const std::string& file, DB** table) noexcept;
  [[nodiscard]] int remove_table(const std::string& file) noexcept;
  // Writes out what has changed, once enough has.
  void checkpoint() noexcept;

 private:
  static void on_event(DB_ENV* environment, u_int32_t event, void* details);

  DB_ENV* environment_ = nullptr;
  bool is_broken_ = false;
};

// Makes a table with these rows, which are in order, for environments to take over. 0 or an error.
[[nodiscard]] int make_table(const std::filesystem::path& file, const RowSet& set);

}  // namespace vsd
