/* Debug log, error log, their keyword lines, error texts and the fatal exit. */
#ifndef WZLB_LOG_H
#define WZLB_LOG_H

#include <stdio.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/* Level masks of trace lines and severities of error lines. */
#define WZLB_LEVEL_1 0xFF
#define WZLB_LEVEL_2 0xFF00
#define WZLB_LEVEL_3 0xFF0000
#define WZLB_LEVEL_4 ((int)0xFF000000u)

/* Module bits. */
#define WZLB_MODULE_SEARCH 0x1ULL
#define WZLB_MODULE_HESSIAN 0x2ULL
#define WZLB_MODULE_HASH 0x4ULL
#define WZLB_MODULE_AUTH 0x8ULL
#define WZLB_MODULE_API 0x10ULL
#define WZLB_MODULE_MISC 0x20ULL
#define WZLB_MODULE_MEMORY 0x40ULL
#define WZLB_MODULE_TOPO 0x100ULL
#define WZLB_MODULE_PARAMETER 0x200ULL

WZ_API extern int wzlb_log_level;
WZ_API extern unsigned long long lib_module_mask;
WZ_API extern int lib_debug_fd;
WZ_API extern int lib_error_fd;
WZ_API extern unsigned int max_debug_log_file_size;
WZ_API extern int lib_backtrace_size;

WZ_API void wzlb_debug_log_ex(int tmp_log_level, unsigned long long mask, char *file, int line,
                              char *fname, char *format, ...) WZ_PRINTF(6, 7);
WZ_API void wzlb_error_log_ex(int log_level, char *file, int line, char *fname, char *error_id,
                              char *error_attr, char *format, ...) WZ_PRINTF(7, 8);
WZ_API int lib_debug_log(int log_level, int max_log_level, FILE *log_fp, char *file_name, int line,
                         char *fname, char *format, ...) WZ_PRINTF(7, 8);
WZ_API int open_log_ex(char *log_file, int *fd, unsigned int max_size);
WZ_API int wzlb_open_log(int *fd, char *log_file, int max_file_size, char *header);
WZ_API int wzlb_open_file_with_header(int *fd, char *log_file, char *header);
WZ_API int wzlb_check_rollover_file(int *fd, char *log_file, int max_file_size, int prev_or_mmdd);
WZ_API void wzlb_close_log_fd(void);
WZ_API int wzlb_get_debug_fd(void);
WZ_API int wzlb_get_error_fd(void);
WZ_API void wzlb_util_set_debug_log_level(int debug_level);
WZ_API void hessian_set_debug_log_level(int debug_level);
WZ_API void wzlb_util_set_modulemask(unsigned long long module_mask);
WZ_API void wzlb_util_set_debug_log_size(unsigned int size);
WZ_API void wzlb_util_set_log_filename(char *log_file_name, char *error_log_file_name);
WZ_API void wzlb_util_set_debug_log_fp(FILE *debug_log_fp);
WZ_API void hessian_set_debug_log_fp(FILE *debug_log_fp);
WZ_API int set_wzlb_debug(char *buf);
WZ_API int set_wzlb_modulemask(char *buf, char *err_msg);
WZ_API int kw_set_lib_do_exit(char *buf);
WZ_API char *wzlb_strerror(int num);
WZ_API void wzlb_set_error(char *error);
WZ_API char *wzlb_get_error(void);
WZ_API char *get_cur_date_time(void);
WZ_API void wzlb_exit(int exit_status, int trace_fd, char *buffer, int buffer_size, char *file,
                      int line, char *fname, char *format, ...) __attribute__((noreturn))
WZ_PRINTF(8, 9);

WZ_END_DECLS

#endif
