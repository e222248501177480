/* Normalized id table: byte strings to dense ids 0, 1, 2, ... in order of arrival, and back.
 *
 * The caller owns the record, the table owns everything that it points to. Strings are copied into
 * a big buffer and never moved out of it; collisions chain through slots of a memory pool. A table
 * belongs to one thread, or the caller locks around it. A lack of memory ends the process, as in
 * wzlb_alloc.h.
 *
 * All functions take the table first, then a string as `in_str` with `in_strlen` bytes. The string
 * also ends with a NUL: its hash covers the bytes up to the first NUL, whatever the length says,
 * and comparison covers `in_strlen` bytes and ends at a NUL. Equal bytes with different lengths are
 * thus different entries. Bad input (a null or empty string) is reported by the result alone;
 * functions that return an id give -1 as unsigned int then, unless they say otherwise.
 */
#ifndef WZLB_GET_NORM_OBJ_ID_H
#define WZLB_GET_NORM_OBJ_ID_H

#include <wz/wz_base.h>
#include <wz/wzlb_big_buf.h>
#include <wz/wzlb_mem_pool.h>

WZ_BEGIN_DECLS

/** Eight bytes that may be kept with a string; they are copied bytewise. */
typedef union NormTableData {
  void *ptr;
  long long number;
  double real;
  int value;
  char byte;
  char bytes[8];
} NormTableData;

/** One entry, the head of a chain or a pool slot. The bytes behind `slot_status` are the table's.
 */
typedef struct NormTable {
  struct node *prev; /**< these three are the head of a pool slot */
  struct node *next;
  char slot_status;
  signed long long str;      /**< offset of the string in `bigbuf`; -1: an empty head */
  int len;                   /**< its length */
  int idx;                   /**< its id */
  signed long long data;     /**< offset of a NormTableData in `bigbuf`; not above 0: none */
  struct NormTable *nt_next; /**< next entry of the chain */
} NormTable;

/** An id that waits to be used again. */
typedef struct FreeNormIdList {
  int free_id;
  struct FreeNormIdList *next_free_id;
} FreeNormIdList;

typedef struct TreeNode TreeNode;

typedef struct NormObjKey {
  bigbuf_t bigbuf;                        /**< strings and data */
  int size;                               /**< head entries, a power of two */
  int prime;                              /**< largest prime not above `size`, the hash's modulus */
  NormTable *nt;                          /**< the head entries */
  NormTable **id_name;                    /**< id to entry; only with wzlb_init_norm_id_table_ex */
  int max_norm_id_size;                   /**< elements of `id_name` that are valid */
  int prev_id;                            /**< last id handed out, at first -1 */
  TreeNode *head;                         /**< unused */
  FreeNormIdList *free_norm_id_list_head; /**< released ids, oldest first */
  FreeNormIdList *free_norm_id_list_tail;
  wzlb_mp_handler *nt_mpool; /**< collision entries */
} NormObjKey;

/** wzlb_init_norm_id_table_v2 with a big buffer of its default size. */
WZ_API int wzlb_init_norm_id_table(NormObjKey *key, int size);
/**
 * Sets the record up for `size` head entries, rounded up to a power of two. What the record held is
 * not freed.
 *
 * @param big_buf_size  First size of the big buffer in bytes, above 0.
 * @return              0; -1 for a null record or an impossible size.
 */
WZ_API int wzlb_init_norm_id_table_v2(NormObjKey *key, int size, int big_buf_size);
/** wzlb_init_norm_id_table with the reverse array, which wzlb_get_or_set_norm_id fills.
 * `max_norm_id_size` stays 0: the first recorded id replaces the array by one of 16 elements.
 * Returns 0; -1 for a null record. */
WZ_API int wzlb_init_norm_id_table_ex(NormObjKey *key, int size);

/**
 * The id of a string, a new one for a new string.
 *
 * @param in_strlen  Bytes; 0 means up to the NUL.
 * @param flag_new   May be null. 0 for a known string, otherwise how many entries its chain had
 *                   before, 1 for an empty head too; left alone on bad input.
 * @return           The id; 0 for a negative length.
 */
WZ_API unsigned int wzlb_get_or_gen_norm_id(NormObjKey *key, char *in_str, int in_strlen,
                                            int *flag_new);
/** As wzlb_get_or_gen_norm_id, but a length that is not above 0 is bad input. `*hs` is set to the
 * hash index only when the string went into an empty head. */
WZ_API unsigned int wzlb_get_or_gen_norm_id_ex(NormObjKey *key, char *in_str, int in_strlen,
                                               int *flag_new, int *hs);
/** As wzlb_get_or_gen_norm_id, but a length of 0 is bad input, and a new entry is recorded in the
 * reverse array when there is one. */
