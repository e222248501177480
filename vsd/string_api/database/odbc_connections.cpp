#include "vsd/string_api/database/odbc_connections.h"

#include <wz/wz_database.h>
#include <wz/wzlb_alloc.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr int kGrowth = 10;
constexpr const char* kLabel = "DB api structure.";
constexpr int kNoSlot = -1;

VSD_SQL_Conn_Info* vsd_sql_info = nullptr;
int db_api_total_structs = 0;
int db_api_max_structs = 0;

// A handle that a failing step gives back.
template <SQLSMALLINT kType>
class Handle {
 public:
  explicit Handle(SQLHANDLE parent) noexcept {
    is_good_ = SQL_SUCCEEDED(SQLAllocHandle(kType, parent, &handle_));
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (handle_ != SQL_NULL_HANDLE) {
      SQLFreeHandle(kType, handle_);
    }
  }
  [[nodiscard]] bool is_good() const noexcept { return is_good_; }
  [[nodiscard]] SQLHANDLE get() const noexcept { return handle_; }
  [[nodiscard]] SQLHANDLE release() noexcept { return std::exchange(handle_, nullptr); }

 private:
  SQLHANDLE handle_ = SQL_NULL_HANDLE;
  bool is_good_ = false;
};

void note(const char* message) noexcept {
  VSD_TRACE_AS("wz_odbc_db_init_connect", WZLB_LEVEL_3, kModuleApi, "%s", message);
}

int find_slot(const char* conn_str) noexcept {
  for (int i = 0; i < db_api_total_structs; ++i) {
    if (std::strcmp(vsd_sql_info[i].conn_str, conn_str) == 0) {
      return i;
    }
  }
  return kNoSlot;
}

int new_slot(std::string_view conn_str) noexcept {
  if (db_api_total_structs == db_api_max_structs) {
    vsd_allocate_str_for_db_api();
  }
  conn_str.copy(vsd_sql_info[db_api_total_structs].conn_str, kConnectionStringSize - 1);
  return db_api_total_structs++;
}

int make_environment(VSD_SQL_Conn_Info& slot, const FailureReport& failure) noexcept {
  if (slot.env != SQL_NULL_HENV) {
    note("SQLSetEnvAttr(ODBC version) is already done for this connection.");
    return 0;
  }
  Handle<SQL_HANDLE_ENV> env(SQL_NULL_HANDLE);
  if (!env.is_good()) {
    return failure.fail("WZ_DB_ODBC_INIT: SQLAllocHandle(Env) Failed");
  }
  note("SQLAllocHandle(Env) succeeded");
  if (!SQL_SUCCEEDED(SQLSetEnvAttr(env.get(), SQL_ATTR_ODBC_VERSION,
                                   reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0))) {
    return failure.fail("SQLSetEnvAttr(SQL_ATTR_ODBC_VERSION) Failed");
  }
  note("SQLSetEnvAttr(ODBC version) succeeded");
  slot.env = env.release();
  return 0;
}

int connect(VSD_SQL_Conn_Info& slot, const FailureReport& failure) noexcept {
  if (slot.dbc != SQL_NULL_HDBC) {
    note("SQLDriverConnect(dbc) is already done for this connection.");
    return 0;
  }
  Handle<SQL_HANDLE_DBC> dbc(slot.env);
  if (!dbc.is_good()) {
    return failure.fail("SQLAllocHandle(dbc) Failed");
  }
  note("SQLAllocHandle(dbc) succeeded");
  std::array<SQLCHAR, 1024> completed{};
  SQLSMALLINT length = 0;
  const SQLRETURN result = SQLDriverConnect(
      dbc.get(), nullptr, reinterpret_cast<SQLCHAR*>(slot.conn_str), SQL_NTS, completed.data(),
      static_cast<SQLSMALLINT>(completed.size()), &length, SQL_DRIVER_COMPLETE);
  char call[] = "SQLDriverConnect";
  if (!SQL_SUCCEEDED(result)) {
    return failure.fail("Failed to connect: [%s]", extract_error(call, dbc.get(), SQL_HANDLE_DBC));
  }
  VSD_TRACE_AS("wz_odbc_db_init_connect", WZLB_LEVEL_3, kModuleApi,
               "Connected to database. returned string was: [%s]",
               reinterpret_cast<const char*>(completed.data()));
  note("SQLDriverConnect(dbc) succeeded");
  if (result == SQL_SUCCESS_WITH_INFO) {
    VSD_TRACE_AS("wz_odbc_db_init_connect", WZLB_LEVEL_3, kModuleApi,
                 "Driver reported the following diagnostics: [%s]",
                 extract_error(call, dbc.get(), SQL_HANDLE_DBC));
  }
  slot.dbc = dbc.release();
  return 0;
}

