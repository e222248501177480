// The two dialects of Hessian 2.
#pragma once

#include "libwzcore/wzlb_hessian/hessian2_reader.h"

namespace wz::hessian {

// The final protocol: values and the messages behind "H 2 0".
class FinalReader final : public Hessian2Reader {
 public:
  explicit FinalReader(std::span<const std::uint8_t> bytes) noexcept;

  // A call, reply, fault or envelope whose version has been read.
  bool read_message();

 protected:
  bool read_dialect_value(int tag) override;

 private:
  bool read_call();
  bool read_fault();
  bool read_envelope();
  bool read_header_block();
  bool read_packet();
  bool read_type();
  bool read_typed_list(const ElementName& element, const ElementName* length_element, int length);
  bool read_untyped_list(const ElementName& element, const ElementName* length_element, int length);
  bool read_list_items(const ElementName& element, const ElementName* length_element, int length);
  bool read_map(bool typed);
  bool read_reference_value();
  bool read_compact_double(int tag);
};

// Hessian 1 and the draft that extends it: values and the messages in 'c' and 'r' frames.
class DraftReader final : public Hessian2Reader {
 public:
  explicit DraftReader(std::span<const std::uint8_t> bytes) noexcept;

  // A call or reply, from its tag on.
  bool read_frame();

 protected:
  bool read_dialect_value(int tag) override;

 private:
  bool read_call();
  bool read_reply();
  bool read_headers();
  bool read_fault();
  // Text behind a tag and a length of two bytes.
  bool read_short_text(const ElementName& element);
  bool read_xml();
  bool read_optional_type();
  bool read_optional_length();
  bool read_list();
  bool read_numbered_list();
  bool read_map();
  bool read_remote();
  bool read_short_reference(std::size_t size);
  bool read_scaled_double(int tag);
};

}  // namespace wz::hessian
