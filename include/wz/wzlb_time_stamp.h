/* Time stamps, wall clock, formatted dates and the product epoch.
 *
 * The source of time stamps is chosen once, at start-up, with the keyword TIME_STAMP or by calling
 * init_ms_stamp; a source that cannot be prepared gives way to gettimeofday. Settings are not
 * locked.
 */
#ifndef WZLB_TIME_STAMP_H
#define WZLB_TIME_STAMP_H

#include <time.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Milliseconds of a time stamp. */
typedef unsigned long long u_wz_ts_t;

/** Source in use: 0 jiffies of the kernel device, 1 the processor's time-stamp counter,
 * 2 gettimeofday. Initially 0; init_ms_stamp changes it to 2 when it has to fall back. */
WZ_API extern int g_time_stamp_mode;
/** 1 once init_ms_stamp has run. */
WZ_API extern int is_time_stamp_initialised;
/** Divisor of every stamp of get_ms_stamp, at first 1.0. */
WZ_API extern double wz_timer_factor;
/** Wall clock of init_ms_stamp in seconds, from which stamps of gettimeofday count. */
WZ_API extern time_t base_timestamp;
/** The processor's clock in kHz, and the counter from which its stamps count: see set_cpu_freq. */
WZ_API extern int cpu_freq;
WZ_API extern u_wz_ts_t base_tsc_stamp;
/** Seconds that wzlb_get_cur_date_time adds to UTC; at first -1, which means never computed. */
WZ_API extern time_t timezone_offset;

/** Prepares the source that `g_time_stamp_mode` names. Ends the process with status -1 only when
 * gettimeofday fails. */
WZ_API void init_ms_stamp(void);

/** Milliseconds since init_ms_stamp divided by the timer factor; 0 before init_ms_stamp. In mode 1
 * too the stamp comes from gettimeofday, deliberately. */
WZ_API u_wz_ts_t get_ms_stamp(void);
/** Jiffies since initialisation; a counter that wrapped is announced on standard output. 0 without
 * the device. */
WZ_API u_wz_ts_t get_ms_stamp_jiffy(void);
/** Milliseconds of the wall clock since the second of initialisation (modes 1 and 2). */
WZ_API u_wz_ts_t get_ms_stamp_gettimeofday(void);
/** Milliseconds of the time-stamp counter since set_cpu_freq; never steps back. 0 before. */
WZ_API u_wz_ts_t get_ms_stamp_rdtsc(void);

/** Keyword line "TIME_STAMP <mode>". Another mode than the current one is stored and prepared; one
 * outside 0 to 2 ends the process with status -1 and a message on standard error. */
WZ_API void kw_set_time_stamp_mode(char *buf);

/** Divisor of every later stamp of get_ms_stamp, initially 1.0; one that is not above 0 is ignored.
 */
WZ_API void wzlb_set_timer_factor(double timer_factor);

/** Reads the processor's clock and the counter's base. 0, or -1 with a message on standard error.
 */
WZ_API int set_cpu_freq(void);
/** Maps the jiffies counter of the kernel device. 0; -2 when there is no such device; -1 on any
 * other failure. */
WZ_API int set_jiffies_64_bit_ptr(void);
/** Kernel address of the jiffies counter, 0 when the driver reports none. Ends the process with
 * status -1 when it cannot be asked. */
WZ_API u_wz_ts_t get_jiffies_vaddr(void);

/** Seconds from 1 January 1970 to 1 January of `zel_epoch_year`, both local time. Ends the process
 * with status -1 for a year that cannot be converted. */
WZ_API long get_unix_zel_epoch_diff(int zel_epoch_year);

/** Wall clock in milliseconds since the epoch. */
WZ_API long long wzlb_get_cur_time_in_ms(void);

/** localtime_r of `*tloc` into `*lt`; with `need_to_block_signal` 1 all signals are blocked around
 * it and the caller's signal mask is restored. Returns `lt`, or null. */
WZ_API struct tm *wzlb_localtime(time_t *tloc, struct tm *lt, int need_to_block_signal);

/**
 * Writes the current date as MM/DD/YY HH:MM:SS.
 *
 * The clock is UTC minus one second, deliberately: the time-zone offset keeps the value -1 that
 * marks it as never computed, and existing logs are read by that clock.
 *
 * @param time_string           At least 32 bytes; "Error|Error" when the date cannot be converted.
 * @param need_to_block_signal  1 blocks all signals around the conversion and then UNBLOCKS ALL,
 *                              whatever was blocked before.
 * @return                      `time_string`.
 */
WZ_API char *wzlb_get_cur_date_time(char *time_string, int need_to_block_signal);

/** Computes the offset from UTC to local time again; does nothing while it was never computed. */
WZ_API void wzlb_set_timezone_offset(void);

/** Writes `time` (milliseconds), rounded to whole seconds, as HH:MM:SS; the hours are not wrapped
 * at 24, so `str` needs up to 23 bytes. */
WZ_API void convert_to_hh_mm_ss(u_wz_ts_t time, char *str);

WZ_END_DECLS

#endif
