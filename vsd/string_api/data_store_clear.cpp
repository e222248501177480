// Emptying a data source.
//
// A table of this process alone is closed, removed and made anew with the properties that it had.
// One in a shared environment is truncated instead: other processes hold it open and would go on
// with what was removed.
#include <wz/wz_ids.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "vsd/string_api/data_source.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr const char* kFunction = "wz_ids_delete_all";

// TRACE_STEP(format, ...): what has been done.
#define TRACE_STEP(format, ...) \
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_4, kModuleDataSource, format, __VA_ARGS__)

// What a table is made anew with.
struct TableProperties {
  std::string file;  // empty: in memory
  std::string name;  // within the file; empty: the file holds one table
  DBTYPE type = DB_BTREE;
  std::uint32_t open_flags = 0;
  std::uint32_t flags = 0;
  std::uint32_t page_size = 0;
  std::uint32_t gigabytes = 0;
  std::uint32_t bytes = 0;
  int caches = 0;
};

const char* or_null(const std::string& text) noexcept {
  return text.empty() ? nullptr : text.c_str();
}

TableProperties properties_of(DB* table) {
  TableProperties found;
  const char* file = nullptr;
  const char* name = nullptr;
  table->get_dbname(table, &file, &name);
  found.file = file != nullptr ? file : "";
  found.name = name != nullptr ? name : "";
  table->get_type(table, &found.type);
  table->get_open_flags(table, &found.open_flags);
  table->get_flags(table, &found.flags);
  table->get_pagesize(table, &found.page_size);
  table->get_cachesize(table, &found.gigabytes, &found.bytes, &found.caches);
  return found;
}

// Whether the table belongs to an environment that was opened for it and others. A table without
// one has a private environment of its own, which has no transactions and no folder.
bool is_in_environment(DB* table) noexcept {
  DB_ENV* const environment = table->get_env(table);
  std::uint32_t flags = 0;
  const char* home = nullptr;
  if (environment == nullptr || environment->get_open_flags(environment, &flags) != 0) {
    return false;
  }
  environment->get_home(environment, &home);
  return (flags & DB_PRIVATE) == 0 || home != nullptr ||
         (flags & (DB_INIT_TXN | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_CDB)) != 0;
}

bool is_cleared(int error) noexcept {
  if (error != 0) {
    VSD_ERROR_AS(kFunction, WZLB_LEVEL_2,
                 "VSD failed to clear db. (Error - %s) Need to restart VSD.", db_strerror(error));
  }
  return error == 0;
}

int close_and_remove(DB* table, const TableProperties& properties) noexcept {
  int error = table->close(table, 0);
  DB* remover = nullptr;
  if (error == 0 && !properties.file.empty()) {
    error = db_create(&remover, nullptr, 0);
    if (error == 0) {  // the handle is gone afterwards, whatever comes of it
      error = remover->remove(remover, properties.file.c_str(), or_null(properties.name), 0);
    }
  }
  return error;
}

// Null, after a message, when a step failed.
DB* create_table(const vsdIndexDataSource& source, const TableProperties& properties) noexcept {
  DB* table = nullptr;
  if (db_create(&table, nullptr, 0) != 0) {
    VSD_ERROR_AS(kFunction, WZLB_LEVEL_2,
                 "Error:failed to recreate bdb table, Need to restart VSD");
    return nullptr;
  }
  TRACE_STEP("New DB created for index data source - %s", source.table_name);
  const std::uint32_t bytes = source.cache_size > 0 ? source.cache_size : properties.bytes;
  const std::uint32_t gigabytes = source.cache_size > 0 ? 0 : properties.gigabytes;
  TRACE_STEP("Setting Cache - %u for index data source - %s", bytes, source.table_name);
  int error = table->set_cachesize(table, gigabytes, bytes, properties.caches);
  if (error != 0) {
    VSD_ERROR_AS(kFunction, WZLB_LEVEL_2,
                 "(Error - %s) Failed to set cache size for new DB, Need to restart VSD",
                 db_strerror(error));
    table->close(table, 0);
    return nullptr;
  }
  TRACE_STEP("Cache size set for index data source - %s", source.table_name);
  table->set_flags(table, properties.flags);
  table->set_pagesize(table, properties.page_size);
  error = table->open(table, nullptr, or_null(properties.file), or_null(properties.name),
                      properties.type, properties.open_flags | DB_CREATE, 0600);
  if (error != 0) {
    VSD_ERROR_AS(kFunction, WZLB_LEVEL_2, "(Error - %s) Failed to open new db, Need to restart VSD",
                 db_strerror(error));
    table->close(table, 0);
    return nullptr;
  }
  return table;
}

bool recreate(vsdIndexDataSource& source) {
  const TableProperties properties = properties_of(source.db_table);
  const int error = close_and_remove(source.db_table, properties);
  source.db_table = nullptr;
  if (!is_cleared(error)) {
    return false;
  }
  TRACE_STEP("Old db deleted for index data source - %s", source.table_name);
  source.db_table = create_table(source, properties);
  return source.db_table != nullptr;
}

bool truncate(const vsdIndexDataSource& source) noexcept {
  std::uint32_t rows = 0;
  if (!is_cleared(source.db_table->truncate(source.db_table, nullptr, &rows, 0))) {
    return false;
  }
  TRACE_STEP("Old db deleted for index data source - %s", source.table_name);
  TRACE_STEP("New DB created for index data source - %s", source.table_name);
  TRACE_STEP("Setting Cache - %u for index data source - %s", source.cache_size,
             source.table_name);  // the environment's stays
  TRACE_STEP("Cache size set for index data source - %s", source.table_name);
  return true;
}

bool empty_file(const vsdIndexDataSource& source) noexcept {
  if (source.file_name[0] == '\0') {  // it is not kept
    return true;
  }
  std::FILE* const file = std::fopen(source.file_name, "w");
  if (file == nullptr || std::fclose(file) != 0) {
    VSD_ERROR_AS(kFunction, WZLB_LEVEL_2, "DB deleted in memory but not updated in file.");
    return false;
  }
  TRACE_STEP("DB updated in persistence file for index data source - %s", source.table_name);
  return true;
}

// The file is emptied before others may change rows, and so write it, again.
bool clear(int row) {
  const SourceAccess access(row, Access::write);
  if (!is_cleared(access.error())) {
    return false;
  }
  vsdIndexDataSource& source = access.source();
  return (is_in_environment(source.db_table) ? truncate(source) : recreate(source)) &&
         empty_file(source);
}

}  // namespace
}  // namespace wz::script

int wz_ids_delete_all(char* table_name) {
  using namespace wz::script;
  if (table_name == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Table name passed to wz_ids_delete_all is null");
    return -1;
  }
  const int row = find_data_source(table_name);
  if (row == kNoSource) {
    VSD_ERROR(WZLB_LEVEL_2,
              "API wz_ids_delete_all error: Datasource (%s) not found in controller \n",
              table_name);
    return -1;
  }
  TRACE_STEP("Index data source name - %s", table_name);
  if (!clear(row)) {
    return -1;
  }
  back_up(row);
  return 0;
}
