/* Everything a service script may call. */
#ifndef WZ_SCRIPT_H
#define WZ_SCRIPT_H

#include <wz/wz_base.h>
#include <wz/wzlb_encode_decode.h>
#include <wz/wzlb_search_vars.h>
#include <wz/wzlb_user_var.h>
#include <wz/wzlb_util.h>

WZ_BEGIN_DECLS

/* Argument kinds of wz_save_searched_string. */
#define WZ_ARG_IS_BUF 0
#define WZ_ARG_IS_PARAM 1

/* Encoding flags. */
#define WZ_FLAG_NONE 0
#define WZ_FLAG_URL_ENCODE 1
#define WZ_FLAG_URL_DECODE 2

/* ---- templates ---- */
WZ_API char *wz_eval_string_ex(char *string, int flag);
WZ_API char *wz_eval_string(char *string);
WZ_API char *wz_eval_string_buf(char *string, char *buff);
WZ_API int is_array_variable(char *var_start, char *var_end, int var_length, int *array_idx);
WZ_API int apply_encode_decode(char *value, int len, char *buf_ptr, int flag, int total_copied);
WZ_API char *wz_encode_url(const char *string, int inlength);
WZ_API char *wz_decode_url(const char *string, int length);
WZ_API void wz_encode_decode_url_free(char *ptr);
WZ_API int increase_string_buf(void);
WZ_API char *check_string_buf(int total_copied, int copy_length, char *buf_ptr);
WZ_API int valid_array_idx(char *index_val);

/* ---- saving and reading values ---- */
WZ_API int wz_save_string(const char *param_value, const char *param_name);
WZ_API int wz_save_string_ex(const char *param_value, const char *param_name, int flag);
WZ_API int wz_save_binary_val(const char *param_value, const char *param_name, int value_length);
WZ_API int wz_save_var_val(const char *param_value, const char *param_name, int value_length,
                           int flag, int not_binary_flag);
WZ_API int wz_set_int_val(char *var, int val);
WZ_API int wz_get_int_val(char *var);
WZ_API double wz_get_float_val(char *var);
WZ_API double wz_get_double_val(char *var);
WZ_API int wz_chk_strcpy(char *dest, char *src, int dest_len);
WZ_API void wz_save_value_to_cptr(char *buff);
WZ_API void wz_save_value1_to_cptr(char *buff);
WZ_API char *wz_get_value_from_cptr(void);
WZ_API char *wz_get_value1_from_cptr(void);

/* ---- search ---- */
WZ_API int wz_save_searched_string(int in_type, char *in, int out_type, char *out, char *lb,
                                   char *rb, int ord, int start_offset, int save_len);

/* ---- request ---- */
WZ_API char *wz_get_url(void);
WZ_API int wz_get_url_query_param_val(char *param_name, char *param_value, int flag);
WZ_API int get_url_query_param_val(char *param_name, char *param_value, char *url, int flag);

/* ---- response ---- */
WZ_API void wz_set_http_hdr(char *hdr);
WZ_API void wz_set_content_type_hdr(char *hdr);
WZ_API int wz_set_http_status_code(int code);
WZ_API int wz_http_set_response_line(char *response_line);
WZ_API char *wz_get_http_hdr(char *header_name);
WZ_API int wz_http_req_has_validator_ims(void);
WZ_API int wz_http_req_has_validator_if_none_match(void);
WZ_API int check_alloc_url_data(void);

WZ_END_DECLS

#endif
