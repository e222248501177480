/* The parser of parameter declaration lines and the set-up that all parameter types share.
 *
 * A declaration is one line in the form of a call:
 *
 *     DateTime(today, format="%d.%m.%Y", offset=+1, DayType=WORKING);
 *
 * an API name, then in brackets the fields: the variable's name and `keyword=value` pairs,
 * separated by commas. The semicolon is optional. The parser only takes the line apart; what name
 * and keywords mean is up to whoever asked. Declarations are read at start-up by one thread;
 * nothing here takes a lock.
 */
#ifndef WZLB_PARSE_API_H
#define WZLB_PARSE_API_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Offset of a text in a big buffer; all bits set (WZ_BIGBUF_UNSET) when there is none. */
typedef unsigned long wz_bigbuf_t;
#define WZ_BIGBUF_UNSET ((wz_bigbuf_t)-1)

/* Limits of a declaration line, in characters without the terminator. */
#define WZ_API_MAX_LINE 32000
#define WZ_API_MAX_NAME 64
#define WZ_API_MAX_KEYWORD 1024
#define WZ_API_MAX_VALUE 4096
/** Fields of a record. */
#define WZ_API_MAX_FIELDS 256

/** One field of a declaration. */
typedef struct WZApiFields_t {
  /** Name of the argument without surrounding blanks; the whole text of a field without '='. */
  char keyword[WZ_API_MAX_KEYWORD + 1];
  /** Value with quotes and escapes resolved; empty for a field without '='. */
  char value[WZ_API_MAX_VALUE + 1];
} WZApiFields;

/** A parsed declaration line. About 1.3 MB: mind the stack, or keep one on the heap and use it
 * again. */
typedef struct WZApi_t {
  /** Number of fields modulo 256: the 257th field is stored over the first one and counts as 1.
   * `Api()` has one field, an empty one. */
  unsigned char num_tokens;
  /** What stands before the bracket, without surrounding blanks. */
  char api_name[WZ_API_MAX_NAME + 1];
  /** The fields in the order written. */
  WZApiFields api_fields[WZ_API_MAX_FIELDS];
} WZApi;

/**
 * Stores a text in the host's big buffer.
 *
 * @param string  Text to copy; not kept.
 * @param length  Bytes; 0 means up to the terminator.
 * @return        Offset of the copy, WZ_BIGBUF_UNSET on failure.
 */
typedef wz_bigbuf_t(wzlb_copy_to_bigbuf_cb_t)(char *string, int length, ...);
/** The same into a buffer that the host gives up once the declarations are read. */
typedef wz_bigbuf_t(wzlb_copy_to_tmpbuf_cb_t)(char *string, int length, ...);

/**
 * Reports one declaration error. What the second to the fifth argument hold depends on
 * g_wzlb_module:
 *
 * | argument   | mode 1                               | any other mode          |
 * |------------|--------------------------------------|-------------------------|
 * | `tag`      | error tag, such as "ZelErr[1012009]: " | the script's file name  |
 * | `source`   | file of the library that found it    | the session's name      |
 * | `line`     | line in that file                    | line of the declaration |
 * | `function` | function that found it               | "-"                     |
 *
 * @param mode      Always 1.
 * @param reserved  Always 0.
 * @param format    printf format of the message, without a line end; its arguments follow.
 */
typedef void(wzlb_log_script_parse_error_cb_t)(int mode, char *tag, char *source, int line,
                                               char *function, int reserved, char *format, ...);

/**
 * Which host drives the library; 1 by default. It decides how a parameter's input function treats a
 * declaration error:
 *
 * - 1: reports it (without a callback: prints the message to standard error) and GOES ON with the
 *   declaration. The host's callback is expected to end the process if errors matter to it.
 * - any other: reports it, if there is a callback, and returns -1.
 */
WZ_API extern int g_wzlb_module;
/** Copier into the big buffer; null at first. Without one, storing a text fails. */
WZ_API extern wzlb_copy_to_bigbuf_cb_t *wzlb_copy_to_bigbuf_cb;
/** Reporter of declaration errors; null at first. */
WZ_API extern wzlb_log_script_parse_error_cb_t *wzlb_log_script_parse_error_cb;
/** Copier into the temporary buffer; null at first. */
WZ_API extern wzlb_copy_to_tmpbuf_cb_t *wzlb_copy_to_tmpbuf_cb;

/**
 * Takes a declaration line apart. Allocates nothing.
 *
 * Blanks are spaces and tabs; those around the line, the name and the keywords are dropped. A value
 * runs to the next comma that is not in quotes. A quote opens unless a backslash stands before it,
 * and drops what the value held so far; behind the closing one only blanks may follow.
 *
 * | in a value    | escape_chars set                                 | escape_chars clear        |
 * |---------------|--------------------------------------------------|---------------------------|
 * | closing quote | behind an even number of backslashes, also none  | not behind a backslash    |
 * | `\"`, `\\`    | a quote, a backslash                             | a quote, a backslash      |
 * | `\b \f \n \r \t \v` | the control character                      | stay as they are          |
 * | other `\x`    | stay as they are                                 | stay as they are          |
 *
 * So with escape_chars clear a quoted value cannot end in a backslash.
 *
 * @param api_attr      Zeroed as a whole, then filled; partly filled on failure.
 * @param api_line      The line without its line end; not changed.
 * @param file_name     For messages; null counts as empty.
 * @param err_msg       Written on failure only: a complete message, which repeats the whole line
 * and may repeat one value of it. Twice the line's length plus the file name's plus 512 bytes are
 * enough for any line.
 * @param line_number   For messages.
 * @param trim_spaces   Nonzero drops the blanks around values that are not quoted.
 * @param escape_chars  Nonzero resolves escapes, see above.
 * @return              0; -1 for a line that is not in correct format, and without a message when
 *                      `api_attr`, `api_line` or `err_msg` is null.
 */
WZ_API int parse_api_ex(WZApi *api_attr, char *api_line, char *file_name, char *err_msg,
                        int line_number, int trim_spaces, int escape_chars);

/**
 * Sets up every parameter type. Called once by the host, before the first declaration is read.
 *
 * @param mode                 For g_wzlb_module.
 * @param copy_to_bigbuf_cb    For wzlb_copy_to_bigbuf_cb.
 * @param log_script_error_cb  For wzlb_log_script_parse_error_cb; may be null.
 * @param copy_to_tmpbuf_cb    For wzlb_copy_to_tmpbuf_cb; null makes it the big-buffer copier.
 */
WZ_API void wzlb_init_parameter_module(int mode, wzlb_copy_to_bigbuf_cb_t *copy_to_bigbuf_cb,
                                       wzlb_log_script_parse_error_cb_t *log_script_error_cb,
                                       wzlb_copy_to_tmpbuf_cb_t *copy_to_tmpbuf_cb);

WZ_END_DECLS

#endif
