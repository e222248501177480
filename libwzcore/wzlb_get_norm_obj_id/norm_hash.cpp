// Sizes of id tables and the index of a string.
#include "libwzcore/wzlb_get_norm_obj_id/norm_hash.h"

#include <wz/wzlb_get_norm_obj_id.h>

#include <climits>

namespace {

bool is_prime(int number) {
  for (long divisor = 2; divisor * divisor <= number; ++divisor) {
    if (number % divisor == 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

int get_prime(int n) {
  while (n > 2 && !is_prime(n)) {
    --n;
  }
  return n;
}

int wzlb_change_to_2_power_n(int value) {
  if (value < 1) {
    return 1;
  }
  const unsigned int power = std::bit_ceil(static_cast<unsigned int>(value));
  return power > static_cast<unsigned int>(INT_MAX) ? 0 : static_cast<int>(power);
}

int wzlb_get_hash_index_ex(unsigned char* str, int len, int size, int prime) {
  if (str == nullptr || len < 1 || size < 1 || prime < 1) {
    return -1;
  }
  const char* const text = reinterpret_cast<const char*>(str);
  return wz::norm_id::reduce(wz::norm_id::hash_of({text, std::strlen(text)}), size, prime);
}
