// What both dialects of Hessian 2 have in common: a message's bytes, its tables, and the values
// whose codes mean the same in the final protocol and in the older draft (which holds all of
// Hessian 1).
//
// Every reading function writes the element of what it has read and returns false at the byte where
// the message cannot be right; nothing is undone then.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "libwzcore/wzlb_hessian/base64_writer.h"
#include "libwzcore/wzlb_hessian/byte_reader.h"
#include "libwzcore/wzlb_hessian/hessian2_names.h"
#include "libwzcore/wzlb_hessian/tag_forms.h"
#include "libwzcore/wzlb_hessian/text_transcoder.h"
#include "libwzcore/wzlb_hessian/xml_sink.h"

namespace wz::hessian {

// Values inside each other: deep enough for any data, shallow enough for the stack.
constexpr int kMaxValueDepth = 500;

class Hessian2Reader {
 public:
  // `forms` is the dialect's table.
  Hessian2Reader(std::span<const std::uint8_t> bytes, const TagForms& forms) noexcept
      : bytes_(bytes), forms_(forms) {}
  Hessian2Reader(const Hessian2Reader&) = delete;
  Hessian2Reader& operator=(const Hessian2Reader&) = delete;
  virtual ~Hessian2Reader() = default;

  // One value.
  bool read_value();

  [[nodiscard]] ByteReader& bytes() noexcept { return bytes_; }
  // Lists, maps and objects met so far: what references count.
  [[nodiscard]] std::int64_t containers() const noexcept { return containers_; }

 protected:
  // Bytes of a value that come in chunks.
  struct Chunk {
    std::size_t head;  // bytes in front of the data; 0 when the tag is none
    std::size_t size;
    bool is_last;
  };

  virtual bool read_dialect_value(int tag) = 0;

  bool read_text(const ElementName& element);
  bool read_binary();
  // Chunks of bytes as one base64 text; `chunk_of` tells what a tag begins.
  template <typename ChunkOf>
  bool read_bytes(const ElementName& element, ChunkOf chunk_of);
  bool read_int(int& value);
  // `size` bytes behind a tag that has been looked at.
  bool read_integer(const ElementName& element, std::size_t size);
  bool read_date(std::size_t size, std::int64_t milliseconds_per_unit);
  bool read_reference(std::int64_t number);
  bool read_class_definition();
  // An object behind its tag: the class number and the fields.
  bool read_numbered_object();
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

  void write_double(double value);

  // The length in the two bytes behind the tag.
  [[nodiscard]] std::size_t length_behind_tag() const noexcept;

  ByteReader bytes_;
  XmlSink& xml_ = sink();

 private:
  bool read_form(int tag, TagForm form);
  // The number of a tag whose bytes are there, read.
  std::int64_t take_number(TagForm form) noexcept;
  bool read_compact_integer(const ElementName& element, TagForm form);
  bool read_double();

  const TagForms& forms_;
  std::vector<int> class_fields_;  // number of fields of each class
  int types_ = 0;
  std::int64_t containers_ = 0;
  int depth_ = 0;
};

template <typename ChunkOf>
bool Hessian2Reader::read_bytes(const ElementName& element, ChunkOf chunk_of) {
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
