// Text of the wire, counted in UTF-16 units, as escaped XML text.
#pragma once

#include <cstddef>
#include <cstdint>

#include "libwzcore/wzlb_hessian/byte_reader.h"
#include "libwzcore/wzlb_hessian/xml_sink.h"

namespace wz::hessian {

// Writers put each unit out by itself, so a character above U+FFFF comes as two sequences of three
// bytes; a sequence of four is taken as two units. The halves may lie in two chunks: use one object
// a text. Characters that XML cannot carry become U+FFFD.
class TextTranscoder {
 public:
  explicit TextTranscoder(XmlSink& sink) noexcept : sink_(sink) {}

  // Copies `units` units; false, at the byte in question, when they are cut short or no UTF-8.
  bool copy(ByteReader& bytes, std::size_t units) noexcept;
  // After the last chunk.
  void finish() noexcept { flush_half(); }

 private:
  // One character, `units` long; 0 units for a malformed one.
  std::size_t copy_character(ByteReader& bytes, std::size_t most_units) noexcept;
  void put_unit(std::uint32_t unit) noexcept;
  void put(std::uint32_t character) noexcept;
  void flush_half() noexcept;

  XmlSink& sink_;
  std::uint32_t high_half_ = 0;  // a high surrogate that waits for its low one; 0 for none
};

}  // namespace wz::hessian
