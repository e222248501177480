/*
 * The host contract: the records that a host owns and the script API reads, and the operations that
 * a host provides. libwz refers to all of them weakly, so the core library also loads into a
 * process that is no host at all; a host defines them as ordinary symbols and exports them
 * dynamically, because libwz and the scripts resolve them from the executable.
 *
 * Conventions
 *   Threads    One request at a time runs script code in a process. Nothing here is locked. Several
 *              requests at once take several processes.
 *   Ownership  The host owns every record and frees what hangs on it. Blocks that the library hands
 *              over in a record (values of variables, UrlDynamicData and what it points to) come
 *              from tracked allocation: give them back with WZLB_FREE of <wz/wzlb_alloc.h>, and
 *              allocate values that the library may replace with WZLB_MALLOC.
 *   Distances  A service holds no pointer. A distance is a number of bytes from the record that the
 *              field's comment names, so a service may lie in shared memory at any address.
 *   Texts      "In the pool" is a distance from the service's string pool; a NUL follows each text
 *              there. Lengths never count the NUL.
 *   Errors     -1 means "not found" or "failed"; no operation may throw or jump into the library.
 *
 * Order of calls
 *   At start   Define the globals, set the logs and masks, build the services. See <wz/wzlb.h> for
 *              what the core library wants to be told.
 *   A request  Fill a connection: scptr, uvtable, request_url, request_hdr, flag, the callback
 *              slots emptied, url_data null. Fill the variables that the service declares. Set
 *              cur_cptr. Set cur_url while the script handles the received request, null otherwise.
 *              Call the script. Read url_data for what it set, evaluate the response.
 *   After it   Free the values in uvtable and url_data, set cur_cptr, cur_url and kpi_magic to
 * null. Texts that a script left by pointer (http_status_line, kpi_magic) are gone with it. Call
 * wz_db_release_earlier_results of <wz/wz_database.h>.
 */
#ifndef VSD_HOST_H
#define VSD_HOST_H

#include <stdio.h>
#include <wz/wz_base.h>
#include <wz/wz_request_buffer.h>
#include <wz/wzlb_poi.h> /* create_table_entry, another operation of the host */
#include <wz/wzlb_user_var.h>

/* libwz itself refers to the host weakly; a host defines ordinary symbols. */
#ifdef WZ_BUILDING_LIBRARY
#define VSD_HOST_SYMBOL __attribute__((weak, visibility("default")))
#else
#define VSD_HOST_SYMBOL __attribute__((visibility("default")))
#endif

WZ_BEGIN_DECLS

/* ---- variable kinds: VarTransTableEntry.var_type -------------------------------------------- */

/**
 * The kinds that have a name. The library knows them, and the user-variable kinds without a name,
 * by what they allow:
 *
 *   2, 3, 5, 15, 20, 23, 24, 25   value in uvtable, may be an array, scripts may save
 *   14                            value in uvtable, scripts may save
 *   16, 17                        value in uvtable, may be an array
 *   8 to 12, 21                   value in uvtable
 *   4, 13, 22, 26 to 28           computed at each use, never saved
 *   18                            never evaluated; saving writes through to a data source
 *
 * Every other number is unknown: it evaluates to an empty value and cannot be saved.
 */
enum vsd_var_kind {
  VSD_SEARCH_VAR = 2,            /**< text between two boundaries */
  SCRATCH_VAR = 3,               /**< the script's own; saving it runs the searches in it again */
  VSD_DATE_VAR = 4,              /**< see parse_zel_cur_date_format_and_day_offset */
  VSD_QUERY_VAR = 5,             /**< parameter of the URL's query */
  VSD_REQUEST_VAR = 8,           /**< raw part of the request */
  VSD_RANDOM_NUMBER_VAR = 9,     /**< made up: see vsd_hash_table_shm_get_param */
  VSD_RANDOM_STRING_VAR = 10,    /**< made up, fake data too */
  VSD_UNIQUE_NUMBER_VAR = 11,    /**< made up */
  VSD_INDEX_VAR = 13,            /**< see get_index_var_idx */
  VSD_GLOBAL_INDEX_VAR = 18,     /**< see update_column_value_in_db */
  SYS_VAR_HTTP_METHOD_TYPE = 22, /**< see get_http_method */
  SYS_VAR_FWD_HOSTNAME = 26,     /**< backend host of the forward template */
  SYS_VAR_FWD_PORT = 27,         /**< see get_dynamic_fwd_port */
  SYS_VAR_FWD_PROTOCOL = 28      /**< see get_proto_type */
};

