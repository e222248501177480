/*
 * The search engine: values cut out of a text between a left and a right boundary.
 *
 * Occurrences are counted by the left boundary: occurrence N starts behind the N-th left boundary
 * (boundaries do not overlap) and ends before the first right boundary after it, so occurrences may
 * lie within each other. Searched texts are ranges of bytes; boundaries are NUL-terminated; values
 * may hold NULs. Values that the engine stores are tracked heap blocks with a NUL behind them.
 *
 * No function keeps a pointer that it was given, and none locks: an entry or a temporary array
 * belongs to one thread at a time. The random choices use a generator per thread, seeded once.
 */
#ifndef WZLB_SEARCH_VARS_H
#define WZLB_SEARCH_VARS_H

#include <regex.h>
#include <wz/wz_base.h>
#include <wz/wzlb_user_var.h>

WZ_BEGIN_DECLS

/* Ordinals: 1 and up select that occurrence of the left boundary. */
#define WZ_ORD_ALL (-1)        /* every occurrence */
#define WZ_ORD_ANY (-2)        /* one occurrence, chosen at random */
#define ORD_ANY_NON_EMPTY (-3) /* one non-empty occurrence at random; hosts only */

/* Value methods: the characters of a method list, also as digits. */
#define WZ_METHOD_REVERSE 1
#define WZ_METHOD_UPPER 2
#define WZ_METHOD_LOWER 3
#define WZ_METHOD_TRIM_LEFT 4
#define WZ_METHOD_TRIM_RIGHT 5
#define WZ_METHOD_TRIM 6

/* Conversions of a value, applied after the methods. */
#define VAR_CONVERT_TEXT_TO_URL 1
#define VAR_CONVERT_URL_TO_TEXT 2
#define VAR_CONVERT_HTML_TO_URL 3 /* the same as TEXT_TO_URL */
#define VAR_CONVERT_URL_TO_HTML 4 /* the same as URL_TO_TEXT */
#define VAR_CONVERT_TEXT_TO_HTML 5
#define VAR_CONVERT_HTML_TO_TEXT 6
#define VAR_CONVERT_TEXT_TO_BASE64 7
#define VAR_CONVERT_BASE64_TO_TEXT 8
#define VAR_CONVERT_TEXT_TO_HEX 9

/* Bits of `search_flag`: which boundaries are regular expressions. */
#define WZ_SEARCH_LB_IS_REGEX 1
#define WZ_SEARCH_RB_IS_REGEX 2

/* `lbmatch`: which left boundary counts when several stand before the right one. */
#define WZ_LBMATCH_FIRST 0   /* each: "((a)" has the occurrences "(a" and "a" */
#define WZ_LBMATCH_CLOSEST 1 /* the last; those before it do not count: "((a)" has only "a" */

/** Values collected before they have an owner. */
typedef struct TempArrayNodeVar {
  int count_ord;        /**< the collector's own count of occurrences; the library never uses it */
  int total_tmp_tagvar; /**< entries used */
  int max_tmp_tagvar;   /**< entries allocated */
  ArrayValEntry *tempTagArrayVal;
} TempArrayNodeVar;

/** A host's declaration of a search variable. */
typedef struct Search_var_param {
  char *LB;
  char *RB;
  int ord;
  int start_offset; /**< bytes skipped at the start of a value */
  int max_len;      /**< bytes kept; below 0: all */
} Search_var_param;

/**
 * Cuts one value out of `in` and returns a tracked copy of it, which the caller frees.
 *
 * @param in            Text, NUL-terminated; not kept.
 * @param lb,rb         Boundaries; null and "" are refused with a message on standard error.
 * @param ord           Occurrence from 1, WZ_ORD_ANY, or WZ_ORD_ALL, which returns a copy of the
 *                      whole input; any other value is refused with a message.
 * @param start_offset  Bytes of the value to skip; below 0 counts as 0.
 * @param save_len      Bytes to keep at most; below 0 keeps the rest, 0 keeps nothing.
 * @param save_count    Out: number of values found (1 for a single occurrence also when its text is
 *                      empty, the number of occurrences for WZ_ORD_ALL); when there is none, -1 for
 *                      WZ_ORD_ANY and 0 otherwise. May be null.
 * @return              The value, "" when nothing was found; null when the call was refused.
 */
WZ_API char *wzlb_save_searched_string(char *in, char *lb, char *rb, int ord, int start_offset,
                                       int save_len, int *save_count);

