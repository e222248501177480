// The bytes of a message, read in order. A read that would pass the end reads nothing.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace wz::hessian {

class ByteReader {
 public:
  explicit ByteReader(std::span<const std::uint8_t> bytes) noexcept : bytes_(bytes) {}

  [[nodiscard]] std::size_t position() const noexcept { return position_; }
  [[nodiscard]] std::size_t left() const noexcept { return bytes_.size() - position_; }
  [[nodiscard]] bool at_end() const noexcept { return left() == 0; }
  [[nodiscard]] bool has(std::size_t count) const noexcept { return left() >= count; }

  // The byte `ahead` of the next one; -1 behind the end.
  [[nodiscard]] int peek(std::size_t ahead = 0) const noexcept {
    return has(ahead + 1) ? bytes_[position_ + ahead] : -1;
  }
  void skip(std::size_t count) noexcept { position_ += count; }
  void seek(std::size_t position) noexcept { position_ = position; }

  // The next `count` bytes, left unread; the caller has checked that they are there.
  [[nodiscard]] std::string_view next(std::size_t count) const noexcept {
    return {reinterpret_cast<const char*>(bytes_.data() + position_), count};
  }
  // The same, read.
  std::string_view take(std::size_t count) noexcept {
    const std::string_view taken = next(count);
    position_ += count;
    return taken;
  }

  // A big-endian number of `count` bytes, in two's complement; the caller has checked as above.
  std::int64_t take_signed(std::size_t count) noexcept {
    if (count == 0) {
      return 0;
    }
    const std::size_t unused_bits = (sizeof(std::int64_t) - count) * 8;
    return static_cast<std::int64_t>(take_unsigned(count) << unused_bits) >> unused_bits;
  }
  std::uint64_t take_unsigned(std::size_t count) noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
      value = value << 8 | bytes_[position_++];
    }
    return value;
  }
  double take_double() noexcept { return std::bit_cast<double>(take_unsigned(sizeof(double))); }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

}  // namespace wz::hessian
