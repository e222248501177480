/* The parser of parameter declaration lines and the set-up that all parameter types share. */
#ifndef WZLB_PARSE_API_H
#define WZLB_PARSE_API_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Offset of a text in a big buffer; all bits set (WZ_BIGBUF_UNSET) when there is none. */
typedef unsigned long wz_bigbuf_t;
#define WZ_BIGBUF_UNSET ((wz_bigbuf_t)-1)

#define WZ_API_MAX_LINE 32000
#define WZ_API_MAX_NAME 64
#define WZ_API_MAX_KEYWORD 1024
#define WZ_API_MAX_VALUE 4096
#define WZ_API_MAX_FIELDS 256

typedef struct WZApiFields_t {
  char keyword[WZ_API_MAX_KEYWORD +
               1];                  /**< argument name, or the whole text of a field without '=' */
  char value[WZ_API_MAX_VALUE + 1]; /**< value after quotes and escapes; empty without '=' */
} WZApiFields;

/** A parsed declaration line. About 1.3 MB: keep it static or on the heap of a thread with a small
 * stack. */
typedef struct WZApi_t {
  unsigned char num_tokens; /**< number of fields, counted modulo 256 */
  char api_name[WZ_API_MAX_NAME + 1];
  WZApiFields api_fields[WZ_API_MAX_FIELDS];
} WZApi;

typedef wz_bigbuf_t(wzlb_copy_to_bigbuf_cb_t)(char *string, int length, ...);
typedef wz_bigbuf_t(wzlb_copy_to_tmpbuf_cb_t)(char *string, int length, ...);
typedef void(wzlb_log_script_parse_error_cb_t)(int mode, char *tag, char *source, int line,
                                               char *function, int reserved, char *format, ...);

WZ_API extern int g_wzlb_module;
WZ_API extern wzlb_copy_to_bigbuf_cb_t *wzlb_copy_to_bigbuf_cb;
WZ_API extern wzlb_log_script_parse_error_cb_t *wzlb_log_script_parse_error_cb;
WZ_API extern wzlb_copy_to_tmpbuf_cb_t *wzlb_copy_to_tmpbuf_cb;

WZ_API int parse_api_ex(WZApi *api_attr, char *api_line, char *file_name, char *err_msg,
                        int line_number, int trim_spaces, int escape_chars);
WZ_API void wzlb_init_parameter_module(int mode, wzlb_copy_to_bigbuf_cb_t *copy_to_bigbuf_cb,
                                       wzlb_log_script_parse_error_cb_t *log_script_error_cb,
                                       wzlb_copy_to_tmpbuf_cb_t *copy_to_tmpbuf_cb);

WZ_END_DECLS

#endif
