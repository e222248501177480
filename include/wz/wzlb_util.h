/* String and token utilities: in place, on NUL-terminated byte strings, never allocating. */
#ifndef WZLB_UTIL_H
#define WZLB_UTIL_H

#include <stdio.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

WZ_API int get_tokens(char *read_buf, char **fields, char *token, int max_flds);
WZ_API int get_tokens_with_multi_delimiter(char *read_buf, char **fields, char *token,
                                           int max_flds);
WZ_API int get_tokens_ex2(char *read_buf, char **fields, char *token, int max_flds);
WZ_API int get_tokens_ex(char *read_buf, char **fields, char *token, int max_flds);
WZ_API int wzlb_get_tokens(char *read_buf, char **fields, char *token, int max_flds);
WZ_API int wzlb_get_token_count(char *in, char token);
WZ_API char *wz_strtok(char *str, const char *delim);
WZ_API int wz_is_numeric(char *str);
WZ_API int wz_is_numeric_for_negative(char *str);
WZ_API int wz_is_float(char *str);
WZ_API char *wzlb_ltrim(char *src);
WZ_API char *wzlb_rtrim(char *src);
WZ_API char *wzlb_trim(char *ptr);
WZ_API char *wzlb_strupper(char *src);
WZ_API char *wzlb_strlower(char *src);
WZ_API char *wzlb_strrev(char *dest, char *src, int amount_to_save);

/** 0 when `name` is a letter followed by letters, digits and '_'; -1 otherwise. */
WZ_API int validate_var(char *name);
/** Milliseconds of "S", "M:S", "H:M:S" or "H:M:S.ms"; -1 for any other text. */
WZ_API int get_time_from_format(char *str);
/** Reads leading blanks, an optional sign and then only digits into `*num`; 0, or -1 with a
 * message. */
WZ_API int wzlb_atoi(const char *str, int *num);
/** fgets that survives an interrupted read; null at the end of the file. */
WZ_API char *wzlb_fgets(char *buffer, int size, FILE *file);

WZ_END_DECLS

#endif
