/* Date variables: declaration, holidays, unique slices and the formatter.
 *
 * A date variable's value is the current time, shifted by an offset, optionally moved to the next
 * working or non-working day or made unique, and printed with an strftime format. The host owns the
 * rows, reads their declarations at start-up and asks for values per request. The holiday table
 * belongs to the process and takes no lock: fill it before values are asked for.
 */
#ifndef WZLB_DATE_VAR_H
#define WZLB_DATE_VAR_H

#include <time.h>
#include <wz/wzlb_parse_api.h>
#include <wz/wzlb_time_stamp.h>

WZ_BEGIN_DECLS

/** The seconds that one process may hand out: its slice of every round of about a day. */
typedef struct Zel_uniq_date_time_data {
  int cur_sec;         /**< next second to hand out, relative to init_time */
  int end_sec;         /**< the slice is used up when cur_sec gets here */
  u_wz_ts_t init_time; /**< base time in seconds since the epoch; all bits set until first used */
} Zel_uniq_date_time_data;

/** A row of the host's table of date variables. */
typedef struct DateVarTableEntry {
  wz_bigbuf_t name;   /**< name in the big buffer; WZ_BIGBUF_UNSET while unset */
  int date_time;      /**< the host's */
  wz_bigbuf_t format; /**< strftime format in the big buffer; WZ_BIGBUF_UNSET while unset */
  int format_len;     /**< length of the format */
  union {
    int sess_idx; /**< index of the session (script) that declares the variable */
    int scon_idx; /**< what the host makes of it later */
  };
  int refresh;        /**< a new value 1 = once per session, 2 = at every use */
  int time_offset;    /**< seconds added to the current time; may be negative */
  int day_type;       /**< 0 = any day, 1 = working day, 2 = non-working day */
  int unique_date;    /**< 1 = every session gets a second of its own */
  int day_offset;     /**< days added; may be negative */
  int min_days;       /**< nearest day of a random date; 0 with max_days 0: not random */
  int max_days;       /**< farthest day of a random date, at most 365 */
  short var_val_flag; /**< the host's */
  int hash_code;      /**< the host's */
  union {
    Zel_uniq_date_time_data *date_time_data; /**< the process's slice, attached by the host */
    long date_time_data_offset;              /**< or where it lies */
  };
} DateVarTableEntry;

