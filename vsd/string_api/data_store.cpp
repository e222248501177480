// Rows of data sources: insert, select, update, delete.
#include <wz/wz_ids.h>
#include <wz/wzlb_alloc.h>

#include <cstring>
#include <string_view>
#include <vector>

#include "vsd/string_api/data_source.h"
#include "vsd/string_api/tracked_text.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr int kFailed = -1;

// Rows are read into one buffer that only grows; most fit from the start.
constexpr std::size_t kFirstRowRoom = 4096;

const char* service_name() noexcept {
  const connection* cptr = &cur_cptr != nullptr ? cur_cptr : nullptr;
  if (cptr == nullptr || cptr->scptr == nullptr || cptr->scptr->service_name_idx == 0) {
    return "";
  }
  return reinterpret_cast<const char*>(cptr->scptr) + cptr->scptr->service_name_idx;
}

// What a script has handed in, for a trace that may not fail on it.
const char* or_null(const char* text) noexcept {
  return text != nullptr ? text : "(null)";
}

// A row's data, in the buffer; `error` tells why there are none.
std::string_view read_row(const SourceAccess& access, std::string_view key, int& error) noexcept {
  static std::vector<char> buffer(kFirstRowRoom);
  DBT key_bytes = input_bytes(key);
  DBT data{};
  data.flags = DB_DBT_USERMEM;
  for (;;) {
    data.data = buffer.data();
    data.ulen = static_cast<u_int32_t>(buffer.size());
    error = access.table()->get(access.table(), nullptr, &key_bytes, &data, 0);
    if (error != DB_BUFFER_SMALL) {
      return error == 0 ? std::string_view(buffer.data(), data.size) : std::string_view();
    }
    buffer.resize(data.size);
  }
}

// A transaction where the table has them: deleting a row and putting another one in its place is
// one step then, whatever becomes of this process.
class RowTransaction {
 public:
  explicit RowTransaction(DB* table) noexcept {
    DB_ENV* const environment = table->dbenv;
    if (environment != nullptr && table->get_transactional(table) != 0) {
      error_ = environment->txn_begin(environment, nullptr, &handle_, 0);
    }
  }
  RowTransaction(const RowTransaction&) = delete;
  RowTransaction& operator=(const RowTransaction&) = delete;
  ~RowTransaction() {
    if (handle_ != nullptr) {
      handle_->abort(handle_);
    }
  }

  [[nodiscard]] DB_TXN* handle() const noexcept { return handle_; }
  [[nodiscard]] int error() const noexcept { return error_; }
  [[nodiscard]] int commit() noexcept {
    DB_TXN* const handle = handle_;
    handle_ = nullptr;
    return handle != nullptr ? handle->commit(handle, 0) : 0;
  }

 private:
  DB_TXN* handle_ = nullptr;
  int error_ = 0;
};

enum class Updated { done, no_key, not_deleted, bad_format, not_put };

// Deliberately in this order: the old row is deleted before the new one is looked at, and stays
// deleted when that is malformed.
Updated replace_row(int row, char* index, std::string_view data, int& error) noexcept {
  const std::string_view key(index);
  const SourceAccess access(row, Access::write);
  error = access.error();
  if (error != 0) {
    return Updated::not_deleted;
  }
  if (access.column(index, 0) == nullptr) {
    return Updated::no_key;
  }
  RowTransaction transaction(access.table());
  error = transaction.error() != 0 ? transaction.error() : access.remove(transaction.handle(), key);
  if (error != 0) {
    return Updated::not_deleted;
  }
  const bool is_good = has_all_columns(access.source(), data);
  if (is_good) {
    error = access.put(transaction.handle(), key, data, DB_NOOVERWRITE);
  }
  const int end = transaction.commit();
  error = error != 0 ? error : end;
  if (error != 0) {
    return Updated::not_put;
  }
  return is_good ? Updated::done : Updated::bad_format;
}

int put_new_row(int row, std::string_view key, std::string_view data) noexcept {
  const SourceAccess access(row, Access::write);
  return access.error() != 0 ? access.error() : access.put(nullptr, key, data, DB_NOOVERWRITE);
}

int delete_row(int row, std::string_view key) noexcept {
  const SourceAccess access(row, Access::write);
  return access.error() != 0 ? access.error() : access.remove(nullptr, key);
}

}  // namespace
}  // namespace wz::script

