// The random generators of this process.
#include <wz/vsd_host.h>
#include <wz/wzlb_poi.h>
#include <wz/wzlb_random_number.h>

#include <cstdlib>
#include <random>

#include "daemon/host_ops/host_ops.h"

int g_erand_gen_idx = -1;
int g_urand_gen_idx = -1;

namespace vsd {

void seed_host_generators(unsigned long seed, int worker, double mean_service_time) {
  // Workers of one seed must not draw the same numbers.
  std::seed_seq mixed{static_cast<unsigned>(seed), static_cast<unsigned>(seed >> 32U),
                      static_cast<unsigned>(worker)};
  unsigned seeds[3];
  mixed.generate(std::begin(seeds), std::end(seeds));
  std::srand(seeds[0]);
  g_urand_gen_idx = wz_rand_init(seeds[1], ~0U);
  g_erand_gen_idx = wz_exp_init(mean_service_time, seeds[2]);
}

}  // namespace vsd

int get_formated_random_number_int(char* format, int format_len, int min, int max) {
  return std::atoi(wzlb_get_random_number(min, max, format, format_len, nullptr, 0));
}
