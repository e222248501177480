// Databases: a PostgreSQL server that comes and goes, and ODBC with two drivers.
#include <cstring>

#include "tests/script/script_test.h"
#include "tests/support/postgres_server.h"

namespace {

using wz::test::arg;
using wz::test::expect_in_order;
using wz::test::PostgresServer;
using wz::test::ScriptTest;

// A text becomes a literal that the server takes for that text.
template <typename Escape, typename Select>
void expect_literals(Escape escape, Select select) {
  std::array<char, 32> literal{};
  for (const char* text : {"", "O'Neil", "'; drop table t; --", "a\\'b\\", "\xC3\xA4?{x}"}) {
    const int length = escape(text, literal.data(), 32);
    EXPECT_EQ(length, static_cast<int>(std::strlen(literal.data()))) << text;
    EXPECT_EQ(select(std::string("select ") + literal.data()), text);
  }
  EXPECT_EQ(escape("O'Neil", literal.data(), 10), 9);
  EXPECT_EQ(escape("O'Neil", literal.data(), 9), -1);
  EXPECT_STREQ(literal.data(), "");
  EXPECT_EQ(escape(nullptr, literal.data(), 9), -1);
}

class PostgresTest : public ScriptTest {
 protected:
  void SetUp() override {
    serve("wz_scratch_var(a);");
    const std::string text = server_.connection();
    connString[text.copy(connString, sizeof connString - 1)] = '\0';
    start_logs();
  }
  ~PostgresTest() override { wz_db_close(); }

  static int query(const std::string& text) { return wz_db_execute_query(arg(text.c_str())); }
  static std::string select(const std::string& text) {
    return query(text) == 0 ? wz_db_get_value(0, 0) : "failed";
  }

  PostgresServer server_;
};

TEST_F(PostgresTest, QueriesAndHandsOutResults) {
  EXPECT_EQ(wz_db_close(), 0);
  EXPECT_EQ(wz_db_get_nrows(), -1);
  EXPECT_EQ(wz_db_get_nfields(), -1);
  EXPECT_EQ(wz_db_get_value(0, 0), nullptr);
  EXPECT_EQ(wz_db_clear_result(), -1);
  EXPECT_EQ(wz_db_connect() + wz_db_connect(), 0);
  EXPECT_EQ(query("create table t(n int, s text); insert into t values (1, 'one'), (2, null)"), 0);
  ASSERT_EQ(query("select n, s from t order by n"), 0);
  EXPECT_EQ(wz_db_get_nrows(), 2);
  EXPECT_EQ(wz_db_get_nfields(), 2);
  const char* one = wz_db_get_value(0, 1);
  EXPECT_STREQ(wz_db_get_value(1, 1), "");  // NULL
  EXPECT_EQ(wz_db_get_value(2, 0), nullptr);
  EXPECT_EQ(query("copy t to stdout"), 0);
  EXPECT_EQ(select("select repeat('x', 1000000)").size(), 1000000U);
  EXPECT_STREQ(one, "one");  // of the result before
  wz_db_release_earlier_results();
  EXPECT_EQ(wz_db_clear_result(), 0);
  expect_literals(wz_db_escape_literal, select);
  std::array<char, 8> literal{};
  EXPECT_EQ(wz_db_escape_literal("\xFF", literal.data(), 8), -1);
  EXPECT_EQ(wz_db_close(), 0);
  const std::string making =
      "|Making connection to DB using connection string " + server_.connection();
  expect_in_order(
      debug_log(),
      {"wz_db_close|No active db connection found", making.c_str(),
       "|db connection successfully created.", "wz_db_connect|Connection already available.",
       "wz_db_execute_query|Method called. query = 'create table", "|Query successfully executed.",
       "wz_db_get_nrows|Number of rows = 2", "wz_db_get_nfields|Number of fields = 2",
       "|Field value for row_id 0 and field_id 1 is one", "|db result successfully cleared.",
       "wz_db_close|Closing connection to DB", "|db connection successfully closed."});
  expect_in_order(error_log(), {"|Failed to get nrows ,db-error: No query exectued.",
                                "|Failed to get nfields ,db-error: No query exectued.",
                                "|Failed to get value ,db-error: No query exectued.",
                                "|Failed to clear result ,db-error: No query executed."});
}

TEST_F(PostgresTest, ReconnectsAfterFailedQueriesAndLostServers) {
  const std::string backend = "select pg_backend_pid()";
  const std::string first = select(backend);
  EXPECT_EQ(select(backend), first);
  EXPECT_EQ(query("begin; create table lost(n int)"), 0);
  EXPECT_EQ(query("selec"), -1);
  EXPECT_EQ(wz_db_get_nrows(), -1);
  EXPECT_NE(select(backend), first);
  // The table went with its transaction.
  for (const char* bad : {"select * from lost", "", "copy pg_class from stdin", "select 1/0"}) {
    EXPECT_EQ(query(bad), -1) << bad;
    EXPECT_EQ(select("select 1"), "1");
  }
  EXPECT_EQ(wz_db_execute_query(nullptr), -1);
  EXPECT_EQ(wz_db_connect(), 0);
  server_.crash();
  EXPECT_EQ(query("select 1"), -1);  // notices
  EXPECT_EQ(query("select 1"), -1);  // cannot connect
  server_.start();
  EXPECT_EQ(select("select 1"), "1");
  const std::string failed = "|Failed to connect to database using connection string " +
                             server_.connection() + ". Error = connection to server on socket";
  expect_in_order(
      error_log(),
      {"Error|Failed to execute query, db-error: 'ERROR:  syntax error at or near \"selec\"",
       "db-error: 'ERROR:  division by zero", failed.c_str(),
       "|Failed to execute query, db-error: failed to connect to db"});
}

class OdbcTest : public ScriptTest {
 protected:
  void SetUp() override {
    serve("wz_scratch_var(a);");
    start_logs();
  }

