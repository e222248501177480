// The data sources of all services, shared by all workers.
//
// Tables lie in one Berkeley DB environment in a folder of its own. A process goes into it only
// while it holds one mutex, which the system passes on when its holder is killed: the next one is
// told, recovers the environment as it was after the last complete change, and everybody opens it
// anew at the next entry. So no lock outlives its holder, and nobody waits for a process that is
// gone.
//
// The parent makes tables and removes them; workers work in them through a SourceSession. A table
// belongs to what its rows depend on (DataSourceDefinition::fingerprint), so that the workers
// before and after a reload share the tables of data sources that did not change.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "daemon/data_source/data_source_definition.h"
#include "daemon/data_source/shared_mutex.h"
#include "daemon/data_source/store_environment.h"
#include "daemon/file_descriptor.h"
#include "daemon/process/shared_array.h"

namespace vsd {

// What processes tell each other about a table.
struct TableState {
  std::atomic<std::uint64_t> changes;  // so far
  std::atomic<std::uint64_t> kept;     // of them, that are in the file of kept rows
  std::atomic<bool> is_used;
};

struct StoreState {
  SharedMutex entry;    // for the environment
  SharedMutex keeping;  // for the files of kept rows; taken before `entry`
  std::uint64_t epoch;  // of the environment; changes when it is recovered
  bool needs_recovery;
};

class DataStore;

// A table, as long as a generation needs it.
class DataTable {
 public:
  DataTable(DataStore& store, DataSourceDefinition source, std::uint32_t slot, std::string file);
  DataTable(const DataTable&) = delete;
  DataTable& operator=(const DataTable&) = delete;
  ~DataTable();

  [[nodiscard]] const DataSourceDefinition& source() const noexcept { return source_; }
  [[nodiscard]] std::uint32_t slot() const noexcept { return slot_; }
  [[nodiscard]] const std::string& file() const noexcept { return file_; }

 private:
  DataStore& store_;
  DataSourceDefinition source_;
  std::uint32_t slot_;
  std::string file_;  // in the store's folder
};

using DataTablePtr = std::shared_ptr<const DataTable>;

class DataStore {
 public:
  // Its files lie below `root`, in a folder that is made when the first table is, and is gone with
  // the store. Throws std::system_error.
  explicit DataStore(std::filesystem::path root);
  DataStore(const DataStore&) = delete;
  DataStore& operator=(const DataStore&) = delete;
  ~DataStore();

  // In the parent: the tables of these data sources, those that are there already and new ones.
  // Throws std::runtime_error.
  [[nodiscard]] std::vector<DataTablePtr> tables_of(
      const std::vector<const DataSourceDefinition*>& sources);

  [[nodiscard]] StoreState& state() const noexcept { return state_[0]; }
  [[nodiscard]] TableState& table_state(std::uint32_t slot) const noexcept {
    return table_states_[slot];
  }

  // Goes into the environment, and brings in order what one that was killed in there has left.
  // `environment` is this process's; whenever it was opened anew, `is_new` is set and tables that
  // were open are gone. 0, or an error: then the process is not inside.
  [[nodiscard]] int enter(StoreEnvironment& environment, std::uint64_t& epoch,
                          bool& is_new) const noexcept;
  void leave() const noexcept;

 private:
  friend class DataTable;

  void make_folder(const std::vector<const DataSourceDefinition*>& sources);
  [[nodiscard]] std::uint32_t free_slot();
  [[nodiscard]] DataTablePtr table_of(const DataSourceDefinition& source);
  void remove(const DataTable& table) noexcept;
  [[nodiscard]] bool is_owner() const noexcept;

  std::filesystem::path root_;
  std::filesystem::path folder_;  // empty: not made yet
  std::size_t cache_bytes_ = 0;
  int owner_;                   // the process that made it
  FileDescriptor folder_lock_;  // tells other daemons on the work directory that it is in use
  SharedArray<StoreState> state_;
  SharedArray<TableState> table_states_;
  std::vector<std::weak_ptr<const DataTable>> tables_;
  unsigned tables_made_ = 0;
};

}  // namespace vsd
