/* Date variables: declaration, holidays, unique slices and the formatter. */
#ifndef WZLB_DATE_VAR_H
#define WZLB_DATE_VAR_H

#include <time.h>
#include <wz/wzlb_parse_api.h>
#include <wz/wzlb_time_stamp.h>

WZ_BEGIN_DECLS

typedef struct Zel_uniq_date_time_data {
  int cur_sec;         /**< next second to hand out, relative to init_time */
  int end_sec;         /**< last second of the current slice */
  u_wz_ts_t init_time; /**< base time in seconds since the epoch; all bits set while unset */
} Zel_uniq_date_time_data;

typedef struct DateVarTableEntry {
  wz_bigbuf_t name;
  int date_time; /**< the host's */
  wz_bigbuf_t format;
  int format_len;
  union {
    int sess_idx;
    int scon_idx;
  };
  int refresh;     /**< 1 = SESSION, 2 = USE */
  int time_offset; /**< seconds */
  int day_type;    /**< 0 = ALL, 1 = WORKING, 2 = NONWORKING */
  int unique_date; /**< 1 = each session gets a second of its own */
  int day_offset;  /**< days */
  int min_days;
  int max_days;
  short var_val_flag; /**< the host's */
  int hash_code;      /**< the host's */
  union {
    Zel_uniq_date_time_data *date_time_data;
    long date_time_data_offset;
  };
} DateVarTableEntry;

/** The host's shared-memory copy of a row. */
typedef struct DateVarTableEntry_Shr {
  char *var_name;
  char *format;
  char unique_date;
  int uv_table_idx;
  int format_len;
  int refresh;
  int day_type;
  int day_offset;
  int time_offset;
  int sess_idx;
  int min_days;
  int max_days;
  Zel_uniq_date_time_data *date_time_data;
} DateVarTableEntry_Shr;

typedef struct Zel_holi_days {
  char date[11]; /**< MM/DD/YYYY */
  char description[2048];
} Zel_holi_days;

WZ_API extern Zel_holi_days *g_holi_days;
WZ_API extern int total_holiday_entries;
WZ_API extern int max_holiday_entries;
WZ_API extern int flag_to_read_file;

WZ_API int wzlb_input_datevar_data(DateVarTableEntry *dateVarTable, char *line, int line_number,
                                   int sess_idx, char *sess_name, char *sess_name_with_proj_subproj,
                                   char *script_filename);
WZ_API char *wzlb_get_formated_cur_date(int format_len, char *format, int day_offset,
                                        int time_offset, int day_type, int is_uniq,
                                        Zel_uniq_date_time_data *date_time_data, int num_process,
                                        int *total_len);
WZ_API void wzlb_fill_uniq_date_time(Zel_uniq_date_time_data *date_time_data, int num_proc);
WZ_API void wzlb_update_uniq_date_time_date(Zel_uniq_date_time_data *date_time_data,
                                            int num_process);
WZ_API int create_holiday_table_entry(int *row_num);
WZ_API int wzlb_is_wrking_or_non_wrking_day(time_t date_in_sec);
WZ_API time_t wzlb_get_wrking_non_wrking_day(time_t date_in_sec, int next, int day_type);

WZ_END_DECLS

#endif