int wz_ids_insert(char* table_name, char* values) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_2, kModuleDataSourceCall, "Method called. table_name = %s, values = %s",
            or_null(table_name), or_null(values));
  if (table_name == nullptr || values == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Datasource name or values is NULL in service %s\n", service_name());
    return kFailed;
  }
  const int row = find_data_source(table_name);
  if (row == kNoSource) {
    VSD_ERROR(WZLB_LEVEL_2,
              "Data source %s given not found in data sources defined for the controller",
              table_name);
    return kFailed;
  }
  const std::size_t length = std::strlen(values);
  const TrackedText copy(
      static_cast<char*>(WZLB_MALLOC(static_cast<long>(length) + 1, "Allocating the values")));
  std::memcpy(copy.get(), values, length + 1);
  const std::string_view text(copy.get(), length);
  const vsdIndexDataSource& source = indexdatasource[row];
  const std::size_t end_of_key = text.find(source.col_delimiter);
  if (end_of_key == std::string_view::npos) {
    VSD_ERROR(WZLB_LEVEL_2, "API wz_ids_insert error: Failed to insert in data source '%s'",
              table_name);
    return kFailed;
  }
  const std::string_view data = text.substr(end_of_key + 1);
  if (!has_all_columns(source, data)) {
    VSD_ERROR(WZLB_LEVEL_2,
              "Api wz_ids_insert error: invalid format of values passed to Api for table %s",
              table_name);
    return kFailed;
  }
  const int error = put_new_row(row, text.substr(0, end_of_key), data);
  if (error != 0) {
    VSD_ERROR(WZLB_LEVEL_2,
              "API wz_ids_insert error: Failed to insert data in data source %s (BDB ERROR: %s)",
              table_name, db_strerror(error));
    return kFailed;
  }
  VSD_TRACE(WZLB_LEVEL_4, kModuleDataSource, "Record inserted in data source %s", table_name);
  back_up(row);
  return 0;
}

char* wz_ids_select(char* table_name, char* index) {
  using namespace wz::script;
  if (table_name == nullptr || index == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Arguments passed to wz_ids_select are not valid\n");
    return nullptr;
  }
  const int row = find_data_source(table_name);
  if (row == kNoSource) {
    VSD_ERROR(WZLB_LEVEL_2, "API wz_ids_select error: Datasource (%s) not found in controller \n",
              table_name);
    return nullptr;
  }
  const std::string_view key(index);
  int error = 0;
  std::string_view data;
  {
    const SourceAccess access(row, Access::read);
    error = access.error();
    if (error == 0) {
      data = read_row(access, key, error);
    }
  }
  if (error != 0) {
    VSD_ERROR(WZLB_LEVEL_2,
              "API wz_ids_select error: Failed to get row for index %s from data source %s (BDB "
              "ERROR: %s)",
              index, table_name, db_strerror(error));
    return nullptr;
  }
  auto* const text = static_cast<char*>(WZLB_MALLOC(static_cast<long>(data.size()) + 1, "row"));
  data.copy(text, data.size());
  text[data.size()] = '\0';  // rows are stored without one
  return text;
}

int wz_ids_update(char* table_name, char* index, char* updated_values) {
  using namespace wz::script;
  if (table_name == nullptr || index == nullptr || updated_values == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Arguments passed to wz_ids_update are not valid\n");
    return kFailed;
  }
  const int row = find_data_source(table_name);
  if (row == kNoSource) {
    VSD_ERROR(WZLB_LEVEL_2, "API wz_ids_update error: Datasource (%s) not found\n", table_name);
    return kFailed;
  }
  int error = 0;
  switch (replace_row(row, index, updated_values, error)) {
    case Updated::no_key:
      VSD_ERROR(WZLB_LEVEL_2,
                "API wz_ids_update error: key value (%s) doesn't exist in datasource - %s", index,
                table_name);
      return kFailed;
    case Updated::not_deleted:
      VSD_ERROR(WZLB_LEVEL_2,
                "API wz_ids_update error: Failed to delete old entry for key %s from table %s(BDB "
                "ERROR:%s)",
                index, table_name, db_strerror(error));
      return kFailed;
    case Updated::bad_format:
      VSD_ERROR(WZLB_LEVEL_2,
                "API wz_ids_update error: Invalid format of values passed to Api for table %s",
                table_name);
      return kFailed;
    case Updated::not_put:
      VSD_ERROR(WZLB_LEVEL_2,
                "API wz_ids_update error: Failed to update for index  %s in data source %s, (BDB "
                "ERROR: %s)",
                index, table_name, db_strerror(error));
      return kFailed;
    case Updated::done:
      break;
  }
  back_up(row);
  return 0;
}

int wz_ids_delete(char* table_name, char* index) {
  using namespace wz::script;
  if (table_name == nullptr || index == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Arguments passed to wz_ids_delete are not valid");
    return kFailed;
  }
  const int row = find_data_source(table_name);
  if (row == kNoSource) {
    VSD_ERROR(WZLB_LEVEL_2, "API wz_ids_delete error: Datasource (%s) not found in controller \n",
              table_name);
    return kFailed;
  }
  const int error = delete_row(row, index);
  if (error != 0) {
    VSD_ERROR(WZLB_LEVEL_2,
              "API wz_ids_delete error: Failed to delete record for key %s from datasource "
              "%s(BDB ERROR: %s)",
              index, table_name, db_strerror(error));
    return kFailed;
  }
  VSD_TRACE(WZLB_LEVEL_4, kModuleDataSource, "Record deleted for key %s from data source %s", index,
            table_name);
  back_up(row);
  return 0;
}
