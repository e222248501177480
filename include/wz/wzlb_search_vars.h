/* The search engine: values cut out of a text between a left and a right boundary. */
#ifndef WZLB_SEARCH_VARS_H
#define WZLB_SEARCH_VARS_H

#include <regex.h>
#include <wz/wz_base.h>
#include <wz/wzlb_user_var.h>

WZ_BEGIN_DECLS

/* Ordinals: 1 and up select that occurrence of the left boundary. */
#define WZ_ORD_ALL (-1)
#define WZ_ORD_ANY (-2)
#define ORD_ANY_NON_EMPTY (-3)

/** Occurrences collected for the random choices. */
typedef struct TempArrayNodeVar {
  int count_ord;
  int total_tmp_tagvar; /**< entries used */
  int max_tmp_tagvar;   /**< entries allocated */
  ArrayValEntry *tempTagArrayVal;
} TempArrayNodeVar;

/** A host's declaration of a search variable. */
typedef struct Search_var_param {
  char *LB;
  char *RB;
  int ord;
  int start_offset;
  int max_len;
} Search_var_param;

WZ_API char *wzlb_save_searched_string(char *in, char *lb, char *rb, int ord, int start_offset,
                                       int save_len, int *save_count);
WZ_API int wzlb_get_search_var_value(char *var_name, char *lb, char *rb, int offset, int var_length,
                                     char *buf_ptr, char *end_ptr, int *string_found_flag,
                                     int req_ord, char convert, int method,
                                     UserVarEntry *uservartable_entry, int retain_pre_value,
                                     char *method_type, int total_method, char ignore_case,
                                     regex_t *preg_lb, regex_t *preg_rb, char search_flag,
                                     int lbmatch, int full_buffer_len);
WZ_API char *find_lb_or_rb(char *str, char *sub_str, char ignore_case, int full_buffer_len,
                           int length, short binary_flag);
WZ_API char *mystr_casestr(char *s, char *sub);
WZ_API int hex_to_int(char c);
WZ_API int hex_to_ascii(char c, char d);
WZ_API void convert_hex_to_char(char *ptr, char *dest_buf);

WZ_END_DECLS

#endif
