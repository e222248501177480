/**
 * @file wz_database.h
 * Databases: PostgreSQL through one connection of the process, anything else through ODBC.
 *
 *     char name[128], name_literal[262], query[512];
 *
 *     wz_chk_strcpy(name, wz_eval_string("{name}"), sizeof name);
 *     if (wz_db_escape_literal(name, name_literal, sizeof name_literal) < 0)
 *       return;
 *     snprintf(query, sizeof query, "select balance from accounts where name = %s", name_literal);
 *     if (wz_db_execute_query(query) == 0 && wz_db_get_nrows() == 1)
 *       wz_save_string(wz_db_get_value(0, 0), "balance");
 *     wz_db_clear_result();
 *
 * The query functions pass SQL text through as it is. A value that comes from a request must go
 * through wz_db_escape_literal or wz_odbc_db_escape_literal first, or whoever sends the request
 * writes your SQL.
 *
 * Connections belong to the worker process and outlive the request. The conventions of
 * <wz/wz_script.h>, which includes this header, hold here too. Failures are told in the host's
 * error log.
 */
#ifndef WZ_DATABASE_H
#define WZ_DATABASE_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/* ---- PostgreSQL ---- */

#define WZ_DB_CONNECTION_SIZE 1024
/** What connString holds until the host sets it. */
#define WZ_DB_DEFAULT_CONNECTION "dbname=vsd user=vsd application_name=vsd"

/**
 * What wz_db_connect connects with: a connection string or URI of libpq, NUL-terminated. vsd sets
 * it from its keyword DB_CONNECTION. A change counts for the next connection; the log shows the
 * text, so leave passwords to libpq's password file.
 */
WZ_API extern char connString[WZ_DB_CONNECTION_SIZE];

/** Connects, unless there is a connection. Returns 0; -1 when that fails. */
WZ_API int wz_db_connect(void);

/** Clears the results and closes the connection, if there is one. Returns 0. */
WZ_API int wz_db_close(void);

/**
 * Runs a query, after connecting when there is no connection, and keeps its result.
 *
 * @param query  One or more SQL statements; the result is that of the last one.
 * @return       0; -1 when the query fails: then there is no result, and the connection is closed
 *               whatever the reason was, deliberately, so that the next call starts on a new one.
 *               A transaction that was open is rolled back by that.
 *
 * Texts that came from wz_db_get_value stay valid over the next query, until wz_db_clear_result,
 * wz_db_close or the end of the request. Notices of the server go to standard error.
 */
WZ_API int wz_db_execute_query(char *query);

/** Rows of the last query's result; -1 without one. */
WZ_API int wz_db_get_nrows(void);
/** Columns of the last query's result; -1 without one. */
WZ_API int wz_db_get_nfields(void);

/**
 * One field of the last query's result, as text.
 *
 * @param rowno,fieldno  Counted from 0.
 * @return               The text, empty for an SQL NULL; null without a result and beyond its rows
 *                       or columns.
 */
WZ_API char *wz_db_get_value(int rowno, int fieldno);

/** Gives the result back. Returns 0; -1 without one. */
WZ_API int wz_db_clear_result(void);

/**
 * Makes an SQL literal of a text, quotes included, for the server that the process is connected to;
 * connects if need be.
 *
 * @param text     The text.
 * @param literal  Receives the literal and a NUL: up to 2 x strlen(text) + 5 bytes.
 * @param size     Bytes of `literal`.
 * @return         The literal's length; -1, and an empty `literal`, without a connection, for a
 * text that is no valid text in the client's encoding and for one that does not fit.
 */
WZ_API int wz_db_escape_literal(const char *text, char *literal, int size);

/** For hosts: gives back what earlier queries of a request have left; the last result stays. Call
 * it at the end of each request, or memory grows with scripts that never clear their results. */
WZ_API void wz_db_release_earlier_results(void);

/* ---- ODBC ---- */

/**
 * Connects to an ODBC data source, or finds the connection that was made with the same string.
 *
 * @param conn_str      A connection string of fewer than 1024 characters, such as
 *                      "Driver=SQLite3;Database=/srv/vsd/shop.sqlite" or "DSN=shop".
 * @param err_msg       Receives the message of a failure; untouched on success. May be null.
 * @param err_msg_size  Bytes of `err_msg`; longer messages are cut.
 * @return              The connection id, the same for the same string as long as the process
 * lives; -1 when a step fails. A later call tries again from the step that failed.
 */
WZ_API int wz_odbc_db_init_connect(char *conn_str, char *err_msg, int err_msg_size);

/**
 * Runs a query on a connection.
 *
 * Rows are read only when the query holds the word "select" in any case, anywhere. They become one
 * text: the columns of a row joined by commas, rows by line feeds, an SQL NULL as NULL. Nothing is
 * quoted, so a comma in a value looks like one between columns. A value is cut to 1023 bytes.
 *
 * @param conn_id       From wz_odbc_db_init_connect.
 * @param qstr          The query.
 * @param retbuf        Receives the text. May be null when only the file is wanted.
 * @param retbuf_len    Bytes of `retbuf`; 0: the text is not wanted. From the first column on that
 *                      does not fit nothing more is added: the text ends with the column before it
 *                      and, within a row, that one's comma.
 * @param file          Also append the rows to this file in the folder of the service, under
 *                      $VSD_ROOT; null or empty: no file. There each row ends in a line feed, and
 *                      all rows are written whatever `retbuf_len` is.
 * @param err_msg       Receives the message of a failure; untouched on success. May be null.
 * @param err_msg_size  Bytes of `err_msg`.
 * @return              0, also for a statement that touches no row; -1 on failure. The connection
 *                      survives a failing query. When the server is gone every query fails until
 *                      wz_odbc_db_disconnect and wz_odbc_db_init_connect.
 *
 * A query with more than 128 columns loses the others, with a message on standard error.
 */
WZ_API int wz_odbc_db_exec_query(int conn_id, char *qstr, char *retbuf, int retbuf_len, char *file,
                                 char *err_msg, int err_msg_size);

/** Ends a connection. Returns 0; -1 with a message for an id that does not exist.
 * wz_odbc_db_init_connect with the same string connects again, under the same id. */
WZ_API int wz_odbc_db_disconnect(int conn_id, char *err_msg, int err_msg_size);

/**
 * Makes a literal of standard SQL of a text: in quotes, with each quote in it doubled. Not for
 * servers that read backslashes in literals, which is what MySQL does unless it runs in the mode
 * NO_BACKSLASH_ESCAPES.
 *
 * @param text     The text.
 * @param literal  Receives the literal and a NUL: up to 2 x strlen(text) + 3 bytes.
 * @param size     Bytes of `literal`.
 * @return         The literal's length; -1, and an empty `literal`, when it does not fit.
 */
WZ_API int wz_odbc_db_escape_literal(const char *text, char *literal, int size);

/**
 * What the driver says about the last call on a handle, one diagnostic record behind the other.
 *
 * @param fn      Name of the call, for the text.
 * @param handle  The ODBC handle.
 * @param type    SQL_HANDLE_ENV, SQL_HANDLE_DBC or SQL_HANDLE_STMT.
 * @return        A text of at most 2047 characters, valid until the next call; records that do not
 *                fit are left out.
 */
WZ_API char *extract_error(char *fn, void *handle, short type);

/** Adds ten slots to the table of ODBC connections. wz_odbc_db_init_connect does it when it needs
 * one; the ids that are in use stay. */
WZ_API void vsd_allocate_str_for_db_api(void);

WZ_END_DECLS

#endif