  std::string sqlite(const std::string& name = "test.sqlite") {
    return "Driver=" SQLITE_DRIVER ";Database=" + (folder().path() / name).string();
  }
  int connect_to(const std::string& text) {
    return wz_odbc_db_init_connect(arg(text.c_str()), message_, sizeof message_);
  }
  // The rows as text, or the message of the failure.
  std::string query(int id, const std::string& text, int size = 4096, const char* file = nullptr) {
    std::memset(rows_, '#', sizeof rows_);
    if (wz_odbc_db_exec_query(id, arg(text.c_str()), rows_, size, arg(file), message_,
                              sizeof message_) != 0) {
      return message_;
    }
    EXPECT_EQ(rows_[size], '#');
    return rows_[0] == '#' ? "untouched" : rows_;
  }

  char message_[256] = "";
  char rows_[65536];
};

TEST_F(OdbcTest, FindsConnectionsByTheirText) {
  std::vector<std::string> texts;
  for (int i = 0; i < 12; ++i) {
    texts.push_back(sqlite(std::to_string(i)));
    EXPECT_EQ(connect_to(texts.back()), connect_to(texts[0]) + i) << message_;
  }
  const int lowest = connect_to(texts[0]);
  for (int i = 11; i >= 0; --i) {
    EXPECT_EQ(query(connect_to(texts[i]), "select " + std::to_string(i)), std::to_string(i));
  }
  const std::string first =
      "|Connection id for [" + texts[0] + "] is " + std::to_string(lowest) + ". is new = ";
  const std::string traced = debug_log();
  if (lowest == 0) {  // each test has a process of its own
    expect_in_order(traced, {"|db_api_max_structs = 10, db_api_total_structs = 0",
                             "|db_api_max_structs = 20, db_api_total_structs = 10"});
  }
  expect_in_order(
      traced,
      {"wz_odbc_db_init_connect|Method Called", (first + "1.").c_str(),
       "|SQLAllocHandle(Env) succeeded", "|SQLSetEnvAttr(ODBC version) succeeded",
       "|SQLAllocHandle(dbc) succeeded", "|Connected to database. returned string was: [",
       "|SQLDriverConnect(dbc) succeeded", "|Successfully allocated stmt handle",
       (first + "0.").c_str(), "|SQLSetEnvAttr(ODBC version) is already done for this connection.",
       "|SQLDriverConnect(dbc) is already done for this connection.",
       "|SQLAllocHandle(stmt) is already done for this connection.",
       "wz_odbc_db_exec_query|Method Called. "});
}

TEST_F(OdbcTest, TellsWhatIsWrong) {
  EXPECT_EQ(wz_odbc_db_init_connect(nullptr, message_, 8), -1);
  EXPECT_STREQ(message_, "Error: ");
  EXPECT_EQ(connect_to(std::string(1024, 'x')), -1);
  EXPECT_EQ(connect_to("Driver=/nowhere.so"), -1);
  EXPECT_TRUE(std::string(message_).starts_with(
      "Failed to connect: [ODBC driver reported following diagnostics whilst running "
      "'SQLDriverConnect':  [state:01000; msg#:1; native:0; message:"))
      << message_;
  const int id = connect_to(sqlite());
  const std::string never =
      "Error: vsd_odbc_db_init_connect() not called prior to vsd_odbc_db_exec_query()";
  EXPECT_EQ(query(id - 1, "select 1"), never);
  for (const int bad : {-1, id + 1}) {
    EXPECT_EQ(query(bad, "select 1"), "Error: Provided connection is invalid.");
    EXPECT_EQ(wz_odbc_db_disconnect(bad, message_, sizeof message_), -1);
    EXPECT_STREQ(message_, "Error: Provided connection is invalid.");
  }
  EXPECT_EQ(query(id, ""), "Error: Empty query string");
  EXPECT_EQ(query(id, "select * from none"), "Error in executing the query: [select * from none]");
  EXPECT_EQ(query(id, "select 1", 8, "rows.csv").find("Cannot Open file = "), 0U);
  EXPECT_EQ(query(id, "select 1"), "1");  // the connection has survived all of it
  EXPECT_EQ(wz_odbc_db_disconnect(id, nullptr, 0), 0);
  EXPECT_EQ(query(id, "select 1"), never);
  EXPECT_EQ(connect_to(sqlite()), id);
  EXPECT_EQ(query(id, "select 1"), "1");
  expect_in_order(error_log(), {"Error|Error: Connection string is NULL.", "|Failed to connect: [",
                                "no such table: none", "|Error in executing the query: [",
                                "Error|Cannot Open file = "});
}

TEST_F(OdbcTest, MakesTextOfRows) {
  const int id = connect_to(sqlite());
  const std::string all = "select a, b from t";
  const std::string rows = "one,NULL\nNULL,2\n,";
  const int exact = static_cast<int>(rows.size()) + 1;
  const std::tuple<std::string, int, std::string> cases[] = {
      {"create table t(a text, b text)", 9, "untouched"},
      {"SeLeCt * from t", 1, ""},
      {"insert into t values ('one', null), (null, '2'), ('', '')", 9, "untouched"},
      {"insert into t select 'x', 'y'", 9, ""},  // the word counts
      {"delete from t where a = 'x'", 9, "untouched"},
      {"update t set a = 'y' where a = 'z'", 9, "untouched"},  // touches no row
      {all, exact, rows},
      {all, exact - 1, rows.substr(0, 16)},  // the NUL takes the place of a comma
      {all, exact - 2, rows.substr(0, 15)},  // no line feed without a row
      {all, 9, "one,NULL"},
      {all, 8, "one,"},  // nothing more once a column does not fit
      {all, 4, "one"},
      {all, 3, ""},
      {all, 0, "untouched"},
  };
  for (const auto& [text, size, result] : cases) {
    EXPECT_EQ(query(id, text, size), result) << text << size;
  }
  EXPECT_EQ(wz_odbc_db_exec_query(id, arg(all.c_str()), rows_, -5, nullptr, nullptr, 0), 0);
  EXPECT_EQ(wz_odbc_db_exec_query(id, arg(all.c_str()), nullptr, 9, nullptr, nullptr, 0), 0);
  EXPECT_NE(debug_log().find("|No buffer is provided for Query [" + all + "]."), std::string::npos);
  expect_literals(wz_odbc_db_escape_literal, [&](const auto& text) { return query(id, text); });
}

TEST_F(OdbcTest, ReadsManyColumnsAndRows) {
  const int id = connect_to(sqlite());
  std::string columns = "1";
  std::string numbers = "select 1";
  for (int i = 2; i <= 130; ++i) {
    numbers += "," + std::to_string(i);
    columns += i <= 128 ? "," + std::to_string(i) : "";
  }
  const std::string printed = wz::test::stderr_of([&] { EXPECT_EQ(query(id, numbers), columns); });
  EXPECT_EQ(printed,
            "Number of Columns return by the query was large (130). Truncated to 128 columns.\n");
  const std::string counter =
      "with recursive c(n) as (select 1 union all select n + 1 from c where n < 9999) ";
  const std::string counted = query(id, counter + "select n from c", 65000);
  EXPECT_EQ(counted.size(), 9U * 2 + 90 * 3 + 900 * 4 + 9000 * 5 - 1);
  EXPECT_TRUE(counted.ends_with("\n9998\n9999"));
  EXPECT_EQ(query(id, counter + "select group_concat(n, '') from c").size(), 1023U);
}

// The driver of a server that goes away, and diagnostics of several records.
TEST_F(OdbcTest, SurvivesALostServer) {
  PostgresServer server;
  const std::string text = "Driver=" POSTGRES_DRIVER ";Servername=" + server.folder() +
                           ";Database=postgres;Username=tester";
  const int id = connect_to(text);
  ASSERT_GE(id, 0) << message_;
  EXPECT_EQ(query(id, "create table t(a text, n int)"), "untouched");
  EXPECT_EQ(query(id, "insert into t values ('a', null), ('b', 2)"), "untouched");
  EXPECT_EQ(query(id, "select * from t; select 1"), "a,NULL\nb,2");
  EXPECT_EQ(query(id, "select 1/0"), "Error in executing the query: [select 1/0]");
  EXPECT_EQ(query(id, "select count(*) from t"), "2");
  server.crash();
  EXPECT_EQ(query(id, "select 1"), "Error in executing the query: [select 1]");
  EXPECT_EQ(wz_odbc_db_disconnect(id, nullptr, 0), 0);
  EXPECT_EQ(connect_to(text), -1);
  server.start();
  EXPECT_EQ(connect_to(text), id);
  EXPECT_EQ(query(id, "select count(*) from t"), "2");
  // The driver cuts its text into records of 1023 characters; one that does not fit is left out.
  for (const std::size_t size : {1500, 3000}) {
    EXPECT_EQ(query(id, "select '" + std::string(size, 'x') + "'::int").find("Error in exec"), 0U);
  }
  const std::string log = error_log();
  expect_in_order(log,
                  {"ODBC driver reported following diagnostics whilst running 'SQLExecDirect': "
                   " [state:22012; msg#:1; native:",
                   "; message:ERROR: division by zero", " [state:22P02; msg#:1; native:",
                   "xxx [state:22P02; msg#:2; native:", " [state:22P02; msg#:1; native:"});
  EXPECT_EQ(log.find("msg#:2", log.find("msg#:2") + 1), std::string::npos);
  EXPECT_STREQ(extract_error(arg("fn"), nullptr, 2),
               "ODBC driver reported following diagnostics whilst running 'fn': ");
}

}  // namespace
