/*
 * The host contract: the records that a host owns and the script API reads, and the operations that
 * a host provides. libwz refers to all of them weakly, so the core library also loads into a
 * process that is no host at all.
 */
#ifndef VSD_HOST_H
#define VSD_HOST_H

#include <stdio.h>
#include <wz/wz_base.h>
#include <wz/wzlb_user_var.h>

/* libwz itself refers to the host weakly; a host defines ordinary symbols. */
#ifdef WZ_BUILDING_LIBRARY
#define VSD_HOST_SYMBOL __attribute__((weak, visibility("default")))
#else
#define VSD_HOST_SYMBOL __attribute__((visibility("default")))
#endif

WZ_BEGIN_DECLS

/* ---- variable kinds: VarTransTableEntry.var_type -------------------------------------------- */

enum vsd_var_kind {
  VSD_SEARCH_VAR = 2,
  SCRATCH_VAR = 3,
  VSD_DATE_VAR = 4,
  VSD_QUERY_VAR = 5,
  VSD_REQUEST_VAR = 8,
  VSD_INDEX_VAR = 13,
  VSD_GLOBAL_INDEX_VAR = 18,
  SYS_VAR_HTTP_METHOD_TYPE = 22,
  SYS_VAR_FWD_HOSTNAME = 26,
  SYS_VAR_FWD_PORT = 27,
  SYS_VAR_FWD_PROTOCOL = 28
};

/** Protocols of a connection: what get_proto_type names. */
#define VSD_PROTO_HTTP 0
#define VSD_PROTO_HTTPS 1

/** Bytes that the buffer holds into which a date variable's format is written. */
#define VSD_DATE_FORMAT_SIZE 4097

/* ---- per-request response data --------------------------------------------------------------- */

typedef struct ContentType {
  char *extension;          /**< not set by the library */
  char *content_type_hdr;   /**< the header line with CR LF */
  int content_type_hdr_len; /**< its length, CR LF included */
} ContentType;

typedef struct UrlDynamicData {
  ContentType *content_type;
  char *http_hdrs;        /**< extra header lines, each ending in CR LF; NUL-terminated */
  long http_hdrs_len;     /**< bytes of http_hdrs */
  short http_status_code; /**< 0 = not set */
  char *http_status_line; /**< borrowed from the script */
  int response_len;
  char *forward_req_header;
  long forward_req_header_len;
} UrlDynamicData;

/* ---- the connection -------------------------------------------------------------------------- */

struct scontents;

/** Connection flags. */
#define VSD_FLAG_IF_MODIFIED_SINCE 2
#define VSD_FLAG_IF_NONE_MATCH 4
#define VSD_FLAG_FORWARDED 64

/** Connection states that the library tells apart; every other value means HTTP/1. */
#define VSD_STATE_HTTP2 12
#define VSD_STATE_HTTP3 13

/** Where the header text starts inside an HTTP/2 or HTTP/3 header block. */
#define VSD_HEADER_BLOCK_TEXT_OFFSET 8236

typedef struct RequestHeader {
  char *hdr_buffer;  /**< HTTP/1 header text, NUL-terminated, from the request line on */
  int hdr_start_idx; /**< where it starts in hdr_buffer */
} RequestHeader;

typedef struct HttpStream {
  UrlDynamicData *url_data; /**< the response data of the stream's request */
} HttpStream;

/** HTTP/2 or HTTP/3 state of a connection. */
typedef struct HttpStreamState {
  HttpStream *cur_stream; /**< the stream being served, or null */
  char *header_block;     /**< its header block; text from VSD_HEADER_BLOCK_TEXT_OFFSET on */
} HttpStreamState;

#define VSD_REQUEST_BLOCK_SIZE 1022

/** One block of the request as it was received. */
typedef struct RequestBuffer {
  char buffer[VSD_REQUEST_BLOCK_SIZE];
  struct RequestBuffer *next;
} RequestBuffer;

typedef struct connection {
  int fd;
  char proto_type;
  int conn_state;
  int flag;
  struct scontents *scptr;
  char *request_url;
  UserVarEntry *uvtable;
  UrlDynamicData *url_data;
  void *conn_link;
  int template_id_used;
  int keep_alive_timeout;
  RequestBuffer *cur_buf;
  long bytes;
  RequestHeader request_hdr;
  HttpStreamState *http2;
  HttpStreamState *h3_server_ptr;
  char callback_variable[256];
  char callback_variable1[256];
} connection;

/* ---- a service: byte distances, never pointers ------------------------------------------------
 */

typedef struct Cr_file_seg {
  long backend_host_name;
  int backend_host_name_len;
  unsigned short backend_port; /**< the host's */
} Cr_file_seg;

typedef struct scontents {
  long cr_scptr_idx;       /**< distance to the cr_scontents block */
  long cr_resp_file_idx;   /**< distance to the array of Cr_file_seg */
  long string_big_buf_idx; /**< distance to the string pool */
  short service_type;
} scontents;