/** Protocols that vsd stores in connection.proto_type and get_proto_type names. The numbers are the
 * host's affair: the library only passes them on. */
#define VSD_PROTO_HTTP 0
#define VSD_PROTO_HTTPS 1
#define VSD_PROTO_TCP 2
#define VSD_PROTO_UDP 3

/** Bytes of the buffer into which a date variable's format is written, its NUL included. */
#define VSD_DATE_FORMAT_SIZE 4097

/* ---- per-request response data --------------------------------------------------------------- */

typedef struct ContentType {
  char *extension;          /**< not set by the library */
  char *content_type_hdr;   /**< the header line with CR LF and a NUL; a block of its own */
  int content_type_hdr_len; /**< its length, CR LF included */
} ContentType;

/**
 * What a script has set of the response. The library allocates the record, zeroed, when a script
 * first sets something, and everything it points to except http_status_line.
 */
typedef struct UrlDynamicData {
  ContentType *content_type; /**< null: the script has set none */
  char *http_hdrs;           /**< extra header lines, each ending in CR LF; NUL-terminated */
  long http_hdrs_len;        /**< bytes of http_hdrs */
  short http_status_code;    /**< 0 = not set */
  char *http_status_line;    /**< borrowed from the script, valid until the response is sent */
  int response_len;
  char *forward_req_header;
  long forward_req_header_len;
} UrlDynamicData;

/* ---- the connection -------------------------------------------------------------------------- */

struct scontents;

/** Connection flags. */
#define VSD_FLAG_IF_MODIFIED_SINCE 2 /**< the request has this validator */
#define VSD_FLAG_IF_NONE_MATCH 4     /**< the request has this validator */
#define VSD_FLAG_FORWARDED 64        /**< on a linked connection: it carries a forwarded request */

/** Connection states that the library tells apart; every other value means HTTP/1. */
#define VSD_STATE_HTTP2 12
#define VSD_STATE_HTTP3 13

/** Where the header text starts inside an HTTP/2 or HTTP/3 header block. */
#define VSD_HEADER_BLOCK_TEXT_OFFSET 8236

typedef struct RequestHeader {
  /** HTTP/1 header text from the request line through the empty line. The NUL must stand right
   * behind that: a lookup searches up to it. Null outside HTTP/1. */
  char *hdr_buffer;
  int hdr_start_idx; /**< where that text starts in hdr_buffer, in bytes */
} RequestHeader;

typedef struct HttpStream {
  UrlDynamicData *url_data; /**< set by the library to the response data of the stream's request */
} HttpStream;

/** HTTP/2 or HTTP/3 state of a connection. */
typedef struct HttpStreamState {
  HttpStream *cur_stream; /**< the stream being served, or null */
  /** Its header block; from VSD_HEADER_BLOCK_TEXT_OFFSET on header lines as HTTP/1 writes them,
   * each led by CR LF, and a NUL. Null: there is none. */
  char *header_block;
} HttpStreamState;

/**
 * A client's connection and the request that it has sent last. A host may embed this record in a
 * larger one of its own: the library only ever holds a pointer to it, from setting cur_cptr until
 * it changes.
 */
typedef struct connection {
  int fd;                  /**< socket, -1 when there is none */
  char proto_type;         /**< the host's number of its protocol, see get_proto_type */
  int conn_state;          /**< VSD_STATE_HTTP2, VSD_STATE_HTTP3 or anything else */
  int flag;                /**< VSD_FLAG_* */
  struct scontents *scptr; /**< service that the request matched; the library writes to
                              cr_scontents.jms_header and its count only */
  char *request_url;       /**< request target as received, NUL-terminated */
  /** One entry per user variable, see VarTransTableEntry.user_var_table_idx. Arrays have their flag
   * and their elements from the start: the library replaces elements and never adds any. */
  UserVarEntry *uvtable;
  UrlDynamicData *url_data; /**< null until a script sets something of the response */
  void *conn_link;          /**< forward connection (struct connection) of a forwarded request */
  int template_id_used;     /**< on a forward connection: its Cr_file_seg, or -1 for none */
  int keep_alive_timeout;   /**< seconds, as a script has set it; 0: the host's own */
  RequestBuffer *cur_buf;   /**< first block of the request, null when the host keeps no blocks */
  long bytes;               /**< bytes of the request */
  RequestHeader request_hdr;
  HttpStreamState *http2;         /**< null on other connections */
  HttpStreamState *h3_server_ptr; /**< null on other connections */
  char callback_variable[256];    /**< NUL-terminated text that a script keeps for itself */
  char callback_variable1[256];   /**< another one */
} connection;

