#include <stdio.h>
#include <string.h>
#include <wz/wz_script.h>
#include <wz/wzlb_wdir.h>

#define OWNER_SIZE 81                         /* 80 characters and the NUL */
#define LITERAL_SIZE (2 * (OWNER_SIZE - 1) + 5)

static char create_table[] =
    "create table if not exists accounts (owner varchar(80) primary key, cents bigint not null)";

/* The operator has set DB_CONNECTION. */
static int has_postgres(void)
{
  return strcmp(connString, WZ_DB_DEFAULT_CONNECTION) != 0;
}

/* The connection to a file of SQLite, made at the first call; -1 when it cannot be made. */
static int sqlite_connection(void)
{
  char text[WZLB_WDIR_SIZE + 128];

  snprintf(text, sizeof text, "Driver=SQLite3;Timeout=5000;Database=%s/.cache/accounts.sqlite",
           g_wz_wdir);
  return wz_odbc_db_init_connect(text, NULL, 0);
}

/* Runs SQL that both databases understand. Puts the first field of its result into `field`, which
 * stays as it is without one. 0, or -1. */
static int run(char *sql, char *field, int size)
{
  if (!has_postgres())
    return wz_odbc_db_exec_query(sqlite_connection(), sql, field, size, NULL, NULL, 0);
  if (wz_db_execute_query(sql) != 0)
    return -1;
  if (wz_db_get_nrows() > 0)
    wz_chk_strcpy(field, wz_db_get_value(0, 0), size);
  return wz_db_clear_result();
}

/* What stands in the request goes into SQL only like this. */
static int owner_literal(char *literal)
{
  char owner[OWNER_SIZE];

  if (wz_chk_strcpy(owner, wz_eval_string("{owner}"), sizeof owner) != 0)
    return -1;
  return has_postgres() ? wz_db_escape_literal(owner, literal, LITERAL_SIZE)
                        : wz_odbc_db_escape_literal(owner, literal, LITERAL_SIZE);
}

void post_recv(void)
{
  static int has_table;
  char sql[512], owner[LITERAL_SIZE], cents[32] = "";

  if (!has_table && run(create_table, cents, sizeof cents) == 0)
    has_table = 1;
  wz_save_string(has_postgres() ? "PostgreSQL" : "SQLite", "database");
  wz_save_string("yes", "problem");
  if (owner_literal(owner) < 0)
    return;
  if (strcmp(wz_eval_string("{http_method}"), "POST") == 0) {
    snprintf(sql, sizeof sql,
             "insert into accounts values (%s, %d) "
             "on conflict (owner) do update set cents = accounts.cents + excluded.cents",
             owner, wz_get_int_val("amount"));
    if (run(sql, cents, sizeof cents) != 0)
      return;
  }
  snprintf(sql, sizeof sql, "select cents from accounts where owner = %s", owner);
  if (run(sql, cents, sizeof cents) != 0)
    return;
  wz_save_string(cents, "cents");
  wz_save_string("no", "problem");
}
