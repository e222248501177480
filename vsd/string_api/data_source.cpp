#include "vsd/string_api/data_source.h"

#include <algorithm>
#include <cstring>

namespace wz::script {

int find_data_source(const char* name) noexcept {
  if (&indexdatasource == nullptr || indexdatasource == nullptr ||
      &total_idxds_entries == nullptr) {
    return kNoSource;
  }
  for (int row = 0; row < total_idxds_entries; ++row) {
    const char* const known = indexdatasource[row].table_name;
    if (known != nullptr && std::strcmp(known, name) == 0) {
      return row;
    }
  }
  return kNoSource;
}

int find_column(const vsdIndexDataSource& source, const char* name) noexcept {
  for (int i = 0; source.column != nullptr && i < source.num_columns; ++i) {
    if (std::strncmp(source.column[i].col_name, name, sizeof source.column[i].col_name) == 0) {
      return i;
    }
  }
  return -1;
}

bool has_all_columns(const vsdIndexDataSource& source, std::string_view data) noexcept {
  return std::count(data.begin(), data.end(), source.col_delimiter) + 2 == source.num_columns;
}

void back_up(int row) noexcept {
  if (indexdatasource[row].p_mode == VSD_PERSIST_EACH_CHANGE && &make_db_backup != nullptr) {
    make_db_backup(row);
  }
}

void read_through(const char* text) noexcept {
  const std::size_t length = std::strlen(text);
  asm volatile("" : : "r"(length));  // nobody else needs it, and it must not be left out
}

DBT input_bytes(std::string_view bytes) noexcept {
  DBT thing{};
  thing.data = const_cast<char*>(bytes.data());
  thing.size = static_cast<u_int32_t>(bytes.size());
  return thing;
}

SourceAccess::SourceAccess(int row, Access access) noexcept : row_(row) {
  if (&vsd_data_source_enter != nullptr && &vsd_data_source_leave != nullptr) {
    error_ = vsd_data_source_enter(row, access == Access::write ? 1 : 0);
    is_entered_ = error_ == 0;
  }
}

SourceAccess::~SourceAccess() {
  if (is_entered_) {
    vsd_data_source_leave(row_);
  }
}

int SourceAccess::put(DB_TXN* transaction, std::string_view key, std::string_view data,
                      unsigned flags) const noexcept {
  DBT key_bytes = input_bytes(key);
  DBT data_bytes = input_bytes(data);
  return table()->put(table(), transaction, &key_bytes, &data_bytes, flags);
}

int SourceAccess::remove(DB_TXN* transaction, std::string_view key) const noexcept {
  DBT key_bytes = input_bytes(key);
  return table()->del(table(), transaction, &key_bytes, 0);
}

char* SourceAccess::column(char* key, int position) const noexcept {
  return error_ == 0 && &get_column_value_from_db != nullptr
             ? get_column_value_from_db(table(), key, position, source().col_delimiter, row_)
             : nullptr;
}

int SourceAccess::set_column(char* key, char* value, int position) const noexcept {
  return error_ == 0 && &update_column_value_in_db != nullptr
             ? update_column_value_in_db(table(), key, value, position, source().col_delimiter,
                                         row_)
             : -1;
}

}  // namespace wz::script
