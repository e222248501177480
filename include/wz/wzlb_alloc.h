/* Tracked allocation: every block is counted per thread, carries a guard behind its last byte and
 * is offered to the thread's memory map. No locks are taken. */
#ifndef WZLB_ALLOC_H
#define WZLB_ALLOC_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/* The operations accept arguments behind those that are documented and do not evaluate them. */
#define WZLB_FIRST_OF(first, ...) first

/**
 * A new block of at least `size` bytes; null for size 0. A negative size and a lack of memory end
 * the process with status -1 and a message that names the caller.
 *
 * @param size   Bytes.
 * @param label  Name of the data structure, for messages and traces; not kept.
 * @return       The block, the caller's until WZLB_FREE; plain free() is right too, only uncounted.
 */
#define WZLB_MALLOC(size, /* label */...) \
  wzlb_tracked_malloc((long)(size), (WZLB_FIRST_OF(__VA_ARGS__, 0)), __FILE__, __LINE__, __func__)

/**
 * `pointer` grown or shrunk to `size` bytes, or a new block for a null pointer. A size that is not
 * above 0 ends the process with status -1, a lack of memory aborts it.
 *
 * @param index  Which of several blocks of that label, for messages; -1 when meaningless.
 */
#define WZLB_REALLOC(pointer, size, label, /* index */...)                                \
  wzlb_tracked_realloc((pointer), (long)(size), (label), (WZLB_FIRST_OF(__VA_ARGS__, 0)), \
                       __FILE__, __LINE__, __func__)

/** Gives `pointer` back; null is ignored. Blocks of plain malloc are taken too, uncounted. */
#define WZLB_FREE(pointer, label, /* index */...)                                            \
  wzlb_tracked_free((pointer), (label), (WZLB_FIRST_OF(__VA_ARGS__, 0)), __FILE__, __LINE__, \
                    __func__)

/* What the macros expand to. */
WZ_API void *wzlb_tracked_malloc(long size, const char *label, const char *file, int line,
                                 const char *function);
WZ_API void *wzlb_tracked_realloc(void *pointer, long size, const char *label, int index,
                                  const char *file, int line, const char *function);
WZ_API void wzlb_tracked_free(void *pointer, const char *label, int index, const char *file,
                              int line, const char *function);

/** The size that the statistics count for a block of `size` bytes at `mem`: `size` unchanged. */
WZ_API size_t wzlb_get_mem_chunk_size(char *mem, size_t size);

/** Per-thread counters, in bytes as wzlb_get_mem_chunk_size counts them. Growing a block adds to
 * the allocated, shrinking it to the freed bytes. */
typedef struct WzlbMemStats {
  unsigned long long cumulative_allocated;
  unsigned long long periodic_allocated;
  unsigned long long cumulative_freed;
  unsigned long long periodic_freed;
  unsigned long long num_allocations; /**< new blocks; growing an existing one is none */
} WzlbMemStats;

/** Copies the calling thread's counters into `*stats`. */
WZ_API void wzlb_get_mem_stats(WzlbMemStats *stats);
/** Sets the calling thread's periodic counters to 0. */
WZ_API void wzlb_reset_periodic_mem_stats(void);
/** Bytes added to every size that the calling thread requests from now on; 0 by default. A negative
 * length counts as 0. */
WZ_API void wzlb_set_mem_pad_length(int pad_length);

WZ_END_DECLS

#endif