/* ---- a service: byte distances, never pointers ----------------------------------------------- */

/** A response template of a service, as forwarding sees it. */
typedef struct Cr_file_seg {
  long backend_host_name; /**< in the pool */
  int backend_host_name_len;
  unsigned short backend_port; /**< the host's, for get_dynamic_fwd_port */
  int trace_log; /**< trace level while this response is in use; below 0: the service's */
} Cr_file_seg;

/** The start of a service. All distances count from here. */
typedef struct scontents {
  long cr_scptr_idx;       /**< distance to the cr_scontents block */
  long cr_resp_file_idx;   /**< distance to the array of Cr_file_seg */
  long string_big_buf_idx; /**< distance to the string pool */
  short service_type;      /**< 3: received data is kept when a script frees the request, and
                              scripts trace nothing */
  int trace_log_per_url;   /**< trace level of its scripts; below 0: the host's */
  /* Names, in the pool, that lead to its folder: what a script has written to a file there goes to
   * $VSD_ROOT/correlation/PROJECT/SUBPROJECT/services/FOLDER. */
  long project;
  long subproject;
  long folder;
  long service_name_idx; /**< distance to its name, NUL-terminated; 0: none */
} scontents;

/** What a variable is, by its hash code. */
typedef struct VarTransTableEntry {
  short var_type; /**< enum vsd_var_kind, or another kind by number */
  /** Row in the array of the kind's descriptors: VarTableEntry for kind 13, GlobalIndexVarTable for
   * kind 18. For other kinds the host's. */
  int table_idx;
  /** Entry of connection.uvtable. Must be valid for every kind: the library looks at the entry's
   * array flag before it looks at the kind. Kinds without a value may share one empty entry. */
  unsigned short user_var_table_idx;
} VarTransTableEntry;

/** One row of an index variable. */
typedef struct PointerTableEntry {
  long var_buf_pointer; /**< the value, in the pool; -1 for none */
  int size;             /**< its length */
} PointerTableEntry;

/** An index variable: get_index_var_idx chooses one of its rows. */
typedef struct VarTableEntry {
  long value_start_ptr; /**< distance from this descriptor to its PointerTableEntry rows */
  int num_rows;         /**< the host's */
} VarTableEntry;

/** A global index variable: a column of a data source, written and never read. */
typedef struct GlobalIndexVarTable {
  long var_name;          /**< in the pool */
  int idx_ds_index_table; /**< row of indexdatasource */
  long index_var_name;    /**< in the pool: the variable whose value is the row key */
  int hash_code;
  int param_seq_no; /**< column of the data source */
} GlobalIndexVarTable;

/** A search whose text is a scratch variable. The library reads the two hash codes. */
typedef struct SearchInParamTable {
  int hash_code;              /**< the definition's own variable */
  int search_in_var_hashcode; /**< the variable it searches in */
  long lb;                    /**< in the pool; from here on the host's */
  long rb;                    /**< in the pool */
  int ord;
  int start_offset;
  int save_len;
  char ignore_case;
  char search_in;
} SearchInParamTable;

/** Value of a JMS property; its type tells which member holds it. */
typedef union JMS_HeaderValue {
  signed char byte; /**< types 11 (1 for true, 2 for false) and 12 */
  double real;      /**< type 13 */
  float single;     /**< type 14 */
  int int32;        /**< type 15 */
  short int16;      /**< type 17 */
  long long int64;  /**< type 18 */
} JMS_HeaderValue;

/** A property of the JMS messages that a service sends. */
typedef struct JMS_Header {
  char jms_header[256]; /**< name */
  int type;             /**< 11 to 15, 17 or 18 */
  JMS_HeaderValue value;
} JMS_Header;