typedef struct VarTransTableEntry {
  short var_type;
  int table_idx;
  unsigned short user_var_table_idx;
} VarTransTableEntry;

typedef struct PointerTableEntry {
  long var_buf_pointer; /**< distance of the value in the string pool; -1 for none */
  int size;
} PointerTableEntry;

typedef struct VarTableEntry {
  long value_start_ptr; /**< distance from this descriptor to its PointerTableEntry rows */
  int num_rows;         /**< the host's */
} VarTableEntry;

typedef struct GlobalIndexVarTable {
  long var_name;
  int idx_ds_index_table;
  long index_var_name;
  int hash_code;
  int param_seq_no;
} GlobalIndexVarTable;

typedef struct SearchInParamTable {
  int hash_code;              /**< the definition's own variable */
  int search_in_var_hashcode; /**< the variable it searches in */
  long lb;                    /**< string-pool distances */
  long rb;
  int ord;
  int start_offset;
  int save_len;
  char ignore_case;
  char search_in;
} SearchInParamTable;

struct JMS_Header;

typedef struct cr_scontents {
  long var_hash_table_idx;
  long var_hash_table_next_state;
  long indexvar_start_idx;
  long g_indexvar_start_idx;
  long searchInParam_start_idx;
  int num_searchInParam_entries;
  long vars_trans_table_idx; /**< 0: the service has no variables */
  struct JMS_Header *jms_header;
} cr_scontents;

typedef struct vsdIndexDataSource {
  void *db_table; /**< Berkeley DB handle */
  char col_delimiter;
} vsdIndexDataSource;

typedef struct HttpMethodInfo {
  char http_method[8]; /**< the name; NUL-terminated only when shorter than 8 */
  int http_method_len;
} HttpMethodInfo;

/** A growable string-to-index table of the host, held for the library. */
typedef struct VsdHashTable {
  void *host_data;
} VsdHashTable;

typedef struct VsdGlobalConfig {
  int debug_level;                /**< level mask of vsd_debug_log_ex */
  unsigned long long module_mask; /**< module mask of vsd_debug_log_ex */
  double g_sys_max_load;
} VsdGlobalConfig;

/* ---- globals that the host defines ------------------------------------------------------------
 */

VSD_HOST_SYMBOL extern connection *cur_cptr;
VSD_HOST_SYMBOL extern char *cur_url;
VSD_HOST_SYMBOL extern char *kpi_magic;
VSD_HOST_SYMBOL extern unsigned long long g_req_count;
VSD_HOST_SYMBOL extern char g_wdir[1024];
VSD_HOST_SYMBOL extern FILE *g_err_log;
VSD_HOST_SYMBOL extern VsdGlobalConfig vsd_global_config;
VSD_HOST_SYMBOL extern vsdIndexDataSource *indexdatasource;
VSD_HOST_SYMBOL extern int total_idxds_entries;

/* ---- operations that the host provides --------------------------------------------------------
 */

VSD_HOST_SYMBOL int vsd_hash_table_shm_get_param(char *table, char *name, int name_len,
                                                 long next_state);
VSD_HOST_SYMBOL void vsd_hash_table_init(VsdHashTable *table);
VSD_HOST_SYMBOL int vsd_hash_table_get(VsdHashTable *table, char *key, int len);
VSD_HOST_SYMBOL int vsd_hash_table_add(VsdHashTable *table, char *key, int len);
VSD_HOST_SYMBOL int get_index_var_idx(VarTableEntry *descriptor, connection *cptr, int unused,
                                      cr_scontents *block);
VSD_HOST_SYMBOL HttpMethodInfo *get_http_method(connection *cptr);
VSD_HOST_SYMBOL unsigned short get_dynamic_fwd_port(connection *cptr, Cr_file_seg *resp_template);
VSD_HOST_SYMBOL char *get_proto_type(int proto);
VSD_HOST_SYMBOL void parse_zel_cur_date_format_and_day_offset(char *text, char *format_out,
                                                              int *offset_out, int unused);
VSD_HOST_SYMBOL void get_val_of_searchInParam_from_any_param(connection *cptr, int hash_code,
                                                             cr_scontents *block);
VSD_HOST_SYMBOL int update_column_value_in_db(void *db, char *key, char *value, int column,
                                              char delimiter, int data_source);
VSD_HOST_SYMBOL void vsd_debug_log_ex(int level_mask, unsigned long long module_mask, char *file,
                                      int line, char *function, connection *cptr, char *format, ...)
    WZ_PRINTF(7, 8);
VSD_HOST_SYMBOL void vsd_error_log_ex(int severity, char *file, int line, char *function,
                                      connection *cptr, char *error_id, char *error_attr,
                                      char *format, ...) WZ_PRINTF(8, 9);
VSD_HOST_SYMBOL void vsd_debug_tracelog(int level, char *format, ...) WZ_PRINTF(2, 3);
VSD_HOST_SYMBOL void vsd_exit(int status, char *format, ...) WZ_PRINTF(2, 3);

WZ_END_DECLS

#endif
