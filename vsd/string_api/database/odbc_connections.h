// The table of ODBC connections. A connection id is the number of a slot, and slots are never given
// back, so an id stays good for the connection string that it was made for.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstddef>

namespace wz::script {

inline constexpr std::size_t kConnectionStringSize = 1024;

// Handles are null until they are allocated, the connection handle until it is connected.
struct VSD_SQL_Conn_Info {
  char conn_str[kConnectionStringSize];
  SQLHENV env;
  SQLHDBC dbc;
  SQLHSTMT hstmt;
};

// The slot of an id; null for one that does not exist. Valid until another connection is made.
VSD_SQL_Conn_Info* find_connection(int conn_id) noexcept;

// How an ODBC function tells a failure: in the caller's buffer and in the host's error log.
class FailureReport {
 public:
  FailureReport(const char* function, char* message, int size) noexcept
      : function_(function), message_(message), size_(size) {}

  // The failure of the call, -1.
  __attribute__((format(printf, 2, 3))) int fail(const char* format, ...) const noexcept;

 private:
  const char* function_;
  char* message_;
  int size_;
};

}  // namespace wz::script
