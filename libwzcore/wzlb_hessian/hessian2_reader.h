// What both dialects of Hessian 2 have in common: a message's bytes, its tables, and the values
// whose codes mean the same in the final protocol and in the older draft (which holds all of
// Hessian 1).
//
// Every reading function writes the element of what it has read and returns false at the byte where
// the message cannot be right; nothing is undone then.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "libwzcore/wzlb_encode_decode/base64_core.h"
#include "libwzcore/wzlb_hessian/byte_reader.h"
#include "libwzcore/wzlb_hessian/hessian2_names.h"
#include "libwzcore/wzlb_hessian/text_transcoder.h"
#include "libwzcore/wzlb_hessian/xml_sink.h"

namespace wz::hessian {

// Bytes that come in pieces of any size, as one base64 text.
class Base64Writer {
 public:
  explicit Base64Writer(XmlSink& sink) noexcept : sink_(sink) {}

  void put(std::string_view data) noexcept {
    for (const char byte : data) {
      block_[used_++] = static_cast<unsigned char>(byte);
      if (used_ == block_.size()) {
        flush();
      }
    }
  }
  void flush() noexcept {
    std::array<unsigned char, base64::encoded_size(kBlock)> text;
    base64::encode(block_.data(), used_, text.data());
    sink_.append({reinterpret_cast<const char*>(text.data()), base64::encoded_size(used_)});
    used_ = 0;
  }

 private:
  static constexpr std::size_t kBlock = 3072;  // whole groups of three: no padding inside the text

  XmlSink& sink_;
  std::array<unsigned char, kBlock> block_;
  std::size_t used_ = 0;
};

// Values inside each other: deep enough for any data, shallow enough for the stack.
constexpr int kMaxValueDepth = 500;

class Hessian2Reader {
 public:
  explicit Hessian2Reader(std::span<const std::uint8_t> bytes) noexcept : bytes_(bytes) {}
  Hessian2Reader(const Hessian2Reader&) = delete;
  Hessian2Reader& operator=(const Hessian2Reader&) = delete;
  virtual ~Hessian2Reader() = default;

  // One value.
  bool read_value();

  [[nodiscard]] ByteReader& bytes() noexcept { return bytes_; }
  // Lists, maps and objects met so far: what references count.
  [[nodiscard]] std::int64_t containers() const noexcept { return containers_; }

 protected:
  // How a tag continues a chunked text or binary, in this dialect.
  struct Chunk {
    std::size_t head;  // bytes in front of the data; 0 when the tag is none
    std::size_t size;  // units or bytes of data
    bool is_last;
  };
  enum class Common { kRead, kFailed, kOther };

  virtual bool read_dialect_value(int tag) = 0;
  [[nodiscard]] virtual Chunk text_chunk(int tag) const noexcept = 0;
  [[nodiscard]] virtual Chunk binary_chunk(int tag) const noexcept = 0;

  Common read_common(int tag);
  bool read_text(std::string_view element);
  bool read_binary();
  // Chunks of bytes as one base64 text; `chunk_of` tells what a tag begins.
  template <typename ChunkOf>
  bool read_bytes(std::string_view element, ChunkOf chunk_of);
  bool read_int(int& value);
  // `size` bytes behind a tag that has been looked at.
  bool read_integer(std::string_view element, std::size_t size, std::int64_t offset = 0);
  bool read_date(std::size_t size, std::int64_t milliseconds_per_unit);
  bool read_reference(std::int64_t number);
  bool read_class_definition();
  // An object behind its tag and class number.
  bool read_fields(int class_number);
  bool read_values(std::size_t count);
  // Values up to the byte `end`, which is read; an odd number fails where `pairs` is set.
  bool read_until(int end, bool pairs);

  [[nodiscard]] bool is_class(int number) const noexcept {
    return number >= 0 && static_cast<std::size_t>(number) < class_fields_.size();
  }
  [[nodiscard]] bool is_type(int number) const noexcept { return number >= 0 && number < types_; }
  void add_type() noexcept { ++types_; }
  void add_container() noexcept { ++containers_; }

  void write_integer(std::string_view element, std::int64_t value);
  void write_double(double value);

  static constexpr Chunk chunk(std::size_t head, std::size_t size, bool is_last) noexcept {
    return {head, size, is_last};
  }
  // The length in the two bytes behind the tag.
  [[nodiscard]] std::size_t length_behind_tag() const noexcept;

  ByteReader bytes_;
  XmlSink& xml_ = sink();

 private:
  std::vector<int> class_fields_;  // number of fields of each class
  int types_ = 0;
  std::int64_t containers_ = 0;
  int depth_ = 0;
};

template <typename ChunkOf>
bool Hessian2Reader::read_bytes(std::string_view element, ChunkOf chunk_of) {
  xml_.open_inline(element);
  Base64Writer base64(xml_);
  for (Chunk part = chunk_of(bytes_.peek()); part.head != 0 && bytes_.has(part.head + part.size);
       part = chunk_of(bytes_.peek())) {
    bytes_.skip(part.head);
    base64.put(bytes_.take(part.size));
    if (part.is_last) {
      base64.flush();
      xml_.close_inline(element);
      return true;
    }
  }
  return false;
}

}  // namespace wz::hessian
