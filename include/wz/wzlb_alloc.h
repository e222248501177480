/* Tracked allocation: every block knows who took it, is counted per thread and carries a guard. */
#ifndef WZLB_ALLOC_H
#define WZLB_ALLOC_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/** A new block of at least `size` bytes, or null for size 0. `label` names the data structure. */
#define WZLB_MALLOC(size, label) \
  wzlb_tracked_malloc((long)(size), (label), __FILE__, __LINE__, __func__)
/** `pointer` grown or shrunk to `size`; `index` (-1 when meaningless) goes into messages. */
#define WZLB_REALLOC(pointer, size, label, index) \
  wzlb_tracked_realloc((pointer), (long)(size), (label), (index), __FILE__, __LINE__, __func__)
/** Gives `pointer` back; null is ignored. */
#define WZLB_FREE(pointer, label, index) \
  wzlb_tracked_free((pointer), (label), (index), __FILE__, __LINE__, __func__)

WZ_API void *wzlb_tracked_malloc(long size, const char *label, const char *file, int line,
                                 const char *function);
WZ_API void *wzlb_tracked_realloc(void *pointer, long size, const char *label, int index,
                                  const char *file, int line, const char *function);
WZ_API void wzlb_tracked_free(void *pointer, const char *label, int index, const char *file,
                              int line, const char *function);

/** The size that the statistics count for a block of `size` bytes at `mem`: `size` unchanged. */
WZ_API size_t wzlb_get_mem_chunk_size(char *mem, size_t size);

/** Per-thread counters, in bytes as wzlb_get_mem_chunk_size counts them. */
typedef struct WzlbMemStats {
  unsigned long long cumulative_allocated;
  unsigned long long periodic_allocated;
  unsigned long long cumulative_freed;
  unsigned long long periodic_freed;
  unsigned long long num_allocations;
} WzlbMemStats;

/** Copies the calling thread's counters into `*stats`. */
WZ_API void wzlb_get_mem_stats(WzlbMemStats *stats);
/** Sets the calling thread's periodic counters to 0. */
WZ_API void wzlb_reset_periodic_mem_stats(void);
/** Bytes added to every size that the calling thread requests from now on; 0 by default. */
WZ_API void wzlb_set_mem_pad_length(int pad_length);

WZ_END_DECLS

#endif
