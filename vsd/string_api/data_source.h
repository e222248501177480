// The data sources that the host exports, and a stay inside one of them.
#pragma once

#include <db.h>
#include <wz/vsd_host.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

namespace wz::script {

// Module bits that calls on data sources trace under: calls, and what has come of them.
inline constexpr unsigned long long kModuleDataSourceCall = 2048;
inline constexpr unsigned long long kModuleDataSource = 512;

inline constexpr int kNoSource = -1;

// The row of `indexdatasource` with that name, or kNoSource.
[[nodiscard]] int find_data_source(const char* name) noexcept;

// The position of the first column with that name, or -1.
[[nodiscard]] int find_column(const vsdIndexDataSource& source, const char* name) noexcept;

// Whether `data`, a row without its key, has the source's number of columns.
[[nodiscard]] bool has_all_columns(const vsdIndexDataSource& source,
                                   std::string_view data) noexcept;

// After a change: the rows go to the persistence file if they are to be there at any time.
void back_up(int row) noexcept;

// Bytes as Berkeley DB takes them.
[[nodiscard]] DBT input_bytes(std::string_view bytes) noexcept;

// Reads a script's text to its end, so that a bad pointer faults here and not in a data source.
void read_through(const char* text) noexcept;

enum class Access { read, write };

// As long as it lives, no other process changes the data source. Whatever a script hands in is to
// be read before: a fault in here costs the whole process.
class SourceAccess {
 public:
  SourceAccess(int row, Access access) noexcept;
  SourceAccess(const SourceAccess&) = delete;
  SourceAccess& operator=(const SourceAccess&) = delete;
  ~SourceAccess();

  // 0, or why nothing may be done with table(). The columns are the host's, table or not.
  [[nodiscard]] int error() const noexcept {
    return error_ == 0 && table() == nullptr ? EINVAL : error_;
  }
  [[nodiscard]] vsdIndexDataSource& source() const noexcept { return indexdatasource[row_]; }
  [[nodiscard]] DB* table() const noexcept { return source().db_table; }

  [[nodiscard]] int put(DB_TXN* transaction, std::string_view key, std::string_view data,
                        unsigned flags) const noexcept;
  [[nodiscard]] int remove(DB_TXN* transaction, std::string_view key) const noexcept;
  // A column of a row as the host reads it; null without such a row.
  [[nodiscard]] char* column(char* key, int position) const noexcept;
  // 0, or -1 when nothing was written.
  [[nodiscard]] int set_column(char* key, char* value, int position) const noexcept;

 private:
  int row_;
  int error_ = 0;
  bool is_entered_ = false;
};

}  // namespace wz::script
