// Where the choices come from.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <string_view>

namespace wz::faker {

class Random {
 public:
  Random() {
    std::random_device device;
    std::seed_seq seeds{device(), device(), device(), device()};
    engine_.seed(seeds);
  }

  void seed(std::uint64_t seed) { engine_.seed(seed); }

  std::uint64_t bits() { return engine_(); }

  // Below `count`, which is above 0. The product's upper half leaves a bias of count / 2^64.
  std::uint64_t below(std::uint64_t count) {
    __extension__ using Wide = unsigned __int128;
    return static_cast<std::uint64_t>(static_cast<Wide>(engine_()) * count >> 64);
  }

  // From `low` to `high`, both included; `low` must not be above.
  std::int64_t between(std::int64_t low, std::int64_t high) {
    const std::uint64_t span = static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low);
    const std::uint64_t step = span == UINT64_MAX ? engine_() : below(span + 1);
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(low) + step);
  }

  // From `low` up to `high`.
  double real(double low, double high) {
    return low + (high - low) * static_cast<double>(engine_() >> 11) * 0x1p-53;
  }

  char one_of(std::string_view characters) {
    return characters[static_cast<std::size_t>(below(characters.size()))];
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace wz::faker
