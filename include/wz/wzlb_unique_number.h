/* Unique numbers: declaration and values.
 *
 * A unique number packs the seconds since 1 January 2012 UTC, a counter of the process and the
 * indices of the processes into 64 bits and keeps the lowest decimal digits of it. Nothing is kept
 * on disk: what makes a number unique is the clock, the counter and the indices alone, so the host
 * must give every process that runs at the same time an index of its own.
 */
#ifndef WZLB_UNIQUE_NUMBER_H
#define WZLB_UNIQUE_NUMBER_H

#include <wz/wzlb_parse_api.h>

WZ_BEGIN_DECLS

/** A row of the host's table of unique numbers. */
typedef struct UniqueVarTableEntry {
  wz_bigbuf_t name;   /**< name in the big buffer; WZ_BIGBUF_UNSET while unset */
  wz_bigbuf_t format; /**< printf format in the big buffer; WZ_BIGBUF_UNSET while unset */
  int refresh;        /**< a new value 1 = once per session, 2 = at every use */
  int scon_idx;       /**< the host's */
  int sess_idx;       /**< index of the session (script) that declares the variable */
  int num_digits;     /**< digits of a value, 8 to 32 */
  int hash_code;      /**< the host's */
  short var_val_flag; /**< the host's */
} UniqueVarTableEntry;

/**
 * Reads one declaration of a unique number.
 *
 * The first field is the variable's name. The others, in any order and matched on their first
 * letters without regard to case; fields that match none are ignored:
 *
 * | keyword | value                                                                             |
 * |---------|-----------------------------------------------------------------------------------|
 * | format  | printf format as for a random number, see wzlb_input_randomNum_data, whose width   |
 * |         | begins with 0 and has at most three digits: the number of digits, at most 32;      |
 * |         | below 8 it counts as 8. Required.                                                 |
 * | REFRESH | SESSION or USE                                                                    |
 *
 * @param uniqueVarTable   The row to fill; its host-owned members stay as they are.
 * @param line             The line without its line end; not changed.
 * @param line_number      For messages.
 * @param sess_idx         Index of the declaring session, stored in the row.
 * @param sess_name        Name of that session, for messages.
 * @param sess_name_with_proj_subproj  The same with its project, for traces; may be null.
 * @param script_filename  File of the declaration, for messages.
 * @return                 0, or -1 when the declaration is refused; errors are told as for a random
 *                         number.
 */
WZ_API int wzlb_input_uniquevar_data(UniqueVarTableEntry *uniqueVarTable, char *line,
                                     int line_number, int sess_idx, char *sess_name,
                                     char *sess_name_with_proj_subproj, char *script_filename);

/**
 * The next unique number of this process, as text.
 *
 * Only the low byte of the counter enters the number, so the 257th number of one second repeats the
 * first; and of the seconds only what fits the digits, so numbers of few digits come back after
 * some time. Both are deliberate: the layout is what systems that read the numbers rely on.
 *
 * @param format        printf format with one integer conversion; for a `len` of 8 it is "%08lu",
 *                      whatever stands here. A conversion without l prints the lower 32 bits.
 * @param len           Digits, UniqueVarTableEntry.num_digits. Up to 8 the number is below 10^8, up
 *                      to 17 below 10^len, above that it is not cut.
 * @param total_len     Set to the length of the text, `len` at most: what does not fit is cut. May
 *                      be null.
 * @param child_index   Index of the process among its siblings.
 * @param g_parent_idx  Index of the parent, which takes bits 16 and up; below 0 for none.
 * @return              A tracked block of `len` + 1 bytes, the caller's to free; null for a null
 *                      format or a `len` of -1. Without memory, and for a lower `len`, the process
 *                      ends with status -1.
 */
WZ_API char *wzlb_get_unique_number(char *format, int len, int *total_len, int child_index,
                                    int g_parent_idx);

WZ_END_DECLS

#endif
