// Writing Hessian 2 values: the shortest form of the final protocol, or the forms of Hessian 1,
// which readers of its frames take whatever their age.
#pragma once

#include <cstdint>
#include <string_view>

namespace wz::hessian {

enum class Dialect { kFinal, kOne };

// Writes at a position of a buffer that has room for everything.
class Hessian2Writer {
 public:
  explicit Hessian2Writer(unsigned char* at) noexcept : at_(at) {}

  [[nodiscard]] unsigned char* position() const noexcept { return at_; }
  void set_dialect(Dialect dialect) noexcept { dialect_ = dialect; }
  [[nodiscard]] bool is_final() const noexcept { return dialect_ == Dialect::kFinal; }

  void byte(int value) noexcept { *at_++ = static_cast<unsigned char>(value); }
  // The low `size` bytes of `value`, high byte first.
  void number(std::uint64_t value, int size) noexcept;

  void integer(std::int32_t value) noexcept;
  void long_integer(std::int64_t value) noexcept;
  void real(double value) noexcept;
  void date(std::int64_t milliseconds) noexcept;
  // `text` is UTF-8.
  void text(std::string_view text) noexcept;
  void xml(std::string_view text) noexcept;
  void binary(std::string_view bytes) noexcept;
  // Chunks of an envelope's packet.
  void packet(std::string_view bytes) noexcept;
  // `tag`, the length in two bytes and the text, cut where it does not fit this length.
  void short_text(int tag, std::string_view text) noexcept;
  void reference(std::int32_t number) noexcept;

 private:
  void tagged(int tag, std::uint64_t value, int size) noexcept;
  // Whether `value` was written as one of the three compact forms around these tags.
  bool compact(std::int64_t value, int one, int two, int three, std::int64_t low,
               std::int64_t high) noexcept;
  void text_chunks(std::string_view text, int more_tag, int last_tag) noexcept;
  void units(std::string_view text) noexcept;
  // A character, as one or two units.
  void unit(std::uint32_t code) noexcept;
  void bytes(std::string_view data) noexcept;

  unsigned char* at_;
  Dialect dialect_ = Dialect::kFinal;
};

}  // namespace wz::hessian
