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
  std::uint64_t key = ~std::uint64_t{0};  // of its name; of no name while the slot is free
  std::int32_t code = -1;                 // -1: the slot is free
  std::uint32_t name = 0;                 // distance of the name from the table
};

[[nodiscard]] inline std::uint64_t mixed(std::uint64_t value) noexcept {
  value *= 0x9E3779B97F4A7C15ULL;
  return value ^ value >> 32;
}

template <typename Word>
[[nodiscard]] Word word_at(const char* bytes) noexcept {
  Word word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// Whether two texts of one word to two words are the same; the words may overlap.
template <typename Word>
[[nodiscard]] bool same_words(const char* a, const char* b, std::size_t length) noexcept {
  const std::size_t last = length - sizeof(Word);
  return word_at<Word>(a) == word_at<Word>(b) && word_at<Word>(a + last) == word_at<Word>(b + last);
}

// How a name is hashed and compared. Nearly all names have at most sixteen bytes, which takes no
// loop and no call.
struct ShortName {
  static constexpr std::size_t kMaxLength = 16;

  [[nodiscard]] static std::uint64_t hash(const char* name, std::size_t length) noexcept {
    if (length >= 8) {
      return mixed(mixed(length ^ word_at<std::uint64_t>(name)) ^
                   word_at<std::uint64_t>(name + length - 8));
    }
    std::uint64_t bytes = 0;
    if (length >= 4) {
      bytes = word_at<std::uint32_t>(name + length - 4);
      bytes = bytes << 32 | word_at<std::uint32_t>(name);
    } else {
      for (std::size_t i = 0; i < length; ++i) {
        bytes = bytes << 8 | static_cast<unsigned char>(name[i]);
      }
    }
    return mixed(length ^ bytes);
  }

  [[nodiscard]] static bool same(const char* a, const char* b, std::size_t length) noexcept {
    if (length >= 8) {
      return same_words<std::uint64_t>(a, b, length);
    }
    if (length >= 4) {
      return same_words<std::uint32_t>(a, b, length);
    }
    return length == 0 || (same_words<char>(a, b, length) && a[length / 2] == b[length / 2]);
  }
};

struct LongName {
  [[nodiscard]] static std::uint64_t hash(const char* name, std::size_t length) noexcept {
    std::uint64_t state = length;
    for (std::size_t at = 0; at + 8 < length; at += 8) {
      state = mixed(state ^ word_at<std::uint64_t>(name + at));
    }
    return mixed(state ^ word_at<std::uint64_t>(name + length - 8));
  }

  [[nodiscard]] static bool same(const char* a, const char* b, std::size_t length) noexcept {
    return std::memcmp(a, b, length) == 0;
  }
};

// The hash of any name.
[[nodiscard]] inline std::uint32_t name_hash(std::string_view name) noexcept {
  return static_cast<std::uint32_t>(name.size() <= ShortName::kMaxLength
                                        ? ShortName::hash(name.data(), name.size())
                                        : LongName::hash(name.data(), name.size()));
}

// Whether any two names of `length` bytes are the same.
[[nodiscard]] inline bool same_name(const char* a, const char* b, std::size_t length) noexcept {
  return length <= ShortName::kMaxLength ? ShortName::same(a, b, length)
                                         : LongName::same(a, b, length);
}

template <typename Kind>
[[nodiscard]] std::uint64_t name_key(std::string_view name) noexcept {
  return Kind::hash(name.data(), name.size()) << 32 | name.size();
}

template <typename Kind>
[[nodiscard, gnu::always_inline]] inline int find_name_of(const char* table, std::string_view name,
                                                          long slots) noexcept {
  const auto* slot_of = reinterpret_cast<const NameSlot*>(table + sizeof(NameTableHeader));
  const std::size_t mask = static_cast<std::size_t>(slots) - 1;
  const std::uint64_t key = name_key<Kind>(name);
  for (std::size_t i = key >> 32 & mask;; i = (i + 1) & mask) {
    const NameSlot& slot = slot_of[i];
    if (slot.key == key && Kind::same(table + slot.name, name.data(), name.size())) {
      return slot.code;
    }
    if (slot.code < 0) {
      return -1;
    }
  }
}

[[nodiscard, gnu::noinline]] inline int find_long_name(const char* table, std::string_view name,
                                                       long slots) noexcept {
  return find_name_of<LongName>(table, name, slots);
}

// The code of `name`, or -1. `slots` is the table's number of slots, a power of two.
[[nodiscard]] inline int find_name(const char* table, std::string_view name, long slots) noexcept {
  return name.size() <= ShortName::kMaxLength ? find_name_of<ShortName>(table, name, slots)
                                              : find_long_name(table, name, slots);
}

struct NameTable {
  std::vector<std::byte> bytes;  // to be placed at a multiple of 8
  long slots = 0;
};

// A table in which each name has its position as code. Names are distinct.
[[nodiscard]] NameTable build_name_table(std::span<const std::string_view> names);

}  // namespace vsd
