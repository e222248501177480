/* Memory map: a register of the live tracked blocks of one thread, for finding leaks.
 *
 * Each thread has its own map and none until it calls wzlb_mem_map_init. From then on tracked
 * allocation (wzlb_alloc.h) records each block of that thread with its size, place, label and time.
 * A block that one thread takes and another gives back stays in the first thread's map and is not
 * found in the second's. A thread that ends frees its map first.
 */
#ifndef WZLB_MEM_MAP_H
#define WZLB_MEM_MAP_H

#include <wz/wz_base.h>
#include <wz/wzlb_get_norm_obj_id.h>

WZ_BEGIN_DECLS

/** Entries of a new map, and by how many it grows. */
#define WZLB_MEM_MAP_FIRST_ENTRIES 10240
#define WZLB_MEM_MAP_GROWTH_STEP 10

/** One entry of the register. */
typedef struct ZelMemoryMap {
  void *address;      /**< the block; null while the entry is free */
  size_t size;        /**< bytes; 0 while the entry is free */
  char message[256];  /**< "<file>|<line>|<function>|<label>", cut */
  char timestamp[32]; /**< when it was recorded, see wzlb_get_cur_date_time */
} ZelMemoryMap;

/* The calling thread's map, for a look at it; it changes with every block. */
/** The entries; null while there is no map. */
WZ_API extern __thread ZelMemoryMap *zel_mem_map;
/** How many there are; 0 while there is no map. */
WZ_API extern __thread int mem_map_entry_max;
/** Highest entry in use. */
WZ_API extern __thread int mem_map_max_norm_id;
/** Text of an address, as "%p" prints it, to the number of its entry. */
WZ_API extern __thread NormObjKey mem_map_norm_tbl;

/** Gives the calling thread a map. 0; -1 when it has one already. */
WZ_API int wzlb_mem_map_init(void);

/**
 * Records a block, replacing what is recorded for its address. An entry is never used again after
 * its removal, so a map grows as long as blocks are recorded.
 *
 * @param msg   Label, not empty. All texts are copied.
 * @return      0; -1 without a map, for a null address and for a null or empty label.
 */
WZ_API int wzlb_mem_map_add(void *address, size_t size, char *msg, char *file, int line,
                            char *func);

/** Forgets a block. 0; -1 without a map, for a null address and for one that is not recorded. */
WZ_API int wzlb_mem_map_remove(void *address);

/** Makes room for the entry `norm_id`: one growth step when it lies behind the last entry, which is
 * enough because entries are numbered in order. Nothing without a map. */
WZ_API void wzlb_mem_map_create_entry(int norm_id);

/**
 * Writes the live entries to a new file: a header line, then
 * "<timestamp>|<address>|<size>|<file>|<line>|<function>|<label>" for each.
 *
 * Deliberate: the newest entry is left out, being the block of whoever is about to dump.
 *
 * @return  0; -1 without a map, for a null or empty name, and when the file cannot be opened.
 */
WZ_API int wzlb_mem_map_dump(char *fname);

/** Frees the calling thread's map; its blocks live on. 0; -1 when there is none. */
WZ_API int wzlb_mem_map_free(void);

WZ_END_DECLS

#endif
