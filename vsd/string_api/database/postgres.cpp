// PostgreSQL: one connection of the process and the result of its last query.
#include <libpq-fe.h>
#include <wz/wz_database.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "vsd/string_api/database/literal.h"
#include "vsd/trace.h"

char connString[WZ_DB_CONNECTION_SIZE] = WZ_DB_DEFAULT_CONNECTION;

namespace wz::script {
namespace {

struct FinishConnection {
  void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
};
struct ClearResult {
  void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ClearResult>;

std::unique_ptr<PGconn, FinishConnection> conn;
Result last_result;
// A query does not clear the result of the one before, deliberately: scripts put values that they
// hold by pointer into their next query. These are the results that such pointers may lead to.
std::vector<Result> earlier_results;

void retire_result() {
  if (last_result != nullptr) {
    earlier_results.push_back(std::move(last_result));
  }
}

bool is_good(const PGresult* result) noexcept {
  if (result == nullptr) {
    return false;
  }
  switch (PQresultStatus(result)) {
    case PGRES_COMMAND_OK:
    case PGRES_TUPLES_OK:
    case PGRES_COPY_OUT:
      return true;
    default:
      return false;
  }
}

}  // namespace
}  // namespace wz::script

int wz_db_connect(void) {
  using namespace wz::script;
  if (conn != nullptr) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Connection already available.");
    return 0;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Making connection to DB using connection string %s",
            connString);
  decltype(conn) attempt(PQconnectdb(connString));
  if (PQstatus(attempt.get()) != CONNECTION_OK) {
    VSD_ERROR(WZLB_LEVEL_2, "Failed to connect to database using connection string %s. Error = %s",
              connString, PQerrorMessage(attempt.get()));
    return -1;
  }
  conn = std::move(attempt);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "db connection successfully created.");
  return 0;
}

int wz_db_close(void) {
  using namespace wz::script;
  if (conn == nullptr) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "No active db connection found");
    return 0;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Closing connection to DB");
  last_result.reset();
  earlier_results.clear();
  conn.reset();
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "db connection successfully closed.");
  return 0;
}

int wz_db_execute_query(char* query) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. query = '%s'", shown(query));
  if (conn == nullptr && wz_db_connect() != 0) {
    VSD_ERROR(WZLB_LEVEL_2, "Failed to execute query, db-error: failed to connect to db");
    return -1;
  }
  Result result(PQexec(conn.get(), query));
  retire_result();
  if (!is_good(result.get())) {
    VSD_ERROR(WZLB_LEVEL_2, "Failed to execute query, db-error: '%s'", PQerrorMessage(conn.get()));
    result.reset();
    conn.reset();  // whatever the reason: the next query starts on a sound connection
    return -1;
  }
  last_result = std::move(result);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Query successfully executed.");
  return 0;
}

int wz_db_get_nrows(void) {
  using namespace wz::script;
  if (last_result == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Failed to get nrows ,db-error: No query exectued.");
    return -1;
  }
  const int rows = PQntuples(last_result.get());
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Number of rows = %d", rows);
  return rows;
}

int wz_db_get_nfields(void) {
  using namespace wz::script;
  if (last_result == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Failed to get nfields ,db-error: No query exectued.");
    return -1;
  }
  const int fields = PQnfields(last_result.get());
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Number of fields = %d", fields);
  return fields;
}

char* wz_db_get_value(int rowno, int fieldno) {
  using namespace wz::script;
  if (last_result == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Failed to get value ,db-error: No query exectued.");
    return nullptr;
  }
  char* value = PQgetvalue(last_result.get(), rowno, fieldno);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Field value for row_id %d and field_id %d is %s", rowno,
            fieldno, shown(value));
  return value;
}

int wz_db_clear_result(void) {
  using namespace wz::script;
  earlier_results.clear();
  if (last_result == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Failed to clear result ,db-error: No query executed.");
    return -1;
  }
  last_result.reset();
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "db result successfully cleared.");
  return 0;
}

int wz_db_escape_literal(const char* text, char* literal, int size) {
  using namespace wz::script;
  struct FreeText {
    void operator()(char* escaped) const noexcept { PQfreemem(escaped); }
  };
  std::unique_ptr<char, FreeText> escaped;
  if (text != nullptr && (conn != nullptr || wz_db_connect() == 0)) {
    escaped.reset(PQescapeLiteral(conn.get(), text, std::strlen(text)));
    if (escaped == nullptr) {
      VSD_ERROR(WZLB_LEVEL_2, "Failed to escape a literal, db-error: '%s'",
                PQerrorMessage(conn.get()));
    }
  }
  return deliver_literal(escaped.get(), literal, size);
}

void wz_db_release_earlier_results(void) {
  wz::script::earlier_results.clear();
}