/** The compiled variables of a service. All distances count from the start of this block. */
typedef struct cr_scontents {
  long var_hash_table_idx;        /**< distance to the name table */
  long var_hash_table_next_state; /**< passed on to every lookup in it */
  long indexvar_start_idx;        /**< distance to the array of VarTableEntry */
  long g_indexvar_start_idx;      /**< distance to the array of GlobalIndexVarTable */
  long searchInParam_start_idx;   /**< distance to the array of SearchInParamTable; 0: none */
  int num_searchInParam_entries;
  long vars_trans_table_idx; /**< array of VarTransTableEntry; 0: the service has no variables */
  /** Properties that scripts have set, a tracked block of num_jms_headers records; null: none. The
   * only members that the library writes: a service with a script has its block in memory of the
   * process's own. They stay for every later request. */
  JMS_Header *jms_header;
  int num_jms_headers;
} cr_scontents;

struct __db; /* DB of Berkeley DB 5.3's <db.h> */

/** A column of a data source. */
typedef struct db_col {
  char col_name[128]; /**< NUL-terminated */
  int col_seq;        /**< position, from 0; the key column has 0 */
  char is_file;       /**< the host's */
} db_col;

/** How the rows of a data source are kept: vsdIndexDataSource.p_mode. */
#define VSD_PERSIST_NONE 0
#define VSD_PERSIST_EACH_CHANGE 2 /**< make_db_backup after each change */

/**
 * A data source with indexed rows: Berkeley DB records whose key is the row's first column and
 * whose data are the other columns, joined by the delimiter; no NUL belongs to either.
 */
typedef struct vsdIndexDataSource {
  char *table_name; /**< what scripts call it */
  /** The open table. The library puts a new one here when it empties a table that is not in a
   * shared environment; in a shared one, which other processes hold open, it truncates. */
  struct __db *db_table;
  int num_columns; /**< the key column included */
  db_col *column;  /**< `num_columns` of them */
  char col_delimiter;
  int first_data_line;     /**< the host's */
  char p_mode;             /**< VSD_PERSIST_* */
  char file_name[1024];    /**< persistence file; empty: none */
  unsigned int cache_size; /**< bytes of a table's cache of its own; 0: as it was */
} vsdIndexDataSource;

typedef struct HttpMethodInfo {
  char http_method[8]; /**< the name; NUL-terminated only when shorter than 8 */
  int http_method_len;
} HttpMethodInfo;

/** A growable string-to-index table of the host, held for the library. */
typedef struct VsdHashTable {
  void *host_data; /**< null until vsd_hash_table_init */
} VsdHashTable;

typedef struct VsdGlobalConfig {
  int debug_level; /**< level mask of vsd_debug_log_ex; 0: no debug lines, while there is a
                        module mask */
  unsigned long long module_mask; /**< module mask of vsd_debug_log_ex */
  double g_sys_max_load;          /**< the g_req_count that is full load, above 0 */
} VsdGlobalConfig;

/** What wz_get_controller_name returns; null until a host sets it. The text stays the host's. */
WZ_API extern char *g_vsd_controller_name;

/* ---- globals that the host defines ----------------------------------------------------------- */

/** The connection being served; null between requests. Set by the host alone. */
VSD_HOST_SYMBOL extern connection *cur_cptr;
/** What wz_get_url returns: the request target, NUL-terminated, while the script handles the
 * received request, and null at any other time. */
VSD_HOST_SYMBOL extern char *cur_url;
/** Set by the library to the caller's buffer with the query value found last. Never freed; the host
 * clears it after the request, because the buffer is usually on the script's stack. */
VSD_HOST_SYMBOL extern char *kpi_magic;
/** The load: requests taken in, over whatever time the host counts them; vsd: during the last
 * second by this process. Compared with VsdGlobalConfig.g_sys_max_load. */
VSD_HOST_SYMBOL extern unsigned long long g_req_count;
/** The generators of service times, made with wz_exp_init and wz_rand_init; below 0 while there are
 * none. */
VSD_HOST_SYMBOL extern int g_erand_gen_idx;
VSD_HOST_SYMBOL extern int g_urand_gen_idx;
/** Work directory, NUL-terminated. */
VSD_HOST_SYMBOL extern char g_wdir[1024];
/** The host's error log, null while none is open. The library only tests it. */
VSD_HOST_SYMBOL extern FILE *g_err_log;
/** Whether scripts trace where neither response nor service has a level: above 0 they do. */
VSD_HOST_SYMBOL extern int vsd_debug_trace_log_value;
/** Both masks are tested before a debug line's arguments are evaluated, unless both are 0: then the
 * host is called for every line and filters by itself. */
VSD_HOST_SYMBOL extern VsdGlobalConfig vsd_global_config;
/** Data sources of all services, `total_idxds_entries` of them. */
VSD_HOST_SYMBOL extern vsdIndexDataSource *indexdatasource;
VSD_HOST_SYMBOL extern int total_idxds_entries;

