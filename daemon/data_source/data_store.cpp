#include "daemon/data_source/data_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "daemon/process/script_guard.h"

namespace vsd {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxTables = 1024;  // of all generations that live at the same time
constexpr std::size_t kMinCache = std::size_t{4} << 20U;
constexpr const char* kFolderPattern = "rows-XXXXXX";
constexpr const char* kLockName = "lock";

FileDescriptor lock_folder(const fs::path& folder, int flags) {
  FileDescriptor lock(::open((folder / kLockName).c_str(), O_RDWR | O_CLOEXEC | flags, 0600));
  return lock && flock(lock.get(), LOCK_EX | LOCK_NB) == 0 ? std::move(lock) : FileDescriptor();
}

// Removes what daemons that were killed have left.
void remove_left_folders(const fs::path& parent) {
  std::vector<fs::path> left;
  std::error_code error;
  for (fs::directory_iterator entry(parent, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().filename().string().starts_with("rows-") && lock_folder(entry->path(), 0)) {
      left.push_back(entry->path());
    }
  }
  for (const fs::path& folder : left) {
    fs::remove_all(folder, error);
  }
}

std::runtime_error table_error(const DataSourceDefinition& source, const std::string& reason) {
  return std::runtime_error("the data source '" + source.name + "' cannot be set up: " + reason);
}

}  // namespace

DataTable::DataTable(DataStore& store, DataSourceDefinition source, std::uint32_t slot,
                     std::string file)
    : store_(store), source_(std::move(source)), slot_(slot), file_(std::move(file)) {}

DataTable::~DataTable() {
  store_.remove(*this);
}

DataStore::DataStore(fs::path root)
    : root_(std::move(root)), owner_(getpid()), state_(1), table_states_(kMaxTables) {
  state().entry.initialize();
  state().keeping.initialize();
}

DataStore::~DataStore() {
  if (is_owner() && !folder_.empty()) {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
}

bool DataStore::is_owner() const noexcept {
  return getpid() == owner_;
}

void DataStore::make_folder(const std::vector<const DataSourceDefinition*>& sources) {
  const fs::path parent = root_ / ".cache";
  fs::create_directories(parent);
  remove_left_folders(parent);
  std::string path = fs::absolute(parent / kFolderPattern).string();
  if (mkdtemp(path.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "the folder " + path);
  }
  folder_ = path;
  folder_lock_ = lock_folder(folder_, O_CREAT);
  cache_bytes_ = kMinCache;
  for (const DataSourceDefinition* source : sources) {
    cache_bytes_ += source->cache_bytes;
  }
}

std::uint32_t DataStore::free_slot() {
  const auto states = table_states_.all();
  const auto free = std::find_if(states.begin(), states.end(),
                                 [](const TableState& slot) { return !slot.is_used; });
  if (free == states.end()) {
    throw std::runtime_error("there are more than " + std::to_string(kMaxTables) + " data sources");
  }
  free->changes = 0;
  free->kept = 0;
  free->is_used = true;
  return static_cast<std::uint32_t>(free - states.begin());
}

DataTablePtr DataStore::table_of(const DataSourceDefinition& source) {
  for (const auto& known : tables_) {
    DataTablePtr table = known.lock();
    if (table != nullptr && table->source().name == source.name &&
        table->source().fingerprint == source.fingerprint) {
      return table;
    }
  }
  DataSourceDefinition loaded = source;
  std::vector<Problem> problems;
  const RowSet rows = load_rows(loaded, problems);
  if (!problems.empty()) {
    throw table_error(source, to_string(problems.front()));
  }
  if (source.is_kept) {
    fs::create_directories(source.kept_file.parent_path());
  }
  const std::string file = "table-" + std::to_string(++tables_made_);
  const int error = make_table(folder_ / file, rows);
  if (error != 0) {
    throw table_error(source, db_strerror(error));
  }
  auto table = std::make_shared<const DataTable>(*this, std::move(loaded), free_slot(), file);
  tables_.push_back(table);
  return table;
}

std::vector<DataTablePtr> DataStore::tables_of(
    const std::vector<const DataSourceDefinition*>& sources) {
  if (!sources.empty() && folder_.empty()) {
    make_folder(sources);
  }
  std::vector<DataTablePtr> tables;
  tables.reserve(sources.size());
  for (const DataSourceDefinition* source : sources) {
    tables.push_back(table_of(*source));
  }
  std::erase_if(tables_, [](const auto& table) { return table.expired(); });
  return tables;
}

// Nobody has the table open any more: the workers that had are gone.
void DataStore::remove(const DataTable& table) noexcept {
  if (!is_owner()) {
    return;
  }
  StoreEnvironment environment;
  std::uint64_t epoch = 0;
  bool is_new = false;
  if (enter(environment, epoch, is_new) == 0) {
    static_cast<void>(environment.remove_table(table.file()));
    environment.close();
    leave();
  }
  table_states_[table.slot()].is_used = false;
}

int DataStore::enter(StoreEnvironment& environment, std::uint64_t& epoch,
                     bool& is_new) const noexcept {
  StoreState& shared = state();
  hold_script();
  if (!shared.entry.lock() || environment.is_broken()) {
    shared.needs_recovery = true;
  }
  if (environment.is_open() && epoch == shared.epoch && !shared.needs_recovery) [[likely]] {
    return 0;
  }
  is_new = true;
  environment.abandon(folder_);
  int error = shared.needs_recovery
                  ? DB_RUNRECOVERY
                  : environment.open(folder_, cache_bytes_, StoreEnvironment::Mode::join);
  if (error != 0) {
    error = environment.open(folder_, cache_bytes_, StoreEnvironment::Mode::recover);
    shared.needs_recovery = error != 0;
    ++shared.epoch;
  }
  epoch = shared.epoch;
  if (error != 0) {
    leave();
  }
  return error;
}

void DataStore::leave() const noexcept {
  state().entry.unlock();
  release_script();
}

}  // namespace vsd
