/* Debug log, error log, their keyword lines, error texts and the fatal exit.
 *
 * One debug log and one error log per process. Each line leaves in one write on a descriptor opened
 * for appending, so lines of several threads and processes interleave whole; a line begins with a
 * newline and ends without one. Settings are plain globals: set them at start-up.
 */
#ifndef WZLB_LOG_H
#define WZLB_LOG_H

#include <stdio.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/* Level masks of trace lines; as severities of error lines they read "Critical", "Major", "Minor"
 * and "Warning". */
#define WZLB_LEVEL_1 0xFF
#define WZLB_LEVEL_2 0xFF00
#define WZLB_LEVEL_3 0xFF0000
#define WZLB_LEVEL_4 ((int)0xFF000000u)

/* Module bits. WZLB_MODULE_PARAMETER has no keyword: a numeric mask or ALL reaches it. */
#define WZLB_MODULE_SEARCH 0x1ULL
#define WZLB_MODULE_HESSIAN 0x2ULL
#define WZLB_MODULE_HASH 0x4ULL
#define WZLB_MODULE_AUTH 0x8ULL
#define WZLB_MODULE_API 0x10ULL
#define WZLB_MODULE_MISC 0x20ULL
#define WZLB_MODULE_MEMORY 0x40ULL
#define WZLB_MODULE_TOPO 0x100ULL
#define WZLB_MODULE_PARAMETER 0x200ULL

/** Level mask: a debug line is written when its level has a bit in common with it. Initially 0. */
WZ_API extern int wzlb_log_level;
/** Module mask: a debug line is written when its module bit is set. Initially 0. */
WZ_API extern unsigned long long lib_module_mask;
/** Descriptors of the open logs, -1 while closed. */
WZ_API extern int lib_debug_fd;
WZ_API extern int lib_error_fd;
/** Bytes above which the debug log is rolled over; 0 switches rollover off. Initially 100000000. */
WZ_API extern unsigned int max_debug_log_file_size;
/** Size from the keyword LIB_DO_EXIT; the library itself does not use it. */
WZ_API extern int lib_backtrace_size;
/** A stdio stream on the debug log for callers that want one, or null; the caller who set it owns
 * it. */
WZ_API extern FILE *wzlb_log_fp;
/** Names that a line of the module mask may have, and the bits of each. */
#define WZLB_MODULE_KEYWORDS 9
WZ_API extern const char *const lib_module_mask_name[WZLB_MODULE_KEYWORDS];
WZ_API extern const unsigned long long lib_module_mask_bit[WZLB_MODULE_KEYWORDS];

/**
 * Writes the debug line "\n<time>|<file>|<line>|<function>|<message>" when both masks let it pass,
 * opening or rolling over the log first. A line is cut at 64000 bytes. errno is kept.
 *
 * @param tmp_log_level  Level mask of the line (WZLB_LEVEL_1 ... WZLB_LEVEL_4).
 * @param mask           Module bit of the line.
 * @param file, line, fname  The caller's place: __FILE__, __LINE__, __func__; not kept.
 * A log that cannot be opened is reported on standard error at every line.
 */
WZ_API void wzlb_debug_log_ex(int tmp_log_level, unsigned long long mask, char *file, int line,
                              char *fname, char *format, ...) WZ_PRINTF(6, 7);

/** The word of a severity in error lines; "Unknown Log Level" for a number that is none. Static. */
WZ_API char *log_level_to_str(int log_level);

/**
 * Writes the error line
 * "\n<time>|<error_id>|<severity>|<error_attr>|<file>|<line>|<function>|Error|<message>" to the
 * error log, or to standard error while no error log is named. The error log is never rolled over.
 *
 * @param log_level  Severity, one of the level masks; 0 suppresses the line.
 */
WZ_API void wzlb_error_log_ex(int log_level, char *file, int line, char *fname, char *error_id,
                              char *error_attr, char *format, ...) WZ_PRINTF(7, 8);

/**
 * Writes a line to the caller's own stream when `log_level` <= `max_log_level` (numbers, not
 * masks). The time stamp is that of wzlb_get_cur_date_time; a line is cut at 20000 bytes.
 *
 * @param log_fp  Stream, flushed after the line; null stands for standard output, not flushed.
 * @return        0.
 */
WZ_API int lib_debug_log(int log_level, int max_log_level, FILE *log_fp, char *file_name, int line,
                         char *fname, char *format, ...) WZ_PRINTF(7, 8);

/** wzlb_open_log without a header; a failure is also reported on standard error. */
WZ_API int open_log_ex(char *log_file, int *fd, unsigned int max_size);
/** wzlb_check_rollover_file (to "<path>.prev"), then wzlb_open_file_with_header. */
WZ_API int wzlb_open_log(int *fd, char *log_file, int max_file_size, char *header);