/* ---- operations that the host provides ------------------------------------------------------- */

/**
 * Looks a variable up by name. Called for every reference in every template: make it constant time.
 *
 * A lookup that succeeds is also remembered, because parse_zel_cur_date_format_and_day_offset is
 * not told which variable it is called for. And it precedes each use of a value: a host whose
 * variables have another value at every use puts that into uvtable here.
 *
 * @param table       Address of the service's name table, in whatever form the host builds it.
 * @param name        The name, `name_len` bytes, without a NUL.
 * @param name_len    Its length; a length below 0 finds nothing.
 * @param next_state  cr_scontents.var_hash_table_next_state. In vsd the number of slots.
 * @return            The variable's hash code, an index into the translation table; or -1.
 */
VSD_HOST_SYMBOL int vsd_hash_table_shm_get_param(char *table, char *name, int name_len,
                                                 long next_state);

/** Makes `table` an empty table. Called once for each; it lives as long as the process. */
VSD_HOST_SYMBOL void vsd_hash_table_init(VsdHashTable *table);
/** The index of the `len` bytes at `key`, or -1 when they are not in the table or it is not set up.
 */
VSD_HOST_SYMBOL int vsd_hash_table_get(VsdHashTable *table, char *key, int len);
/** Adds a copy of the `len` bytes at `key` and returns their index: 0, 1, 2, ... in the order
 * added, for a key that is there already its old one; -1 when the table is not set up. */
VSD_HOST_SYMBOL int vsd_hash_table_add(VsdHashTable *table, char *key, int len);

/**
 * Chooses the row of an index variable for the current request.
 *
 * @param descriptor  An element of the block's array of VarTableEntry.
 * @param cptr        The current connection, whose variables supply the key.
 * @param unused      Always -1.
 * @param block       The service's compiled variables.
 * @return            The row, counted from 0; -1 when no row applies: the value is empty then.
 */
VSD_HOST_SYMBOL int get_index_var_idx(VarTableEntry *descriptor, connection *cptr, int unused,
                                      cr_scontents *block);

/** The request's method, in a record of the host that the next call may overwrite; never null. A
 * connection without request text has an empty method. */
VSD_HOST_SYMBOL HttpMethodInfo *get_http_method(connection *cptr);

/** The backend port of a forwarded request; `resp_template` is the template chosen, or null. 0 when
 * there is none. */
VSD_HOST_SYMBOL unsigned short get_dynamic_fwd_port(connection *cptr, Cr_file_seg *resp_template);

/** The name of a connection's `proto_type`, as it stands in a URL ("http"). Lives as long as the
 * process; empty for an unknown number, never null. */
VSD_HOST_SYMBOL char *get_proto_type(int proto);

/**
 * Yields format and day offset of a date reference, {NAME}, {NAME,FORMAT} or {NAME,FORMAT,+N}.
 *
 * The library calls this right after it has resolved NAME through vsd_hash_table_shm_get_param and
 * tells nothing of the variable; the host therefore remembers table and hash code of the last
 * lookup that succeeded. It then formats the current date itself, without time offset, day type or
 * uniqueness. For a declaration that asks for more than a format and a day offset, hand over the
 * finished value as a format: its text with each '%' doubled, and the offset 0.
 *
 * @param text        What follows NAME, from the character that ended it, to the end of the whole
 *                    template: stop at the first '}'. "}" stands for the declared format and
 *                    offset; ",FORMAT}" replaces the format; a signed number behind the last comma
 *                    replaces the day offset. Blanks after a comma do not count.
 * @param format_out  Receives the strftime format and a NUL: VSD_DATE_FORMAT_SIZE bytes at most.
 * @param offset_out  Receives the days to add, of either sign.
 * @param unused      Always 0.
 */
VSD_HOST_SYMBOL void parse_zel_cur_date_format_and_day_offset(char *text, char *format_out,
                                                              int *offset_out, int unused);

/** Gives up the request's header text: hdr_buffer becomes null. A script asks for it. */
VSD_HOST_SYMBOL void free_hdr_buf(connection *cptr);

/** Gives up the received data: cur_buf becomes null and bytes 0. `flag` is always 0. */
VSD_HOST_SYMBOL void free_retrieve_data(connection *cptr, int flag);

