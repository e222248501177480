/* Random strings and fake data: declaration and values.
 *
 * A random-string variable is a text of random length made of characters of a declared set, or,
 * when its declaration names a class, a value of libwzfaker (<wz/wzlb_faker.h>). The host owns the
 * rows, reads their declarations at start-up and asks for values per request. Characters and
 * lengths are drawn from the process's rand(); whoever wants other values in each process calls
 * srand() first.
 *
 * libwzfaker is taken from the process where that has it, else from the folder of libwz.so or the
 * system's, at the first declaration with a class. Where there is none, every class is unknown.
 */
#ifndef WZLB_RANDOM_STRING_H
#define WZLB_RANDOM_STRING_H

#include <wz/wzlb_parse_api.h>

WZ_BEGIN_DECLS

/** Bytes of the buffer that a character set is expanded into, its NUL included. */
#define WZLB_CHAR_SET_BUFFER 4048

/** A row of the host's table of random strings. */
typedef struct RandomStringTableEntry {
  wz_bigbuf_t name;     /**< name in the big buffer; WZ_BIGBUF_UNSET while unset */
  int max;              /**< longest length; -1 while unset */
  int min;              /**< shortest length; 0 while unset */
  wz_bigbuf_t char_set; /**< the set as declared, in the big buffer; WZ_BIGBUF_UNSET while unset */
  int len;              /**< the host's */
  int sess_idx;         /**< index of the session (script) that declares the variable */
  int refresh;          /**< a new value 1 = once per session, 2 = at every use */
  int hash_code;        /**< the host's */
  int scon_idx;         /**< the host's */
  int faker_class_id;   /**< id of the class, its arguments included; -1: none */
  short var_val_flag;   /**< the host's */
  wz_bigbuf_t
      faker_class_args; /**< what follows the first ';' of the class; WZ_BIGBUF_UNSET: none */
} RandomStringTableEntry;

/**
 * Reads one declaration of a random string.
 *
 * Fields are matched on their first letters without regard to case, in this order; one that matches
 * none is the variable's name, which must come first. So a variable cannot have a name that begins
 * with one of the keywords: Minute is taken for Min.
 *
 * | keyword  | value                                                                          |
 * |----------|--------------------------------------------------------------------------------|
 * | Min, Max | digits: the shortest and longest length. Both above 0 and required.             |
 * | REFRESH  | begins with SESSION or USE, in any case                                         |
 * | Charset  | characters and ranges, see wzlb_get_expanded_list; required                     |
 * | Class    | class of fake data, `name;argument=value`; Min, Max and Charset are not needed   |
 *
 * Errors go the way of g_wzlb_module. Deliberate: in no mode does an error in one field end the
 * reading; only what is missing in the end makes the declaration fail.
 *
 * @param randomStringTable  The row to fill; its host-owned members stay as they are.
 * @param line               The line without its line end; not changed.
 * @param line_number        For messages.
 * @param sess_idx           Index of the declaring session, stored in the row.
 * @param sess_name          Name of that session, for messages.
 * @param sess_name_with_proj_subproj  The same with its project, for traces; may be null.
 * @param script_filename    File of the declaration, for messages.
 * @return                   0, or -1 when the declaration is refused.
 */
WZ_API int wzlb_input_randomString_data(RandomStringTableEntry *randomStringTable, char *line,
                                        int line_number, int sess_idx, char *sess_name,
                                        char *sess_name_with_proj_subproj, char *script_filename);

/* The handlers of single fields. Each works on row `rnum` of the table; -1 when there is none. The
 * state is 1 until the name has been taken and 2 from then on; every handler but the first requires
 * 2. The last four arguments are those of wzlb_input_randomString_data. The result is 0, or -1 when
 * the field is refused. */

/** Takes `keyword` as the variable's name: sets the row to its defaults and `*state` to 2. In state
 * 2 the field is an unknown option. `value` and `buffer` are not looked at. */
WZ_API int wzlb_set_name_option(RandomStringTableEntry *randomStringTable, char *keyword,
                                char *value, char *buffer, int rnum, int *state, int line_number,
                                char *sess_name, char *sess_name_with_proj_subproj,
                                char *script_filename);
/** Takes the shortest length. */
WZ_API int wzlb_set_min_value(RandomStringTableEntry *randomStringTable, char *value, int rnum,
                              int state, int line_number, char *sess_name,
                              char *sess_name_with_proj_subproj, char *script_filename);
/** Takes the longest length. */
WZ_API int wzlb_set_max_value(RandomStringTableEntry *randomStringTable, char *value, int rnum,
                              int state, int line_number, char *sess_name,
                              char *sess_name_with_proj_subproj, char *script_filename);
/** Takes the character set and stores it as it is written. */
WZ_API int wzlb_set_charset(RandomStringTableEntry *randomStringTable, char *value, int rnum,
                            int state, int line_number, char *sess_name,
                            char *sess_name_with_proj_subproj, char *script_filename);
/** Takes when a new value is due. */
WZ_API int wzlb_set_refresh(RandomStringTableEntry *randomStringTable, char *value, int rnum,
                            int state, int line_number, char *sess_name,
                            char *sess_name_with_proj_subproj, char *script_filename);
/** Takes the class of fake data, and what follows its first ';' as its arguments. */
WZ_API int wzlb_set_faker_class(RandomStringTableEntry *randomStringTable, char *value, int rnum,
                                int state, int line_number, char *sess_name,
                                char *sess_name_with_proj_subproj, char *script_filename);

/** Writes the characters from `start` to `end`, both included, to `outstr` from `*outstr_idx` on
 * and advances that; nothing when `start` is above `end`. Stops at WZLB_CHAR_SET_BUFFER - 1. No NUL
 * is written. */
WZ_API void wzlb_expand_char_list(char start, char end, char *outstr, int *outstr_idx);

/**
 * Expands a character set: `a-z0-9_` is the small letters, the digits and `_`.
 *
 * A '-' stands for the characters from the one before it to the one behind it, none when the first
 * is the higher one; at the very start it is its own lower end, at the end it stands for nothing,
 * and the character before it is lost. Other characters stand for themselves; one that is written
 * twice comes twice as often.
 *
 * @param outstr    Receives the characters and a NUL: WZLB_CHAR_SET_BUFFER bytes at most.
 * @param char_set  The set as declared.
 */
WZ_API void wzlb_get_expanded_list(char *outstr, char *char_set);

/**
 * A random string.
 *
 * The length is rand() / (2147483647.0 + max) * (max - (min - 1.0)) + min, truncated, as for random
 * numbers.
 *
 * @param min, max   Bounds of the length, both inclusive.
 * @param char_set   The set as declared.
 * @param total_len  Set to the length; may be null.
 * @return           A tracked block, the caller's to free; null with length 0 when the set expands
 * to nothing. A negative length or a lack of memory ends the process with status -1.
 */
WZ_API char *wzlb_get_random_string(double min, double max, char *char_set, int *total_len);

/**
 * A fake value of the row's class.
 *
 * @param var_ptr     A row with a class; its faker_class_args are passed on as they are, also as an
 *                    offset, because the id carries the arguments.
 * @param random_val  Set to a tracked block, the caller's to free; an empty text when there is no
 *                    value. A lack of memory ends the process with status -1.
 * @param total_len   Set to its length; may be null.
 */
WZ_API void wzlb_fill_fake_data(RandomStringTableEntry *var_ptr, char **random_val, int *total_len);

WZ_END_DECLS

#endif
