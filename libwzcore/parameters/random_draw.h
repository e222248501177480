// The draw that random numbers and the lengths of random strings share.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace wz {

// From `min` to `max` by the process's rand(), truncated. The divisor is RAND_MAX plus `max`,
// deliberately: recorded runs depend on the values.
inline int draw_between(double min, double max) {
  const double value = std::rand() / (2147483647.0 + max) * (max - (min - 1.0)) + min;
  return static_cast<int>(std::clamp<double>(value, INT_MIN, INT_MAX));
}

}  // namespace wz
