// A query through the script API beside bare libpq, on one server that the benchmark starts.
#include <libpq-fe.h>
#include <wz/wz_database.h>

#include <cstdlib>
#include <string>

#include "bench/side_by_side.h"
#include "tests/support/postgres_server.h"

namespace {

constexpr int kCalls = 5;  // a turn is short beside what else the machine does

void select_one(benchmark::State& state) {
  const wz::test::PostgresServer server;
  const std::string text = server.connection();
  connString[text.copy(connString, sizeof connString - 1)] = '\0';
  PGconn* bare = PQconnectdb(text.c_str());
  char query[] = "select 1";
  if (wz_db_connect() != 0 || PQstatus(bare) != CONNECTION_OK) {
    std::abort();
  }
  bench::compare(
      state, kCalls,
      [&] {
        wz_db_execute_query(query);
        benchmark::DoNotOptimize(wz_db_get_value(0, 0));
        wz_db_clear_result();
      },
      [&] {
        PGresult* result = PQexec(bare, query);
        benchmark::DoNotOptimize(PQgetvalue(result, 0, 0));
        PQclear(result);
      });
  PQfinish(bare);
  wz_db_close();
}
BENCHMARK(select_one)->Name("select_1")->Iterations(4001);

}  // namespace
