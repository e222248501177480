// Whether draws follow a distribution. Seeds are fixed, so a good generator always passes.
#pragma once

#include <cmath>
#include <numeric>
#include <vector>

namespace wz::test {

// Distance of `counts` from equally likely classes.
inline double chi_square(const std::vector<int>& counts) {
  const double expected =
      std::accumulate(counts.begin(), counts.end(), 0.0) / static_cast<double>(counts.size());
  double sum = 0;
  for (const int count : counts) {
    sum += (count - expected) * (count - expected) / expected;
  }
  return sum;
}

// What equally likely classes exceed once in a thousand times (Wilson and Hilferty).
inline double chi_square_limit(int degrees_of_freedom) {
  const double spread = 2.0 / (9.0 * degrees_of_freedom);
  const double root = 1 - spread + 3.09 * std::sqrt(spread);
  return degrees_of_freedom * root * root * root;
}

}  // namespace wz::test