/** The host's shared-memory copy of a row: the same settings, texts as strings. */
typedef struct DateVarTableEntry_Shr {
  char *var_name;
  char *format;
  char unique_date;
  int uv_table_idx; /**< the variable's place in the table of values */
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

/** One holiday. */
typedef struct Zel_holi_days {
  char date[11];          /**< MM/DD/YYYY; compared as text, so day and month need two digits */
  char description[2048]; /**< free text */
} Zel_holi_days;

/** The holidays: `total_holiday_entries` rows in use of `max_holiday_entries`. The array moves when
 * it grows. */
WZ_API extern Zel_holi_days *g_holi_days;
WZ_API extern int total_holiday_entries;
WZ_API extern int max_holiday_entries;
/** While nonzero (as at first), every declaration that carries DayType reads the holiday file and
 * appends its rows again. */
WZ_API extern int flag_to_read_file;

/**
 * Reads one declaration of a date variable.
 *
 * The first field is the variable's name. The others, in any order and matched on their first
 * letters without regard to case (FormatX is format); fields that match none are ignored:
 *
 * | keyword            | value                                                                 |
 * |--------------------|-----------------------------------------------------------------------|
 * | format             | strftime format; required. `%ms` alone: milliseconds since the epoch; |
 * |                    | at the end `%MS`: milliseconds behind the character before it         |
 * | offset             | `[+|-]days[.time]`, time as S, M:S, H:M:S; what cannot be read of it  |
 * |                    | is ignored                                                            |
 * | MinDays, MaxDays   | range of a random date, both above 0; drops the offset; MaxDays is    |
 * |                    | cut to 365                                                            |
 * | DayType            | ALL, WORKING or NONWORKING; reads `sys/holidays.dat` under the work   |
 * |                    | directory, whose lines are `MM/DD/YYYY|description`                   |
 * | REFRESH            | SESSION or USE                                                        |
 * | UNIQUE             | YES or NO                                                             |
 *
 * A line that cannot be parsed is reported on standard error. Every other error goes the way of
 * g_wzlb_module: in mode 1 reading goes on and the refused setting keeps its default.
 *
 * @param dateVarTable     The row to fill; its host-owned members stay as they are.
 * @param line             The line without its line end; not changed.
 * @param line_number      For messages.
 * @param sess_idx         Index of the declaring session, stored in the row.
 * @param sess_name        Name of that session, for messages.
 * @param sess_name_with_proj_subproj  The same with its project, for traces; may be null.
 * @param script_filename  File of the declaration, for messages.
 * @return                 0, or -1 when the declaration is refused.
 */
WZ_API int wzlb_input_datevar_data(DateVarTableEntry *dateVarTable, char *line, int line_number,
                                   int sess_idx, char *sess_name, char *sess_name_with_proj_subproj,
                                   char *script_filename);

/**
 * The value of a date variable at this moment.
 *
 * @param format_len      Length of `format`; a `%MS` is looked for at this place. The result has
 *                        room for `format_len` + 200 bytes; below -200 ends the process with status
 *                        -1, as does a lack of memory.
 * @param format          strftime format, see wzlb_input_datevar_data; null means
 *                        "%a %b  %d %H:%M:%S %Y".
 * @param day_offset      Days to add.
 * @param time_offset     Seconds to add.
 * @param day_type        1 or 2 moves day by day to a working or non-working day: backward when an
 *                        offset is negative, else forward; a day that matches stays. Not for `%ms`.
 * @param is_uniq         1 takes the next second of the slice instead; the shifted time becomes the
 *                        slice's base at its first use. Not for `%ms`.
 * @param date_time_data  This process's slice; null switches `is_uniq` off.
 * @param num_process     How many processes share the day.
 * @param total_len       Set to the value's length, 0 for the error value; may be null.
 * @return                A tracked block, the caller's to free. "zel_cur_date: error" when the time
 *                        cannot be converted or strftime gives nothing, with a line on standard
 *                        error. Null only for a `format_len` of -200.
 */
WZ_API char *wzlb_get_formated_cur_date(int format_len, char *format, int day_offset,
                                        int time_offset, int day_type, int is_uniq,
                                        Zel_uniq_date_time_data *date_time_data, int num_process,
                                        int *total_len);

/**
 * Divides the day among processes and remembers how wide the slices are.
 *
 * @param date_time_data  Array of `num_proc` slices to set; slice i starts i * (width + 1) seconds
 *                        after the base. Null changes nothing.
 * @param num_proc        Number of processes; below 1 changes nothing.
 */
WZ_API void wzlb_fill_uniq_date_time(Zel_uniq_date_time_data *date_time_data, int num_proc);

/** Moves one slice on to its process's place in the next round: `num_process` times the width that
 * wzlb_fill_uniq_date_time remembered. */
WZ_API void wzlb_update_uniq_date_time_date(Zel_uniq_date_time_data *date_time_data,
                                            int num_process);

/**
 * Reserves the next row of the holiday table, which may move it. The row is the caller's to fill.
 *
 * @param row_num  Set to the row's index.
 * @return         0; -1 when there is no memory, with a message on standard error.
 */
WZ_API int create_holiday_table_entry(int *row_num);

/** 2 when the local date of `date_in_sec` (seconds since the epoch) is a Saturday, a Sunday or in
 * the holiday table, else 1. */
WZ_API int wzlb_is_wrking_or_non_wrking_day(time_t date_in_sec);

/**
 * Steps through the days until one has the wanted type.
 *
 * @param date_in_sec  Where to start, seconds since the epoch; a day that matches is the result.
 * @param next         Days per step, 1 or -1.
 * @param day_type     1 = working, 2 = non-working.
 * @return             The time on the day found. `date_in_sec` when a hundred years of steps find
 *                     none, so that a table without any working day does not hang the caller.
 */
WZ_API time_t wzlb_get_wrking_non_wrking_day(time_t date_in_sec, int next, int day_type);

WZ_END_DECLS

#endif
