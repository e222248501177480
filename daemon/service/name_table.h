// The names of a service's variables as a hash table that holds no pointer, so that it can lie in
// shared memory at any address. Lookup costs one hash over the name and, nearly always, one
// comparison.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace vsd {

// What stands at a table's address: this header, then its slots, then the names.
struct NameTableHeader {
  std::int64_t to_owner = 0;  // distance from the table to the record it belongs to
};

// Open addressing: a slot without a name ends the search.
struct NameSlot {
  std::uint32_t hash = 0;
  std::int32_t code = -1;    // -1: the slot is free
  std::uint32_t name = 0;    // distance of the name from the table
  std::uint32_t length = 0;  // of the name, in bytes
};

[[nodiscard]] inline std::uint32_t name_hash(std::string_view name) noexcept {
  const auto mix = [](std::uint64_t value) {
    value *= 0x9E3779B97F4A7C15ULL;
    return value ^ value >> 32;
  };
  const char* bytes = name.data();
  std::size_t left = name.size();
  std::uint64_t state = left;
  for (; left > 8; left -= 8, bytes += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, 8);
    state = mix(state ^ word);
  }
  std::uint64_t tail = 0;
  if (left >= 4) {  // two words that may overlap cover 4 to 8 bytes
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::memcpy(&first, bytes, 4);
    std::memcpy(&last, bytes + left - 4, 4);
    tail = std::uint64_t{last} << 32 | first;
  } else {
    for (std::size_t i = 0; i < left; ++i) {
      tail = tail << 8 | static_cast<unsigned char>(bytes[i]);
    }
  }
  return static_cast<std::uint32_t>(mix(state ^ tail));
}

// Whether two names of `length` bytes are the same; inline, because the call of memcmp would cost
// more than the comparison of a name.
[[nodiscard]] inline bool same_name(const char* a, const char* b, std::size_t length) noexcept {
  const auto same_word = [a, b](std::size_t at) {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    std::memcpy(&first, a + at, 8);
    std::memcpy(&second, b + at, 8);
    return first == second;
  };
  if (length < 8) {
    for (std::size_t i = 0; i < length; ++i) {
      if (a[i] != b[i]) {
        return false;
      }
    }
    return true;
  }
  for (std::size_t at = 0; at + 8 < length; at += 8) {
    if (!same_word(at)) {
      return false;
    }
  }
  return same_word(length - 8);  // may overlap the word before
}

// The code of `name`, or -1. `slots` is the table's number of slots, a power of two.
[[nodiscard]] inline int find_name(const char* table, std::string_view name, long slots) noexcept {
  const auto* slot_of = reinterpret_cast<const NameSlot*>(table + sizeof(NameTableHeader));
  const std::size_t mask = static_cast<std::size_t>(slots) - 1;
  const std::uint32_t hash = name_hash(name);
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const NameSlot& slot = slot_of[i];
    if (slot.code < 0) {
      return -1;
    }
    if (slot.hash == hash && slot.length == name.size() &&
        same_name(table + slot.name, name.data(), name.size())) {
      return slot.code;
    }
  }
}

struct NameTable {
  std::vector<std::byte> bytes;  // to be placed at a multiple of 8
  long slots = 0;
};

// A table in which each name has its position as code. Names are distinct.
[[nodiscard]] NameTable build_name_table(std::span<const std::string_view> names);

}  // namespace vsd
