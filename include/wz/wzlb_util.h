/* String and token utilities: in place, on NUL-terminated byte strings, never allocating.
 *
 * The splitters write NULs into their buffer and store pointers into it, so the buffer must be
 * writable and must outlive the fields. All share these arguments:
 *
 *   read_buf   text to split; null gives 0 fields
 *   fields     array of at least `max_flds` pointers, filled from the first on
 *   token      delimiter: a set of characters or a whole string, see each function
 *   max_flds   capacity of `fields`; when there are more fields, the first `max_flds` are stored
 *              and `max_flds` is returned
 */
#ifndef WZLB_UTIL_H
#define WZLB_UTIL_H

#include <stdio.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Splits at any character of the set `token`; runs count as one delimiter, empty fields are
 * dropped. Returns the number of fields. */
WZ_API int get_tokens(char *read_buf, char **fields, char *token, int max_flds);
/** The same as get_tokens. */
WZ_API int get_tokens_with_multi_delimiter(char *read_buf, char **fields, char *token,
                                           int max_flds);
/** Splits at the whole string `token` and keeps empty fields. Uses wz_strtok, so the calling
 * thread's saved position is lost. */
WZ_API int get_tokens_ex2(char *read_buf, char **fields, char *token, int max_flds);
/** The same as wzlb_get_tokens. */
WZ_API int get_tokens_ex(char *read_buf, char **fields, char *token, int max_flds);

/**
 * Splits at the whole string `token`; a field that starts with a double quote runs to the closing
 * quote and may hold the delimiter.
 *
 * Kept as callers know it: the opening quote is taken off, the closing one stays; the closing quote
 * is searched from the second character of the content; the field that follows a quoted one is
 * passed over without being stored; with a delimiter of several characters the next field starts at
 * the delimiter's second byte, unless the whole delimiter stands there again.
 *
 * @return  Number of fields; an empty text is one empty field.
 */
WZ_API int wzlb_get_tokens(char *read_buf, char **fields, char *token, int max_flds);

/** How often `token` occurs in `in`; -1 for a null or empty string. */
WZ_API int wzlb_get_token_count(char *in, char token);

/**
 * Tokenizer on the whole string `delim`, with one saved position per thread. Adjacent delimiters
 * give empty fields, and so does one at the end.
 *
 * @param str    Text to start with, or null to go on with the text of the thread's last call.
 * @param delim  Delimiter; null or empty never occurs.
 * @return       The next field, inside the text; null when there is none left.
 */
WZ_API char *wz_strtok(char *str, const char *delim);

/** 1 when every character is a decimal digit, also for the empty string; else 0, also for null. */
WZ_API int wz_is_numeric(char *str);
/** As wz_is_numeric, with a leading '-' allowed. */
WZ_API int wz_is_numeric_for_negative(char *str);
/** 1 when every character is a digit or '.' and there is at most one '.'; else 0. */
WZ_API int wz_is_float(char *str);

/** First character of `src` that is not blank, tab, line feed or carriage return; `src` is not
 * changed. */
WZ_API char *wzlb_ltrim(char *src);
/** Overwrites trailing blanks, tabs, line feeds and carriage returns with NULs; returns `src`. */
WZ_API char *wzlb_rtrim(char *src);
/** wzlb_rtrim of wzlb_ltrim: a pointer into `ptr`. */
WZ_API char *wzlb_trim(char *ptr);
/** Converts in place with toupper; returns `src`. */
WZ_API char *wzlb_strupper(char *src);
/** Converts in place with tolower; returns `src`. */
WZ_API char *wzlb_strlower(char *src);

/**
 * Copies at most `amount_to_save` bytes of `src` into `dest` and reverses the copy, byte by byte.
 *
 * @param dest            Room for `amount_to_save` + 1 bytes, all of them written; may be `src`
 * itself.
 * @param amount_to_save  Bytes; a negative amount counts as 0.
 * @return                `dest`.
 */
WZ_API char *wzlb_strrev(char *dest, char *src, int amount_to_save);

/** 0 when `name` is a letter followed by letters, digits and '_' (ASCII); -1 otherwise, also for
 * null. */
WZ_API int validate_var(char *name);

/**
 * Milliseconds of "S", "M:S", "H:M:S" or "H:M:S.ms" (a count of milliseconds, not a fraction).
 * Reads as far as the text has one of these forms and ignores the rest.
 *
 * @return  Milliseconds, at most INT_MAX; -1 when the text does not begin with a digit.
 */
WZ_API int get_time_from_format(char *str);

/**
 * Reads leading blanks and tabs, an optional sign and then only digits.
 *
 * @param num  Set on success, limited to the range of int; 0 for an empty text.
 * @return     0; -1 for any other character, with a message on standard error.
 */
WZ_API int wzlb_atoi(const char *str, int *num);

/** fgets that goes on after an interrupted read. Null at the end of the file or on an error when
 * nothing was read, and for a `size` below 1. */
WZ_API char *wzlb_fgets(char *buffer, int size, FILE *file);

WZ_END_DECLS

#endif