/**
 * Opens `log_file` for appending unless `*fd` is open already.
 *
 * @param fd      Descriptor, set; a value below 1 counts as not open.
 * @param header  Written when this call creates the file; null for none. Not kept.
 * @return        0 already open or opened without writing a header, 1 opened and header written,
 *                -1 open failed (errno).
 */
WZ_API int wzlb_open_file_with_header(int *fd, char *log_file, char *header);

/**
 * Closes `*fd` when its file is larger than `max_file_size` and moves the file aside first, unless
 * another process has done so or is just doing so.
 *
 * @param fd             Open descriptor, set to -1 when closed; below 1 nothing is done.
 * @param max_file_size  Bytes; below 1 nothing is done.
 * @param prev_or_mmdd   Not 0: to "<path>.prev", replacing the earlier one. 0: to "<path>.HH.MM",
 *                       the local hour and minute (not month and day, whatever the name says).
 * @return               0 always.
 */
WZ_API int wzlb_check_rollover_file(int *fd, char *log_file, int max_file_size, int prev_or_mmdd);

/** Closes the debug log; the next line opens it again. */
WZ_API void wzlb_close_log_fd(void);
/** Descriptor of the debug log, or -1. */
WZ_API int wzlb_get_debug_fd(void);
/** Descriptor of the error log, or -1. */
WZ_API int wzlb_get_error_fd(void);

/* Setters. The two names of each pair set the same variable. */
WZ_API void wzlb_util_set_debug_log_level(int debug_level);
WZ_API void hessian_set_debug_log_level(int debug_level);
WZ_API void wzlb_util_set_modulemask(unsigned long long module_mask);
WZ_API void wzlb_util_set_debug_log_size(unsigned int size);
/** Paths of the logs, copied and cut at 1023 bytes; null leaves a path as it is. An open log stays
 * open under its old path. */
WZ_API void wzlb_util_set_log_filename(char *log_file_name, char *error_log_file_name);
WZ_API void wzlb_util_set_debug_log_fp(FILE *debug_log_fp);
WZ_API void hessian_set_debug_log_fp(FILE *debug_log_fp);

/** Keyword line "LIB_DEBUG <level>": 1 to 4 write that many levels, any other number is taken as
 * the mask itself. 0; -1 when the value is not numeric, with a message on standard error. A missing
 * value is reported and counts as 0. */
WZ_API int set_wzlb_debug(char *buf);

/** Room that `err_msg` of set_wzlb_modulemask needs. */
#define WZLB_MODULEMASK_ERROR_SIZE 1024

/**
 * Keyword line of the module mask: "<keyword> <field>...", a field being a module name (any case),
 * a decimal number, a hexadecimal one behind "0x", or "~". The values are added up from 0 (a module
 * named twice adds its bit twice); behind "~" the bits of each value are cleared instead.
 *
 * @param buf      The line; at most 99 fields behind the keyword count. Not changed.
 * @param err_msg  WZLB_MODULEMASK_ERROR_SIZE bytes for the message of a failure.
 * @return         0; -1 for an unknown module name, with the mask unchanged.
 */
WZ_API int set_wzlb_modulemask(char *buf, char *err_msg);

/** Keyword line "LIB_DO_EXIT <size>": 0 to 1024 is stored in `lib_backtrace_size`; anything else is
 * reported on standard error and stores 100. Returns 0. */
WZ_API int kw_set_lib_do_exit(char *buf);

/** Text of the system error `num` in a buffer of the calling thread, valid until its next call. */
WZ_API char *wzlb_strerror(int num);
/** Bytes of a kept error text, its NUL included. */
#define WZLB_ERROR_TEXT_SIZE 257
/** The calling thread's last error text, at first empty. */
WZ_API extern __thread char g_wzlb_err_buf[WZLB_ERROR_TEXT_SIZE];
/** Keeps the first 256 bytes of `error` in it; null empties it. */
WZ_API void wzlb_set_error(char *error);
/** `g_wzlb_err_buf`. */
WZ_API char *wzlb_get_error(void);

/** Local time as MM/DD/YY HH:MM:SS, the time stamp of log lines, in a buffer of the calling thread,
 * valid until its next call; "Error" when it cannot be converted. */
WZ_API char *get_cur_date_time(void);

/**
 * Prints the message and ends the process. Threads that call it while another is exiting block.
 *
 * Status 0 is a clean stop: the message goes to standard error. Any other status: the message goes
 * to standard error, and "<time>|<file>|<line>|<function>|<message>.\nExiting..." to `trace_fd`.
 *
 * @param trace_fd     Descriptor for the whole text; below 0 for none.
 * @param buffer       Where the text is built, or null.
 * @param buffer_size  Bytes of `buffer`; longer texts are cut, the closing always fits.
 */
WZ_API void wzlb_exit(int exit_status, int trace_fd, char *buffer, int buffer_size, char *file,
                      int line, char *fname, char *format, ...) __attribute__((noreturn))
WZ_PRINTF(8, 9);

WZ_END_DECLS

#endif
