// Values of documents as Hessian 2. A container's values are counted before they are written, so
// the counts of the document need not be right; what the wire cannot say (a key without a value, a
// reference to nothing, fields that their class does not have) is a failure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "libwzcore/wzlb_hessian/document.h"
#include "libwzcore/wzlb_hessian/hessian2_bytes.h"
#include "libwzcore/wzlb_hessian/number_text.h"

namespace wz::hessian {

// The first one of a kind inside of `parent`; null when there is none.
const Node* child(const Node& parent, Element wanted);

class ValueEncoder {
 public:
  ValueEncoder(const Document& document, unsigned char* out) noexcept
      : document_(document), start_(out), out_(out) {}

  [[nodiscard]] Hessian2Writer& out() noexcept { return out_; }
  [[nodiscard]] std::string_view text(const Node& node) const noexcept {
    return document_.text(node);
  }
  [[nodiscard]] int integer(const Node& node) const noexcept { return int_from(text(node)); }
  // The bytes of an element in base64, until the next call.
  [[nodiscard]] std::string_view bytes(const Node& node);

  // A value, or a class definition in front of one; parts of containers write nothing here.
  bool write_item(const Node& node);
  bool write_items(const Node& parent);
  // A map without a type that has no element of its own.
  bool write_pairs(const Node& parent);

 private:
  bool write_value(const Node& node);
  bool write_reference(int number);
  bool write_container(const Node& node);
  bool write_type(const Node* name, const Node* number);
  bool write_map(const Node& node);
  bool write_list(const Node& node);
  bool write_framed_list(const Node& node);
  bool write_class_definition(const Node& node);
  bool write_object(const Node& node);
  bool write_remote(const Node& node);

  const Document& document_;
  const unsigned char* start_;
  Hessian2Writer out_;
  std::string bytes_;
  std::vector<int> class_fields_;  // number of fields of each class
  int types_ = 0;
  int containers_ = 0;
  int depth_ = 0;
};

}  // namespace wz::hessian
