// Databases behind a real vsd.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/capture.h"
#include "tests/support/http_client.h"
#include "tests/support/postgres_server.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

constexpr const char* kOwner = "/accounts?owner=O'Neil";

TEST(Databases, AccountsAreInEitherKind) {
  wz::test::PostgresServer server;
  VsdProcess sqlite(EXAMPLES_FOLDER, "WORKERS 2");
  VsdProcess postgres(EXAMPLES_FOLDER, "WORKERS 2\nDB_CONNECTION " + server.connection());
  for (const auto& [vsd, name] : {std::pair(&sqlite, "SQLite"), {&postgres, "PostgreSQL"}}) {
    for (int i = 1; i <= 6; ++i) {  // each through a worker of its own choice
      EXPECT_EQ(HttpClient().post(vsd->url(kOwner), "<cents>7</cents>").body,
                "{\"cents\": " + std::to_string(7 * i) + ", \"database\": \"" + name + "\"}\n");
    }
    EXPECT_EQ(HttpClient().get(vsd->url("/accounts?owner='%20or%201=1--")).status, 404);
  }
  HttpClient client;  // stays with one worker
  const auto status = [&] { return client.get(postgres.url(kOwner)).status; };
  EXPECT_EQ(status(), 200);
  server.crash();
  EXPECT_EQ(status(), 503);
  server.start();
  EXPECT_EQ(status(), 200);
}

TEST(Databases, RowsAreAppendedToAFileOfTheService) {
  const wz::test::TemporaryFolder work;
  const std::string folder = "correlation/bank/retail/services/export/";
  work.write(folder + "service.wz",
             "wz_service(export, url=\"/export\");\nwz_scratch_var(rows);\n"
             "wz_response(rows, file=\"rows.txt\");\n");
  work.write(folder + "rows.txt", "[{rows}]");
  work.write(folder + "script.c", R"(#include <wz/wz_script.h>
      void post_recv(void) {
        char rows[4], why[256] = "none";
        int id = wz_odbc_db_init_connect("Driver=SQLite3;Database=:memory:", why, sizeof why);
        int result = wz_odbc_db_exec_query(id, "select 'a', null union all select null, 'b'", rows,
                                           sizeof rows, "rows.csv", why, sizeof why);
        wz_save_string(result == 0 ? rows : why, "rows");
      })");
  setenv("VSD_ROOT", "/nowhere", 1);  // --root goes before it, in scripts too
  VsdProcess vsd(work.path());
  unsetenv("VSD_ROOT");
  HttpClient client;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(client.get(vsd.url("/export")).body, "[a,]");
  }
  const std::string rows = "a,NULL\nNULL,b\n";
  EXPECT_EQ(wz::test::content_of(vsd.root() / folder / "rows.csv"), rows + rows);
  EXPECT_EQ(vsd.stop(), 0);
}

}  // namespace
}  // namespace vsd::test
