/* Memory pool: slots of one size, taken in blocks and kept on exactly one of two lists, free or
 * busy.
 *
 * A record that lives in a pool begins with the fields of `node`, so record and slot are the same
 * memory. The caller owns the handler, the handler owns the blocks. A pool with `handler_flag` 1
 * locks itself and may be shared between threads, except for what is said below; any other belongs
 * to one thread. A null pool or slot is ignored everywhere.
 */
#ifndef WZLB_MEM_POOL_H
#define WZLB_MEM_POOL_H

#include <pthread.h>
#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** Head of every slot. The links are the pool's while the slot is free or busy. */
struct node {
  struct node *prev;
  struct node *next;
  char slot_status; /**< bit 0: first slot of an allocated block; the pool's alone */
};
#ifndef __cplusplus
typedef struct node node;
#endif

typedef struct wzlb_mp_handler {
  char handler_flag;             /**< 1: operations lock `mem_pool_lock` */
  int num_slots_init;            /**< slots of the first block */
  int num_slots_increment;       /**< slots of each further block */
  int num_slots_max;             /**< upper bound on slots; 0: none */
  node *free_head;               /**< free list, next to be handed out first */
  node *free_tail;               /**< its end */
  node *busy_head;               /**< busy list in order of hand-out, oldest first */
  node *busy_tail;               /**< its end */
  int slot_size;                 /**< bytes of a slot, head included */
  int num_malloced_slot;         /**< blocks (not slots) allocated so far */
  pthread_mutex_t mem_pool_lock; /**< guards the lists when `handler_flag` is 1 */
} wzlb_mp_handler;

/**
 * Prepares a pool; the first block comes with the first slot. What the handler held is not freed.
 *
 * @param slot_size            Bytes of a slot. A slot always has room for its head and starts at a
 *                             multiple of 8.
 * @param num_slot_init        Slots of the first block; 10 when not above 0.
 * @param num_slots_increment  Slots of each further block; 10 when not above 0.
 * @param handle_flag          1 for a pool that locks, anything else for one that does not.
 * @return                     0; 1 for a null pool or a slot size of 0.
 */
WZ_API int wzlb_mp_init(wzlb_mp_handler *mpool, int slot_size, int num_slot_init,
                        int num_slots_increment, int handle_flag);

/**
 * Allocates one block of zeroed slots and makes them the free list, in the order of their
 * addresses. Does not lock.
 *
 * With a maximum the pool counts `num_slots_init` + `num_slots_increment` for each block that it
 * has already; a block shrinks by what exceeds the maximum. A lack of memory ends the process with
 * status 1 and a message on standard error.
 *
 * @return  0; 1 for a null pool or a slot size of 0; -1 when the maximum is reached (the text is in
 *          wzlb_get_error) or for a negative slot size (reported on standard error).
 */
WZ_API int wzlb_mp_create(wzlb_mp_handler *mpool);

/** The first free slot, now the newest busy one; null when there is none and none can be made. Only
 * slots of a new block are zeroed: a reused one keeps what it held. */
WZ_API void *wzlb_mp_get_slot(wzlb_mp_handler *mpool);

/** Makes a busy slot the last free one, so that slots are reused oldest first. A slot that is free
 * already stays free; one that is on no list of the pool is ignored. */
WZ_API void wzlb_mp_free_slot(wzlb_mp_handler *mpool, void *slot);
/** As wzlb_mp_free_slot, but makes it the first free one, so that it is handed out next. */
WZ_API void wzlb_mp_free_slot_ex(wzlb_mp_handler *mpool, void *slot);

/** Takes the oldest busy slot off the busy list; the caller gives it back with
 * wzlb_mp_free_busy_head, before the pool is destroyed. Null when no slot is busy. */
WZ_API void *wzlb_mp_get_busy_head(wzlb_mp_handler *mpool);
/** The oldest busy slot, left where it is; null when no slot is busy. */
WZ_API void *wzlb_mp_check_busy_head(wzlb_mp_handler *mpool);
/** Makes a slot that wzlb_mp_get_busy_head took the first free one. */
WZ_API void wzlb_mp_free_busy_head(wzlb_mp_handler *mpool, wzlb_mp_handler *slot);

/** Frees every busy slot, oldest first. The list is not locked as a whole, only slot by slot. */
WZ_API void wzlb_mp_free_all_slots(wzlb_mp_handler *mpool);
/** Frees every block and zeroes the handler; all slots end here, busy ones too. Does not lock. */
WZ_API void wzlb_mp_destroy(wzlb_mp_handler *mpool);
/** Sets `num_slots_max`. Does not lock. */
WZ_API void wzlb_mp_set_max(wzlb_mp_handler *mpool, int max);

/** Text of the pool errors 2, 3 and 4; "Unknown Error Type" for every other code. Deliberate: 0 and
 * 1 have no text of their own. Static, never null. */
WZ_API char *mpool_errstr(int error);

WZ_END_DECLS

#endif