/**
 * The engine: searches `buf_ptr`..`end_ptr` and stores what it finds in `uservartable_entry`,
 * releasing what the entry held. Nothing outside that range is read, and it need not end in a NUL.
 * A null or reversed range is an empty text.
 *
 * @param var_name           Name for trace lines.
 * @param lb,rb              Boundaries; ignored where a regular expression takes their place.
 * @param offset,var_length  As start_offset and save_len of wzlb_save_searched_string.
 * @param string_found_flag  Out, may be null: 1 when something was found, else 0.
 * @param req_ord            Occurrence from 1, WZ_ORD_ALL (the entry becomes an array),
 *                           WZ_ORD_ANY or ORD_ANY_NON_EMPTY; anything else finds nothing. The
 *                           values of WZ_ORD_ALL may take 64 MiB together, or the length of the
 *                           text if that is more: overlapping ones beyond that are left out.
 * @param convert            VAR_CONVERT_..., 0 for none.
 * @param method             0 switches the methods off.
 * @param retain_pre_value   Non-zero: an entry keeps its value when nothing is found; otherwise
 *                           it becomes null (for WZ_ORD_ALL an array) with length 0.
 * @param method_type        `total_method` characters, each a WZ_METHOD_..., applied in order.
 * @param ignore_case        1: plain boundaries match without regard to case.
 * @param preg_lb,preg_rb    POSIX expressions from regcomp; case is theirs to settle. They
 *                           may match the empty text, as `^` and `$` do.
 * @param search_flag        WZ_SEARCH_..._IS_REGEX bits: which of them take the place of lb and rb.
 *                           A null expression leaves the plain text in force.
 * @param lbmatch            WZ_LBMATCH_...
 * @param full_buffer_len    Non-zero marks a buffer that may hold NULs; for trace lines only.
 * @return                   The occurrence chosen for the random ordinals (-1 when there is none),
 *                           else the number of values found.
 */
WZ_API int wzlb_get_search_var_value(char *var_name, char *lb, char *rb, int offset, int var_length,
                                     char *buf_ptr, char *end_ptr, int *string_found_flag,
                                     int req_ord, char convert, int method,
                                     UserVarEntry *uservartable_entry, int retain_pre_value,
                                     char *method_type, int total_method, char ignore_case,
                                     regex_t *preg_lb, regex_t *preg_rb, char search_flag,
                                     int lbmatch, int full_buffer_len);

/**
 * Stores one found value: cuts it to offset and length, applies methods and conversion, and puts a
 * tracked copy into `element`, whose former value the caller has released. A value of no length, or
 * with the offset at or beyond its end, is stored as null.
 *
 * @param value,value_length  The bytes found; not changed.
 * @param offset,var_length,convert,method_type,total_method  As for wzlb_get_search_var_value.
 * @param element             Out: the copy, released with WZLB_FREE, and its length.
 * @return                    0.
 */
WZ_API int wzlb_save_search_var_value(char *var_name, char *value, int value_length, int offset,
                                      int var_length, char convert, char *method_type,
                                      int total_method, ArrayValEntry *element, short binary_flag);

/**
 * Applies value methods, in the order listed, to the `*length` bytes at `value`, in place.
 * `*length` becomes the new length, counted up to the first NUL after each method, so the first
 * method cuts a value at its first NUL.
 *
 * @return  Where the value starts now, within the same bytes; a NUL stands behind it.
 */
WZ_API char *get_search_final_val(char *value, int *length, char *method_type, int total_method);

/**
 * Converts a value.
 *
 * @param convert      VAR_CONVERT_...; any other code copies. URL and HTML conversions end at a
 *                     decoded NUL. Base64 whose length is no multiple of 4 goes to the decoder for
 *                     text, which skips line breaks and stops at a decoded NUL.
 * @param usr_val      Out: a tracked block with the converted value and a NUL; the caller frees it.
 * @param var_value    The value; writable, with a NUL (or a byte that may be overwritten for the
 *                     duration of the call) behind it.
 * @param var_length   In: bytes of the value; out: bytes of the converted one.
 * @param binary_flag  Non-zero when the value may hold NULs.
 */
WZ_API void do_search_var_encoding(char convert, char **usr_val, char *var_value,
                                   unsigned int *var_length, short binary_flag);

/**
 * Finds a boundary.
 *
 * @param str,sub_str      Where to search and what; null finds nothing.
 * @param ignore_case      1: without regard to case, up to the NUL of `str`, whatever
 *                         `binary_flag` says.
 * @param full_buffer_len  Bytes of `str` to search when `binary_flag` is set.
 * @param length           Bytes of `sub_str` when `binary_flag` is set.
 * @param binary_flag      Non-zero: bytes; zero: NUL-terminated texts.
 * @return                 The match, or null.
 */
WZ_API char *find_lb_or_rb(char *str, char *sub_str, char ignore_case, int full_buffer_len,
                           int length, short binary_flag);

/** First place where `sub` stands in `s` without regard to case; null when there is none or when
 * either text is null or empty. */
WZ_API char *mystr_casestr(char *s, char *sub);

/** Sets a temporary array up empty. */
WZ_API void wzlb_init_temparray(TempArrayNodeVar *temp_array);
/** Appends one empty row and returns its number, counted from 0; -1 for a null array. */
WZ_API int create_temparrayval_table_entry(TempArrayNodeVar *temp_array);
/** Releases the rows, their values and the array's own block, and leaves it empty. */
WZ_API void free_tmp_arr_table(TempArrayNodeVar *temp_array);
/** Releases what an entry holds, scalar or array, and leaves it a scalar without value. */
WZ_API void free_var_value(UserVarEntry *entry);

/** Value of one hexadecimal digit of either case; 0 for any other character. */
WZ_API int hex_to_int(char c);
/** The byte whose high digit is `c` and low digit is `d`, as 0 to 255. */
WZ_API int hex_to_ascii(char c, char d);
/** Decodes pairs of hexadecimal digits into `dest_buf` (half the text's length + 1 bytes) and
 * terminates it. A last digit without a partner is left out. */
WZ_API void convert_hex_to_char(char *ptr, char *dest_buf);

WZ_END_DECLS

#endif