/** Takes a socket out of whatever the host waits for. The library closes it right after and sets
 * connection.fd to -1; the host must not touch the descriptor again. */
VSD_HOST_SYMBOL void remove_select(int fd);

/**
 * Computes a search variable anew, because the scratch variable that it searches has been saved.
 * Called once for each SearchInParamTable row of that scratch variable, in table order, after its
 * new value is in place. Puts the result into the variable's own uvtable entry, and frees what was
 * there; a search that finds nothing leaves it without a value.
 *
 * @param cptr       The current connection.
 * @param hash_code  The definition's own hash code, SearchInParamTable.hash_code.
 * @param block      The service's compiled variables.
 */
VSD_HOST_SYMBOL void get_val_of_searchInParam_from_any_param(connection *cptr, int hash_code,
                                                             cr_scontents *block);

/**
 * Writes one column of a keyed row of a data source.
 *
 * @param db           vsdIndexDataSource.db_table.
 * @param key, value   NUL-terminated; not kept.
 * @param column       Position of the column, from 0; GlobalIndexVarTable.param_seq_no.
 * @param delimiter    vsdIndexDataSource.col_delimiter.
 * @param data_source  Row of indexdatasource.
 * @return             0, or -1 when nothing was written.
 */
VSD_HOST_SYMBOL int update_column_value_in_db(void *db, char *key, char *value, int column,
                                              char delimiter, int data_source);

/**
 * Reads one column of a keyed row; arguments as above.
 *
 * @return  The column's text, the key itself for column 0; null when there is no row with that key.
 *          The host's: the library does not free it, and a script gets it as it is.
 */
VSD_HOST_SYMBOL char *get_column_value_from_db(void *db, char *key, int column, char delimiter,
                                               int data_source);

/** Writes the persistence file of a data source. Called after each change of one whose p_mode is
 * VSD_PERSIST_EACH_CHANGE; what goes wrong is the host's to tell. */
VSD_HOST_SYMBOL void make_db_backup(int data_source);

/**
 * Enters a data source that several processes share: until vsd_data_source_leave no other one
 * changes it. The library brackets with the two whatever has to happen as a whole, calls the
 * operations above within, and looks at db_table anew inside. A host without them serves with one
 * process.
 *
 * @param data_source   Row of indexdatasource.
 * @param for_writing   Not 0: rows may change.
 * @return              0; otherwise a Berkeley DB error code, and the data source is not entered.
 */
VSD_HOST_SYMBOL int vsd_data_source_enter(int data_source, int for_writing);
VSD_HOST_SYMBOL void vsd_data_source_leave(int data_source);

/**
 * Writes a line to the host's debug log if both masks have a bit in common with those of
 * vsd_global_config. The line looks like one of the core library's debug log: a line feed, then
 * time stamp, file, line and function, each followed by '|', and the message, cut at 64000 bytes.
 * `cptr` is the connection being served, or null.
 */
VSD_HOST_SYMBOL void vsd_debug_log_ex(int level_mask, unsigned long long module_mask, char *file,
                                      int line, char *function, connection *cptr, char *format, ...)
    WZ_PRINTF(7, 8);

/**
 * Writes a line to the host's error log, to standard error while none is open. `severity` is 0xFF
 * (critical), 0xFF00 (major), 0xFF0000 (minor) or 0xFF000000 (warning); 0 writes nothing.
 * `error_id` and `error_attr` are texts of the caller and may be empty.
 */
VSD_HOST_SYMBOL void vsd_error_log_ex(int severity, char *file, int line, char *function,
                                      connection *cptr, char *error_id, char *error_attr,
                                      char *format, ...) WZ_PRINTF(8, 9);

/** Writes a message of a script to the host's trace log. The library has decided already that it is
 * wanted; the message carries its own time stamp. The place is the library's. */
VSD_HOST_SYMBOL void vsd_debug_tracelog(connection *cptr, char *file, int line, char *function,
                                        char *format, ...) WZ_PRINTF(5, 6);

/** A random number from `min` to `max`, both inclusive, as `format` (of `format_len` bytes, with
 * one integer conversion) prints it. */
VSD_HOST_SYMBOL int get_formated_random_number_int(char *format, int format_len, int min, int max);

/** Writes the message to the error log and to standard error and ends the process with `status`,
 * running its exit handlers. Does not return. */
VSD_HOST_SYMBOL void vsd_exit(int status, char *format, ...) WZ_PRINTF(2, 3);

WZ_END_DECLS

#endif
