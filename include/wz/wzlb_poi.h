/* Seeded random generators: uniform integers, and exponential samples (the poi functions, named for
 * the process whose pauses they are).
 *
 * Each generator is a Mersenne Twister of its own, so a seed always yields the same sequence. Both
 * kinds have a table that only grows; a generator's index is valid for the life of the process.
 * Create the generators at start-up: no lock is taken, and one generator serves one thread.
 */
#ifndef WZLB_POI_H
#define WZLB_POI_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/* Referred to weakly: the dynamic linker resolves it from the process that loads the library. */
#ifdef WZ_BUILDING_LIBRARY
#define WZLB_POI_HOST_SYMBOL __attribute__((weak, visibility("default")))
#else
#define WZLB_POI_HOST_SYMBOL __attribute__((visibility("default")))
#endif

/**
 * Provided by the host, not by this library: reserves the next row of a table that grows. In a
 * process without it the tables lie on the heap.
 *
 * @param row_num  Set to the row's index.
 * @param total    Rows in use; one more afterwards.
 * @param max      Rows that there is room for; raised when the table grows.
 * @param table    The table, null at first; it may move. Stays for the life of the process.
 * @param size     Bytes of a row.
 * @param name     Who asks, for messages.
 * @return         0; -1 when there is no room, and nothing has changed.
 */
WZLB_POI_HOST_SYMBOL int create_table_entry(int *row_num, int *total, int *max, char **table,
                                            int size, char *name);

/** A row of the table of uniform generators. */
typedef struct WzUniformGenerator {
  void *r;          /**< GSL's generator, a gsl_rng */
  unsigned int max; /**< one more than the highest number of wz_get_random */
} WzUniformGenerator;

/** A row of the table of exponential generators. */
typedef struct WzExponentialGenerator {
  void *r;                 /**< GSL's generator, a gsl_rng */
  double mu;               /**< mean of the samples */
  unsigned int cur_sample; /**< place in a batch drawn in advance; none is drawn, so 0 */
  unsigned int *arr;       /**< the batch: null */
} WzExponentialGenerator;

/** The tables, each with its rows in use and the rows that there is room for. */
WZ_API extern WzUniformGenerator *gRandTable;
WZ_API extern int gCurRandTblIdx;
WZ_API extern int wz_max_rand_process;
WZ_API extern WzExponentialGenerator *gPoiTable;
WZ_API extern int gCurPoiTblIdx;
WZ_API extern int wz_max_poi_process;

/**
 * Creates a uniform generator.
 *
 * @param seed  Its seed.
 * @param max   One more than the highest number of wz_get_random; its lower 32 bits are kept.
 * @return      Its index. Without memory the process ends with status 1.
 */
WZ_API int wz_rand_init(unsigned long seed, unsigned long max);
/** A number from 0 to the generator's max - 1; 0 when that is 0. The index is not checked. */
WZ_API unsigned long wz_get_random(int rand_idx);
/** A number from 0 to `max` - 1; 0 for a `max` that is not above 0. The index is not checked. */
WZ_API unsigned long wz_get_random_max(int rand_idx, int max);

/**
 * Creates an exponential generator.
 *
 * @param mu    Mean of the samples.
 * @param seed  Its seed.
 * @return      Its index. Without memory the process ends with status 1.
 */
WZ_API int wz_poi_init(double mu, unsigned long seed);
/** The same as wz_poi_init. */
WZ_API int wz_exp_init(double mu, unsigned long seed);
/** Gives a generator a new mean; its sequence goes on. An index that is none ends the process with
 * status -1. */
WZ_API void wz_poi_reinit(unsigned int poi_idx, double mu);
/**
 * Draws a sample.
 *
 * @param pidx  The generator; an index that is none aborts the process.
 * @return      The sample's whole part, rounded to a multiple of 10: 5 rounds down, 6 up.
 */
WZ_API int wz_poi_sample(unsigned int pidx);
/** The same as wz_poi_sample. */
WZ_API int wz_exp_sample(unsigned int pidx);

WZ_END_DECLS

#endif