WZ_API unsigned int wzlb_get_or_set_norm_id(NormObjKey *key, char *in_str, int in_strlen,
                                            int *flag_new);
/** As wzlb_get_or_gen_norm_id, but a new string gets `normid`, with a flag of 1, unless that is -1.
 */
WZ_API unsigned int wzlb_get_set_or_gen_norm_id(NormObjKey *key, char *in_str, int in_strlen,
                                                int *flag_new, int normid);
/** As wzlb_get_or_gen_norm_id, but a new string gets the id that was released first, if any is
 * left. */
WZ_API unsigned int wzlb_get_set_or_gen_norm_id_ex(NormObjKey *key, char *in_str, int in_strlen,
                                                   int *flag_new);

/** wzlb_set_norm_id_and_data with data 0. */
WZ_API unsigned int wzlb_set_norm_id(NormObjKey *key, char *in_str, int in_strlen, int normid);
/** wzlb_set_norm_id_and_data_ex with `data` as the first of eight bytes, the others 0. */
WZ_API unsigned int wzlb_set_norm_id_and_data(NormObjKey *key, char *in_str, int in_strlen,
                                              int normid, char data);
/**
 * Gives a new string the id `normid` and a copy of `*data`; later generated ids are above it. A
 * known string keeps its id and its data.
 *
 * @param in_strlen  Bytes; 0 means up to the NUL.
 * @param data       Copied; null for none.
 * @return           The string's id; 0 for bad input. A negative length is reported on standard
 *                   error.
 */
WZ_API unsigned int wzlb_set_norm_id_and_data_ex(NormObjKey *key, char *in_str, int in_strlen,
                                                 int normid, NormTableData *data);

/** The id of a string; -1 for bad input or length 0, -2 when it is unknown. */
WZ_API int wzlb_get_norm_id(NormObjKey *key, char *in_str, int in_strlen);
/**
 * wzlb_get_norm_id that also tells the hash index and the data.
 *
 * @param hs    May be null; set unless the input is bad.
 * @param data  May be null. Set to the string's data, 0 when it has none or its head entry is
 *              empty; left alone when the string is not in its chain.
 */
WZ_API int wzlb_get_norm_id_hash_data_ex(NormObjKey *key, char *in_str, int in_strlen, int *hs,
                                         NormTableData *data);
/** As wzlb_get_norm_id_hash_data_ex with the first four bytes of the data. */
WZ_API int wzlb_get_norm_id_hash_data(NormObjKey *key, char *in_str, int in_strlen, int *hs,
                                      int *value);
/** The string of an id that wzlb_get_or_set_norm_id recorded, in the big buffer: valid until the
 * next insertion. "InvalidInput" for a null table or a negative id, "NormIdNameNotFound" for an id
 * without a recorded string. */
WZ_API char *wzlb_get_norm_table_data(NormObjKey *key, int norm_id);

/** Raises `prev_id` to `start_normid`, never lowers it. */
WZ_API void wzlb_set_start_norm_id(NormObjKey *key, int start_normid);

/**
 * Empties head entry `hash`. Deliberate: the chain behind it is not touched (its strings are found
 * again once the head is filled) and no id is released.
 *
 * @return  0; -1 when the head is empty or there is none of that number.
 */
WZ_API int wzlb_delete_norm_id(NormObjKey *key, int hash);
/** Removes a string and releases its id, which goes to `*norm_id` unless that is null. Its bytes
 * stay in the big buffer. 0; -1 for bad input, length 0 or an unknown string. */
WZ_API int wzlb_delete_norm_id_ex(NormObjKey *key, char *in_str, int in_strlen, int *norm_id);
/** Appends an id to the released ones. */
WZ_API void wzlb_add_id_in_free_list(NormObjKey *key, int data);

/** Forgets every string and released id; ids start from 0 again, the memory is kept. 0; -1 for a
 * null table. */
WZ_API int wzlb_obj_hash_reset(NormObjKey *key);
/** Frees everything, the reverse array too, and clears the record. 0; -1 for a null table. */
WZ_API int wzlb_obj_hash_destroy(NormObjKey *key);

/**
 * Index of a NUL-terminated string: FNV-1a, deliberately in 64 bits though its constants are those
 * of 32 bits, modulo `prime`.
 *
 * @param len   Only tested for being above 0.
 * @param size  Only tested for being above 0.
 * @return      0 to `prime` - 1; -1 for a null string or a number below 1.
 */
WZ_API int wzlb_get_hash_index_ex(unsigned char *str, int len, int size, int prime);
/** The largest prime not above `n`; `n` itself when it is below 3. */
WZ_API int get_prime(int n);
/** The smallest power of two not below `value`, at least 1; 0 when no int can hold it. */
WZ_API int wzlb_change_to_2_power_n(int value);

WZ_END_DECLS

#endif
