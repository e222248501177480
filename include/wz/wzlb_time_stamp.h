/* Time stamps, wall clock, formatted dates and the product epoch. */
#ifndef WZLB_TIME_STAMP_H
#define WZLB_TIME_STAMP_H

#include <time.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Milliseconds of a time stamp. */
typedef unsigned long long u_wz_ts_t;

WZ_API void init_ms_stamp(void);
WZ_API u_wz_ts_t get_ms_stamp(void);
WZ_API u_wz_ts_t get_ms_stamp_jiffy(void);
WZ_API u_wz_ts_t get_ms_stamp_gettimeofday(void);
WZ_API u_wz_ts_t get_ms_stamp_rdtsc(void);
WZ_API void kw_set_time_stamp_mode(char *buf);
WZ_API void wzlb_set_timer_factor(double timer_factor);
WZ_API int set_cpu_freq(void);
WZ_API int set_jiffies_64_bit_ptr(void);
WZ_API u_wz_ts_t get_jiffies_vaddr(void);
WZ_API long get_unix_zel_epoch_diff(int zel_epoch_year);
WZ_API long long wzlb_get_cur_time_in_ms(void);
WZ_API struct tm *wzlb_localtime(time_t *tloc, struct tm *lt, int need_to_block_signal);
WZ_API char *wzlb_get_cur_date_time(char *time_string, int need_to_block_signal);
WZ_API void wzlb_set_timezone_offset(void);
WZ_API void convert_to_hh_mm_ss(u_wz_ts_t time, char *str);

WZ_END_DECLS

#endif
