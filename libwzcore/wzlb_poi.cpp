// Tables of seeded generators. Their rows live as long as the process, so GSL's states in them have
// no owner but the table; the host reserves the rows, because it may want them in a place of its
// own, and a process that is no host gets them from the heap.
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>
#include <wz/wzlb_poi.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "libwzcore/internal/soft_alloc.h"
#include "libwzcore/internal/trace.h"

constinit WzUniformGenerator* gRandTable = nullptr;
constinit int gCurRandTblIdx = 0;
constinit int wz_max_rand_process = 0;
constinit WzExponentialGenerator* gPoiTable = nullptr;
constinit int gCurPoiTblIdx = 0;
constinit int wz_max_poi_process = 0;

namespace wz {
namespace {

constexpr int kGrowth = 16;  // rows, when there is no host

// The host is told these sizes.
static_assert(sizeof(WzUniformGenerator) == 16 && sizeof(WzExponentialGenerator) == 32);

int reserve_on_heap(int* row, int* count, int* capacity, char** rows, int row_size) {
  if (*count == *capacity) {
    const long size = (long{*capacity} + kGrowth) * row_size;
    void* grown = soft_realloc(*rows, size, WZ_BLOCK_OWNER("generators"));
    if (grown == nullptr) {
      return -1;
    }
    *rows = static_cast<char*>(grown);
    *capacity += kGrowth;
  }
  *row = (*count)++;
  return 0;
}

template <typename Row>
int reserve(Row*& table, int& count, int& capacity, const char* name, const char* failure) {
  int row = 0;
  char* rows = reinterpret_cast<char*>(table);
  constexpr int kRowSize = sizeof(Row);
  const int result =
      &create_table_entry != nullptr
          ? create_table_entry(&row, &count, &capacity, &rows, kRowSize, mutable_text(name))
          : reserve_on_heap(&row, &count, &capacity, &rows, kRowSize);
  if (result < 0) {
    std::fputs(failure, stderr);
    std::exit(1);
  }
  table = reinterpret_cast<Row*>(rows);
  return row;
}

gsl_rng* seeded_generator(unsigned long seed) {
  gsl_rng* generator = gsl_rng_alloc(gsl_rng_mt19937);
  gsl_rng_set(generator, seed);
  return generator;
}

// GSL ends the process for an empty range.
unsigned long uniform(const WzUniformGenerator& row, unsigned long max) {
  return max > 0 ? gsl_rng_uniform_int(static_cast<gsl_rng*>(row.r), max) : 0;
}

int rounded_to_ten(double sample) {
  const long whole = sample < INT_MAX - 10.0 ? static_cast<long>(sample) : INT_MAX - 10L;
  return static_cast<int>((whole / 10 + (whole % 10 > 5 ? 1 : 0)) * 10);
}

}  // namespace
}  // namespace wz

int wz_rand_init(unsigned long seed, unsigned long max) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER, "Method called. seed = %lu, max = %lu", seed,
             max);
  const int row = wz::reserve(gRandTable, gCurRandTblIdx, wz_max_rand_process, "wz_rand_init",
                              "wz_rand_init: Out of memory. Exiting..\n");
  gRandTable[row] = {wz::seeded_generator(seed), static_cast<unsigned int>(max)};
  return row;
}

unsigned long wz_get_random(int rand_idx) {
  return wz::uniform(gRandTable[rand_idx], gRandTable[rand_idx].max);
}

unsigned long wz_get_random_max(int rand_idx, int max) {
  return wz::uniform(gRandTable[rand_idx], max > 0 ? static_cast<unsigned long>(max) : 0);
}

int wz_poi_init(double mu, unsigned long seed) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER, "Method called. mu = %f, seed = %lu", mu, seed);
  const int row = wz::reserve(gPoiTable, gCurPoiTblIdx, wz_max_poi_process, "wz_poi_init",
                              "wz_poi_init: Out of memory Exiting..\n");
  gPoiTable[row] = {wz::seeded_generator(seed), mu, 0, nullptr};
  return row;
}

int wz_exp_init(double mu, unsigned long seed) {
  return wz_poi_init(mu, seed);
}

void wz_poi_reinit(unsigned int poi_idx, double mu) {
  if (poi_idx >= static_cast<unsigned int>(gCurPoiTblIdx)) {
    std::fprintf(stderr, "wz_poi_reinit: idx %d has not been earlier initialized Exiting..\n",
                 static_cast<int>(poi_idx));
    std::exit(-1);
  }
  gPoiTable[poi_idx].mu = mu;
  gPoiTable[poi_idx].cur_sample = 0;
}

int wz_poi_sample(unsigned int pidx) {
  // In every build, and for rows that are reserved but hold no generator too.
  if (pidx >= static_cast<unsigned int>(gCurPoiTblIdx)) {
    std::fprintf(stderr, "%s:%d: %s: Assertion `pidx < wz_max_poi_process' failed.\n",
                 __FILE_NAME__, __LINE__, __func__);
    std::abort();
  }
  const WzExponentialGenerator& row = gPoiTable[pidx];
  return wz::rounded_to_ten(gsl_ran_exponential(static_cast<gsl_rng*>(row.r), row.mu));
}

int wz_exp_sample(unsigned int pidx) {
  return wz_poi_sample(pidx);
}