int make_statement(VSD_SQL_Conn_Info& slot, const FailureReport& failure) noexcept {
  if (slot.hstmt != SQL_NULL_HSTMT) {
    note("SQLAllocHandle(stmt) is already done for this connection.");
    return 0;
  }
  Handle<SQL_HANDLE_STMT> statement(slot.dbc);
  if (!statement.is_good()) {
    return failure.fail("Failed to allocate stmt handle");
  }
  note("Successfully allocated stmt handle");
  slot.hstmt = statement.release();
  return 0;
}

void release(VSD_SQL_Conn_Info& slot) noexcept {
  if (slot.hstmt != SQL_NULL_HSTMT) {
    SQLFreeHandle(SQL_HANDLE_STMT, std::exchange(slot.hstmt, nullptr));
  }
  if (slot.dbc != SQL_NULL_HDBC) {
    SQLDisconnect(slot.dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, std::exchange(slot.dbc, nullptr));
  }
  if (slot.env != SQL_NULL_HENV) {
    SQLFreeHandle(SQL_HANDLE_ENV, std::exchange(slot.env, nullptr));
  }
}

}  // namespace

VSD_SQL_Conn_Info* find_connection(int conn_id) noexcept {
  return conn_id >= 0 && conn_id < db_api_total_structs ? &vsd_sql_info[conn_id] : nullptr;
}

int FailureReport::fail(const char* format, ...) const noexcept {
  std::array<char, 8192> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  if (message_ != nullptr && size_ > 0) {
    std::snprintf(message_, static_cast<std::size_t>(size_), "%s", text.data());
  }
  VSD_ERROR_AS(function_, WZLB_LEVEL_2, "%s", text.data());
  return -1;
}

}  // namespace wz::script

void vsd_allocate_str_for_db_api(void) {
  using namespace wz::script;
  const int grown = db_api_max_structs + kGrowth;
  vsd_sql_info = static_cast<VSD_SQL_Conn_Info*>(WZLB_REALLOC(
      vsd_sql_info, static_cast<std::size_t>(grown) * sizeof(VSD_SQL_Conn_Info), kLabel, -1));
  std::fill(vsd_sql_info + db_api_max_structs, vsd_sql_info + grown, VSD_SQL_Conn_Info{});
  db_api_max_structs = grown;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "db_api_max_structs = %d, db_api_total_structs = %d",
            db_api_max_structs, db_api_total_structs);
}

int wz_odbc_db_init_connect(char* conn_str, char* err_msg, int err_msg_size) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method Called");
  const FailureReport failure(__func__, err_msg, err_msg_size);
  if (conn_str == nullptr) {
    return failure.fail("Error: Connection string is NULL.");
  }
  if (std::strlen(conn_str) >= kConnectionStringSize) {
    return failure.fail("Error: Connection string is too long.");
  }
  int conn_id = find_slot(conn_str);
  const bool is_new = conn_id == kNoSlot;
  if (is_new) {
    conn_id = new_slot(conn_str);
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Connection id for [%s] is %d. is new = %d.", conn_str,
            conn_id, is_new ? 1 : 0);
  VSD_SQL_Conn_Info& slot = vsd_sql_info[conn_id];
  const bool is_ready = make_environment(slot, failure) == 0 && connect(slot, failure) == 0 &&
                        make_statement(slot, failure) == 0;
  return is_ready ? conn_id : -1;
}

int wz_odbc_db_disconnect(int conn_id, char* err_msg, int err_msg_size) {
  using namespace wz::script;
  VSD_SQL_Conn_Info* slot = find_connection(conn_id);
  if (slot == nullptr) {
    return FailureReport(__func__, err_msg, err_msg_size)
        .fail("Error: Provided connection is invalid.");
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Disconnecting from DB.");
  release(*slot);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Successfully disconnected from DB.");
  return 0;
}

char* extract_error(char* fn, void* handle, short type) {
  using namespace wz::script;
  static std::array<char, 2048> text;
  const int lead =
      std::snprintf(text.data(), text.size(),
                    "ODBC driver reported following diagnostics whilst running '%s': ", shown(fn));
  auto used = std::min(static_cast<std::size_t>(lead), text.size() - 1);
  std::array<SQLCHAR, 6> state{};
  std::array<SQLCHAR, 1024> message{};
  SQLINTEGER native = 0;
  SQLSMALLINT length = 0;
  for (SQLSMALLINT record = 1;
       SQL_SUCCEEDED(SQLGetDiagRec(type, handle, record, state.data(), &native, message.data(),
                                   static_cast<SQLSMALLINT>(message.size()), &length));
       ++record) {
    const std::size_t room = text.size() - used;
    const int size =
        std::snprintf(text.data() + used, room, " [state:%s; msg#:%ld; native:%ld; message:%s",
                      reinterpret_cast<const char*>(state.data()), static_cast<long>(record),
                      static_cast<long>(native), reinterpret_cast<const char*>(message.data()));
    if (size < 0 || static_cast<std::size_t>(size) >= room) {
      text[used] = '\0';
      break;
    }
    used += static_cast<std::size_t>(size);
  }
  return text.data();
}
