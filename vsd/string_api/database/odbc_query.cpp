// Queries through ODBC.
#include <wz/wz_database.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "vsd/string_api/database/odbc_connections.h"
#include "vsd/string_api/database/row_text.h"
#include "vsd/string_api/database/services_folder.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr std::size_t kMaxColumns = 128;

// Where the driver puts a column of the row that is fetched; a longer value is cut.
struct Column {
  char text[1024];
  SQLLEN length_or_null;

  [[nodiscard]] Field field() const noexcept {
    return length_or_null == SQL_NULL_DATA ? Field() : Field(text);
  }
};

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Leaves the statement ready for the next query, whatever became of this one.
class Cursor {
 public:
  explicit Cursor(SQLHSTMT statement) noexcept : statement_(statement) {}
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;
  ~Cursor() {
    SQLFreeStmt(statement_, SQL_CLOSE);
    SQLFreeStmt(statement_, SQL_UNBIND);
  }

 private:
  SQLHSTMT statement_;
};

void log_diagnostics(const char* call, SQLHSTMT statement) noexcept {
  VSD_ERROR_AS("wz_odbc_db_exec_query", WZLB_LEVEL_2, "%s",
               extract_error(const_cast<char*>(call), statement, SQL_HANDLE_STMT));
}

// Why the slot cannot run the query; null when it can.
const char* refusal(const VSD_SQL_Conn_Info* slot, const char* query) noexcept {
  if (slot == nullptr) {
    return "Error: Provided connection is invalid.";
  }
  if (query == nullptr || *query == '\0') {
    return "Error: Empty query string";
  }
  if (slot->dbc == SQL_NULL_HDBC || slot->env == SQL_NULL_HENV) {
    // deliberate: callers know the functions by these names
    return "Error: vsd_odbc_db_init_connect() not called prior to vsd_odbc_db_exec_query()";
  }
  return slot->hstmt == SQL_NULL_HSTMT ? "Error: stmt is NULL" : nullptr;
}

// Columns of the result that are kept; -1 after a failure.
int count_columns(SQLHSTMT statement, const FailureReport& failure) noexcept {
  SQLSMALLINT columns = 0;
  if (!SQL_SUCCEEDED(SQLNumResultCols(statement, &columns))) {
    return failure.fail("SQLNumResultCols() Failed");
  }
  constexpr int kLimit = kMaxColumns;
  if (columns > kLimit) {
    std::fprintf(stderr,
                 "Number of Columns return by the query was large (%d). Truncated to 128 "
                 "columns.\n",
                 columns);
    return kLimit;
  }
  return columns;
}

int bind(SQLHSTMT statement, std::span<Column> columns, const FailureReport& failure) noexcept {
  SQLUSMALLINT number = 0;
  for (Column& column : columns) {
    if (!SQL_SUCCEEDED(SQLBindCol(statement, ++number, SQL_C_CHAR, column.text, sizeof column.text,
                                  &column.length_or_null))) {
      return failure.fail("SQLBindCol() Failed\n\n");
    }
  }
  return 0;
}

void write_row(std::FILE* file, std::span<const Column> row) noexcept {
  const char* separator = "";
  for (const Column& column : row) {
    const std::string_view text = column.field().value_or(kNullField);
    std::fprintf(file, "%s%.*s", separator, static_cast<int>(text.size()), text.data());
    separator = ",";
  }
  std::fputc('\n', file);
}

int fetch(SQLHSTMT statement, std::span<const Column> columns, RowText& text, std::FILE* file,
          const FailureReport& failure) noexcept {
  SQLRETURN result = SQL_NO_DATA;
  while (!columns.empty() && SQL_SUCCEEDED(result = SQLFetch(statement))) {
    for (const Column& column : columns) {
      text.add(column.field());
    }
    text.end_row();
    if (file != nullptr) {
      write_row(file, columns);
    }
  }
  if (result != SQL_NO_DATA) {
    log_diagnostics("SQLFetch", statement);
    return failure.fail("SQLFetch() Failed");
  }
  return 0;
}

int read_rows(SQLHSTMT statement, std::span<char> out, const char* file_name,
              const FailureReport& failure) {
  static std::array<Column, kMaxColumns> columns;  // too large for the stack of a script
  File file;
  if (file_name != nullptr && *file_name != '\0') {
    const std::string path = service_file(file_name);
    file.reset(std::fopen(path.c_str(), "a+e"));
    if (file == nullptr) {
      return failure.fail("Cannot Open file = %s", path.empty() ? file_name : path.c_str());
    }
  }
  const int count = count_columns(statement, failure);
  if (count < 0) {
    return -1;
  }
  const auto used = std::span(columns).first(static_cast<std::size_t>(count));
  if (bind(statement, used, failure) != 0) {
    return -1;
  }
  RowText text(out);
  if (fetch(statement, used, text, file.get(), failure) != 0) {
    return -1;
  }
  if (file != nullptr && (std::fflush(file.get()) != 0 || std::ferror(file.get()) != 0)) {
    return failure.fail("Cannot write file = %s", file_name);
  }
  return 0;
}

}  // namespace
}  // namespace wz::script

int wz_odbc_db_exec_query(int conn_id, char* qstr, char* retbuf, int retbuf_len, char* file,
                          char* err_msg, int err_msg_size) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method Called. %d", conn_id);
  const FailureReport failure(__func__, err_msg, err_msg_size);
  const VSD_SQL_Conn_Info* slot = find_connection(conn_id);
  if (const char* reason = refusal(slot, qstr)) {
    return failure.fail("%s", reason);
  }
  const Cursor cursor(slot->hstmt);
  const SQLRETURN result = SQLExecDirect(slot->hstmt, reinterpret_cast<SQLCHAR*>(qstr), SQL_NTS);
  if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA) {  // no data: it has touched no row
    log_diagnostics("SQLExecDirect", slot->hstmt);
    return failure.fail("Error in executing the query: [%s]", qstr);
  }
  if (strcasestr(qstr, "select") == nullptr) {
    return 0;
  }
  if (retbuf == nullptr) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "No buffer is provided for Query [%s].", qstr);
  }
  static std::array<char, 1024> unwanted;
  const bool is_wanted = retbuf != nullptr && retbuf_len > 0;
  const std::span<char> out =
      is_wanted ? std::span(retbuf, static_cast<std::size_t>(retbuf_len)) : std::span(unwanted);
  return read_rows(slot->hstmt, out, file, failure);
}
