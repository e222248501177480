/* Random-number variables: declaration and values.
 *
 * A random-number variable is an integer between a declared minimum and maximum, printed with a
 * declared format. The host owns the rows, reads their declarations at start-up and asks for values
 * per request. Values are drawn from the process's rand(); whoever wants other values in each
 * process calls srand() first. Seeded generators are in <wz/wzlb_poi.h>.
 */
#ifndef WZLB_RANDOM_NUMBER_H
#define WZLB_RANDOM_NUMBER_H

#include <wz/wzlb_parse_api.h>

WZ_BEGIN_DECLS

/** Bytes of the buffer of a value that is not allocated, its NUL included. */
#define WZLB_RANDOM_NUMBER_BUFFER 65

/** A row of the host's table of random numbers. */
typedef struct RandomVarTableEntry {
  wz_bigbuf_t name;   /**< name in the big buffer; WZ_BIGBUF_UNSET while unset */
  int max;            /**< highest value; -1 while unset */
  int min;            /**< lowest value */
  wz_bigbuf_t format; /**< printf format in the big buffer; WZ_BIGBUF_UNSET while unset */
  int format_len;     /**< length of the format */
  int sess_idx;       /**< index of the session (script) that declares the variable */
  int scon_idx;       /**< the host's */
  int refresh;        /**< a new value 1 = once per session, 2 = at every use */
  short var_val_flag; /**< the host's */
  int hash_code;      /**< the host's */
} RandomVarTableEntry;

/**
 * Reads one declaration of a random number.
 *
 * The first field is the variable's name. The others, in any order and matched on their first
 * letters without regard to case; fields that match none are ignored:
 *
 * | keyword  | value                                                                            |
 * |----------|----------------------------------------------------------------------------------|
 * | format   | printf format with one integer conversion: %d %o %x %X, or with l or h before u,   |
 * |          | d, x, X, o; digits between. It ends at a comma, blank or tab. Required.           |
 * | min, max | digits. min is 0 when left out, max is required and greater than min.             |
 * | REFRESH  | SESSION or USE                                                                    |
 *
 * Errors go the way of g_wzlb_module: in mode 1 reading goes on and the refused setting keeps its
 * default. Two are told on standard error and end the declaration in every mode: a second
 * conversion, and one that is not in the list.
 *
 * @param randomVarTable   The row to fill; its host-owned members stay as they are.
 * @param line             The line without its line end; not changed.
 * @param line_number      For messages.
 * @param sess_idx         Index of the declaring session, stored in the row.
 * @param sess_name        Name of that session, for messages.
 * @param sess_name_with_proj_subproj  The same with its project, for traces; may be null.
 * @param script_filename  File of the declaration, for messages.
 * @return                 0, or -1 when the declaration is refused.
 */
WZ_API int wzlb_input_randomNum_data(RandomVarTableEntry *randomVarTable, char *line,
                                     int line_number, int sess_idx, char *sess_name,
                                     char *sess_name_with_proj_subproj, char *script_filename);

/**
 * Draws a number and prints it.
 *
 * The number is rand() / (2147483647.0 + max) * (max - (min - 1.0)) + min, truncated toward zero.
 * The divisor is that large deliberately: recorded runs depend on the values. So the top of a large
 * range comes up less often, and of the range up to 2147483647 the upper half never does.
 *
 * @param min, max          Bounds, both inclusive.
 * @param format            printf format with one integer conversion, as a declaration takes it.
 * @param format_len        Its length. The text has room for `format_len` + 12 characters and the
 *                          conversion's width; what does not fit is cut.
 * @param total_len         Set to the length of the text; where it was cut, to that of the buffer,
 *                          one more. May be null.
 * @param malloc_or_static  1: the text is a tracked block, the caller's to free. 0: it lies in a
 *                          buffer of this thread, of WZLB_RANDOM_NUMBER_BUFFER bytes, and is valid
 *                          until the next such call.
 * @return                  The text; null for a null format or a size of 0. A negative size and a
 *                          lack of memory end the process with status -1.
 */
WZ_API char *wzlb_get_random_number(double min, double max, char *format, int format_len,
                                    int *total_len, int malloc_or_static);

/** 1 when every character of `str` is a decimal digit, also when there is none; else 0, also for
 * null. */
WZ_API int isStringDigits(char *str);

WZ_END_DECLS

#endif
