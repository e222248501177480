// The hash of the id table and its reduction to an index.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace wz::norm_id {

// FNV-1a with the offset basis and the prime of 32 bits in an accumulator of 64: indices are known
// to callers, so neither may change. Eight bytes are loaded at a time, since the multiplications
// depend on each other and should wait for nothing else.
inline std::uint64_t hash_of(std::string_view text) {
  constexpr std::uint64_t kPrime = 16777619;
  std::uint64_t hash = 0x811C9DC5;
  const char* bytes = text.data();
  std::size_t left = text.size();
  for (; left >= sizeof(std::uint64_t); left -= sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    bytes += sizeof word;
    for (unsigned int i = 0; i < sizeof word; ++i) {
      hash = (hash ^ (word & 0xFF)) * kPrime;
      word >>= 8;
    }
  }
  for (; left > 0; --left) {
    hash = (hash ^ static_cast<unsigned char>(*bytes++)) * kPrime;
  }
  return hash;
}

// The largest primes not above the powers of two, with 2^64 / prime: a remainder by one of them
// takes a multiplication instead of a division.
struct Modulus {
  int prime;
  std::uint64_t reciprocal;
};

constexpr Modulus modulus(int prime) {
  return {prime, ~std::uint64_t{0} / static_cast<std::uint64_t>(prime)};
}

inline constexpr Modulus kModuli[] = {
    modulus(1),         modulus(2),         modulus(3),         modulus(7),
    modulus(13),        modulus(31),        modulus(61),        modulus(127),
    modulus(251),       modulus(509),       modulus(1021),      modulus(2039),
    modulus(4093),      modulus(8191),      modulus(16381),     modulus(32749),
    modulus(65521),     modulus(131071),    modulus(262139),    modulus(524287),
    modulus(1048573),   modulus(2097143),   modulus(4194301),   modulus(8388593),
    modulus(16777213),  modulus(33554393),  modulus(67108859),  modulus(134217689),
    modulus(268435399), modulus(536870909), modulus(1073741789)};

// `hash` modulo `prime`, both `size` and `prime` above 0.
inline int reduce(std::uint64_t hash, int size, int prime) {
  const Modulus& known = kModuli[std::countr_zero(static_cast<unsigned int>(size))];
  if (known.prime != prime) [[unlikely]] {
    return static_cast<int>(hash % static_cast<std::uint64_t>(prime));
  }
  const auto divisor = static_cast<std::uint64_t>(prime);
  const auto quotient =
      static_cast<std::uint64_t>((static_cast<unsigned __int128>(hash) * known.reciprocal) >> 64);
  const std::uint64_t rest = hash - quotient * divisor;
  return static_cast<int>(rest >= divisor ? rest - divisor : rest);
}

}  // namespace wz::norm_id
