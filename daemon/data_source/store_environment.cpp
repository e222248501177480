#include "daemon/data_source/store_environment.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wz/vsd_host.h>
#include <wz/wzlb_log.h>

#include <charconv>
#include <fstream>
#include <system_error>
#include <vector>

namespace vsd {
namespace {

constexpr u_int32_t kLogFileBytes = 4U << 20U;
constexpr u_int32_t kCheckpointKilobytes = 1024;
constexpr std::size_t kLoadCacheBytes = std::size_t{32} << 20U;
constexpr std::size_t kGigabyte = std::size_t{1} << 30U;

int do_not_sync(int) {
  return 0;
}

void on_error(const DB_ENV*, const char*, const char* message) {
  vsd_error_log_ex(WZLB_LEVEL_2, const_cast<char*>(__FILE_NAME__), __LINE__,
                   const_cast<char*>(__func__), cur_cptr, const_cast<char*>(""),
                   const_cast<char*>(""), const_cast<char*>("data sources: %s"), message);
}

DBT bytes_of(std::string_view text) noexcept {
  DBT thing{};
  thing.data = const_cast<char*>(text.data());
  thing.size = static_cast<u_int32_t>(text.size());
  return thing;
}

// Removes the mappings of files below `folder` from this process.
void unmap_files_of(const std::string& folder) {
  std::ifstream maps("/proc/self/maps");
  std::vector<std::pair<std::uintptr_t, std::uintptr_t>> found;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    const char* const stop = line.data() + line.size();
    const auto [dash, error] = std::from_chars(line.data(), stop, begin, 16);
    if (error == std::errc() && dash != stop && line.find(folder) != std::string::npos &&
        std::from_chars(dash + 1, stop, end, 16).ec == std::errc()) {
      found.emplace_back(begin, end);
    }
  }
  for (const auto& [begin, end] : found) {
    munmap(reinterpret_cast<void*>(begin), end - begin);  // NOLINT(performance-no-int-to-ptr)
  }
}

void close_files_of(const std::string& folder) {
  std::vector<int> found;
  std::error_code error;
  for (std::filesystem::directory_iterator entry("/proc/self/fd", error), end;
       !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry->path(), ignored).string().starts_with(folder)) {
      found.push_back(std::stoi(entry->path().filename()));
    }
  }
  for (const int fd : found) {
    ::close(fd);
  }
}

}  // namespace

void StoreEnvironment::on_event(DB_ENV* environment, u_int32_t event, void*) {
  if (event == DB_EVENT_PANIC) {
    static_cast<StoreEnvironment*>(environment->app_private)->is_broken_ = true;
  }
}

int StoreEnvironment::open(const std::filesystem::path& folder, std::size_t cache_bytes,
                           Mode mode) {
  db_env_set_func_fsync(do_not_sync);
  int error = db_env_create(&environment_, 0);
  if (error != 0) {
    return error;
  }
  is_broken_ = false;
  environment_->app_private = this;
  environment_->set_errcall(environment_, on_error);
  environment_->set_event_notify(environment_, &StoreEnvironment::on_event);
  environment_->set_cachesize(environment_, static_cast<u_int32_t>(cache_bytes / kGigabyte),
                              static_cast<u_int32_t>(cache_bytes % kGigabyte), 1);
  environment_->set_lg_max(environment_, kLogFileBytes);
  environment_->log_set_config(environment_, DB_LOG_AUTO_REMOVE, 1);
  environment_->set_flags(environment_, DB_TXN_WRITE_NOSYNC, 1);
  const u_int32_t flags = DB_CREATE | DB_INIT_MPOOL | DB_INIT_LOG | DB_INIT_TXN |
                          (mode == Mode::recover ? DB_RECOVER : 0U);
  error = environment_->open(environment_, folder.c_str(), flags, 0600);
  if (error != 0) {
    close();
  }
  return error;
}

void StoreEnvironment::close() noexcept {
  if (environment_ != nullptr) {
    environment_->close(environment_, 0);
    environment_ = nullptr;
  }
}

void StoreEnvironment::abandon(const std::filesystem::path& folder) noexcept {
  if (environment_ == nullptr) {
    return;
  }
  environment_ = nullptr;
  unmap_files_of(folder.string() + "/");
  close_files_of(folder.string() + "/");
}

int StoreEnvironment::open_table(const std::string& file, DB** table) noexcept {
  *table = nullptr;
  DB* opened = nullptr;
  int error = db_create(&opened, environment_, 0);
  if (error == 0) {
    error = opened->open(opened, nullptr, file.c_str(), nullptr, DB_BTREE, DB_AUTO_COMMIT, 0);
    if (error != 0) {
      opened->close(opened, 0);
      opened = nullptr;
    }
  }
  *table = opened;
  return error;
}

int StoreEnvironment::remove_table(const std::string& file) noexcept {
  return environment_->dbremove(environment_, nullptr, file.c_str(), nullptr, DB_AUTO_COMMIT);
}

void StoreEnvironment::checkpoint() noexcept {
  environment_->txn_checkpoint(environment_, kCheckpointKilobytes, 0, 0);
}

int make_table(const std::filesystem::path& file, const RowSet& set) {
  db_env_set_func_fsync(do_not_sync);
  DB* table = nullptr;
  int error = db_create(&table, nullptr, 0);
  if (error != 0) {
    return error;
  }
  table->set_cachesize(table, 0, kLoadCacheBytes, 1);
  error = table->open(table, nullptr, file.c_str(), nullptr, DB_BTREE, DB_CREATE | DB_EXCL, 0600);
  for (const RowSet::Row& row : set.rows) {
    if (error != 0) {
      break;
    }
    DBT key = bytes_of(row.key);
    DBT data = bytes_of(row.data);
    error = table->put(table, nullptr, &key, &data, DB_NOOVERWRITE);
  }
  const int closed = table->close(table, 0);
  return error != 0 ? error : closed;
}

}  // namespace vsd
