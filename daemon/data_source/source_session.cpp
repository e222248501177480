#include "daemon/data_source/source_session.h"

#include <wz/wzlb_log.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "daemon/data_source/kept_file.h"
#include "daemon/process/script_guard.h"

namespace vsd {
namespace {

constexpr unsigned kWritesPerCheckpoint = 64;

// Calls `use` with key and data of each row.
template <typename Use>
int for_each_row(DB* table, Use use) {
  DBC* cursor = nullptr;
  int error = table->cursor(table, nullptr, &cursor, 0);
  if (error != 0) {
    return error;
  }
  DBT key{};
  DBT data{};
  while ((error = cursor->get(cursor, &key, &data, DB_NEXT)) == 0) {
    use(std::string_view(static_cast<const char*>(key.data), key.size),
        std::string_view(static_cast<const char*>(data.data), data.size));
  }
  cursor->close(cursor);
  return error == DB_NOTFOUND ? 0 : error;
}

}  // namespace

SourceSession::SourceSession(const DataStore& store, std::vector<DataTablePtr> tables)
    : store_(store), tables_(std::move(tables)) {
  fill_records();
  if (!records_.empty()) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file that gets too large is an error to report
    const int error = enter(false);
    if (error != 0) {
      throw std::runtime_error(std::string("the data sources cannot be opened: ") +
                               db_strerror(error));
    }
    leave(0);
  }
  indexdatasource = records_.data();
  total_idxds_entries = static_cast<int>(records_.size());
  current_ = this;
}

SourceSession::~SourceSession() {
  current_ = nullptr;
  indexdatasource = nullptr;
  total_idxds_entries = 0;
  if (!records_.empty() && enter(false) == 0) {
    close_tables();
    environment_.close();
    leave(0);
  }
}

void SourceSession::fill_records() {
  for (const DataTablePtr& table : tables_) {
    const DataSourceDefinition& source = table->source();
    std::vector<db_col>& columns = columns_.emplace_back();
    for (const std::string& name : source.format.columns) {
      db_col& column = columns.emplace_back();
      column.col_seq = static_cast<int>(columns.size()) - 1;
      column.is_file = 1;
      name.copy(column.col_name, sizeof column.col_name - 1);
    }
    vsdIndexDataSource& record = records_.emplace_back();
    record = {};
    record.table_name = const_cast<char*>(source.name.c_str());
    record.num_columns = static_cast<int>(columns.size());
    record.col_delimiter = source.format.delimiter;
    record.first_data_line = source.format.first_line;
    record.p_mode = source.is_kept ? VSD_PERSIST_EACH_CHANGE : VSD_PERSIST_NONE;
    if (source.is_kept) {
      source.kept_file.string().copy(record.file_name, sizeof record.file_name - 1);
    }
  }
  for (std::size_t i = 0; i < records_.size(); ++i) {
    records_[i].column = columns_[i].data();
  }
}

TableState& SourceSession::state(int row) const noexcept {
  return store_.table_state(tables_[static_cast<std::size_t>(row)]->slot());
}

void SourceSession::forget_tables() noexcept {
  for (vsdIndexDataSource& record : records_) {
    record.db_table = nullptr;
  }
}

void SourceSession::close_tables() noexcept {
  for (vsdIndexDataSource& record : records_) {
    if (record.db_table != nullptr) {
      record.db_table->close(record.db_table, DB_NOSYNC);
    }
  }
  forget_tables();
}

int SourceSession::open_tables() noexcept {
  for (std::size_t i = 0; i < records_.size(); ++i) {
    const int error = environment_.open_table(tables_[i]->file(), &records_[i].db_table);
    if (error != 0) {
      close_tables();
      environment_.close();
      return error;
    }
  }
  return 0;
}

int SourceSession::enter(bool for_writing) noexcept {
  if (depth_ == 0) {
    bool is_new = false;
    int error = store_.enter(environment_, epoch_, is_new);
    if (is_new) [[unlikely]] {
      forget_tables();
      if (error == 0 && (error = open_tables()) != 0) {
        store_.leave();
      }
    }
    if (error != 0) {
      return error;
    }
    has_written_ = false;
  }
  ++depth_;
  has_written_ = has_written_ || for_writing;
  return 0;
}

// What has been told is told before the release, which may not return.
void SourceSession::leave(int row) noexcept {
  if (--depth_ > 0) {
    return;
  }
  if (has_written_) {
    state(row).changes.fetch_add(1, std::memory_order_relaxed);
    if (++writes_ % kWritesPerCheckpoint == 0) {
      environment_.checkpoint();
    }
  }
  store_.leave();
}

int SourceSession::copy_rows(int row, KeptRows& rows, std::uint64_t& changes) noexcept {
  int error = enter(false);
  if (error == 0) {
    changes = state(row).changes;
    error =
        for_each_row(records_[static_cast<std::size_t>(row)].db_table,
                     [&rows](std::string_view key, std::string_view data) { rows.add(key, data); });
    leave(row);
  }
  return error;
}

void SourceSession::write_kept_rows(int row) noexcept {
  const DataSourceDefinition& source = tables_[static_cast<std::size_t>(row)]->source();
  KeptRows rows(source.format);
  std::uint64_t changes = 0;
  const int error = copy_rows(row, rows, changes);
  const std::string problem =
      error != 0 ? db_strerror(error) : replace_file(source.kept_file, rows.finish());
  if (problem.empty()) {
    state(row).kept = changes;
    has_told_ = false;
    return;
  }
  const char* const format = "the rows of data source '%s' are not kept, %s stays as it was: %s";
  const char* const path = source.kept_file.c_str();
  vsd_error_log_ex(WZLB_LEVEL_1, const_cast<char*>(__FILE_NAME__), __LINE__,
                   const_cast<char*>("make_db_backup"), cur_cptr, const_cast<char*>(""),
                   const_cast<char*>(""), const_cast<char*>(format), source.name.c_str(), path,
                   problem.c_str());
  if (!std::exchange(has_told_, true)) {
    std::fprintf(stderr, "vsd: the rows of data source '%s' are not kept, %s stays as it was: %s\n",
                 source.name.c_str(), path, problem.c_str());
  }
}

void SourceSession::keep(int row) noexcept {
  if (row < 0 || static_cast<std::size_t>(row) >= records_.size() ||
      !tables_[static_cast<std::size_t>(row)]->source().is_kept) {
    return;
  }
  const std::uint64_t wanted = state(row).changes;
  hold_script();
  // Who died while writing has left the former file and one aside, which is written over.
  static_cast<void>(store_.state().keeping.lock());
  if (state(row).kept < wanted) {
    write_kept_rows(row);
  }
  store_.state().keeping.unlock();
  release_script();
}

}  // namespace vsd
