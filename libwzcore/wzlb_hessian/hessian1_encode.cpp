// XML to Hessian 1, element by element in document order.
#include <wz/wzlb_hessian.h>

#include <string>
#include <string_view>

#include "libwzcore/wzlb_hessian/document_encoders.h"
#include "libwzcore/wzlb_hessian/number_text.h"

namespace wz::hessian {
namespace {

// What the nodes of one level tell each other.
struct Level {
  bool closes_with_end = false;  // a map, call or reply stood here: see write_level
  bool has_version = false;
  int last_integer = 0;
};

class Writer {
 public:
  Writer(const Document& document, char* target) noexcept : document_(document), at_(target) {}

  [[nodiscard]] char* position() const noexcept { return at_; }

  // Deliberate: the end byte of a map, call or reply comes from the nodes behind it on the same
  // level, one from each, blank text included; the last node of a level gets none.
  void write_level(const Node& parent) {
    Level level;
    const Node* const end = parent.behind();
    for (const Node* node = &parent + 1; node != end; node = node->behind()) {
      if (level.closes_with_end) {
        byte('z');
      }
      write_element(*node, level);
      write_level(*node);
    }
  }

 private:
  // Elements that are not listed write nothing.
  void write_element(const Node& node, Level& level) {
    const std::string_view text = document_.text(node);
    switch (node.element) {
      case Element::kTypeName:
        byte('t');
        at_ += write_string(at_, std::string(text).c_str(), 1);
        break;
      case Element::kString:
        write_text(text);
        break;
      case Element::kInt:
        level.last_integer = int_from(text);
        tagged_integer('I', level.last_integer);
        break;
      case Element::kLength:
        level.last_integer = int_from(text);
        tagged_integer('l', level.last_integer);
        break;
      case Element::kRef:  // deliberate: the number of the int or length before it
        tagged_integer('R', level.last_integer);
        break;
      case Element::kLong:
        at_ += write_long64(at_, integer_from(text), 0);
        break;
      case Element::kDouble:
        at_ += write_double(at_, double_from(text));
        break;
      case Element::kDate:
        at_ += write_date(at_, integer_from(text));
        break;
      case Element::kNull:
        byte('N');
        break;
      case Element::kBoolean:
        byte(int_from(text) == 1 ? 'T' : 'F');
        break;
      case Element::kRemote:
        byte('r');
        break;
      case Element::kMap:
        open('M', level);
        break;
      case Element::kCall:
        open('c', level);
        break;
      case Element::kReply:
        open('r', level);
        break;
      case Element::kVersion:
        write_version(text);
        level.has_version = true;
        break;
      case Element::kMethod:
        write_method(text, level);
        break;
      default:
        break;
    }
  }

  void byte(char value) noexcept { *at_++ = value; }
  void open(char tag, Level& level) noexcept {
    byte(tag);
    level.closes_with_end = true;
  }
  void tagged_integer(char tag, int value) noexcept {
    byte(tag);
    at_ += write_integer(at_, value, 1);
  }

  // "major.minor".
  void write_version(std::string_view text) noexcept {
    const std::size_t point = text.find('.');
    const bool has_minor = point != std::string_view::npos;
    at_ += hessian_make_ver(int_from(text), has_minor ? int_from(text.substr(point + 1)) : 0, at_);
  }
  void write_method(std::string_view name, Level& level) {
    if (!level.has_version) {
      at_ += hessian_make_ver(1, 0, at_);
      level.has_version = true;
    }
    at_ += hessian_make_method(std::string(name).c_str(), at_);
  }

  // Text beyond what a length of two bytes can say goes into 's' chunks, cut between characters.
  // One string as long as its length fits two bytes, otherwise chunks ahead of it.
  void write_text(std::string_view text) {
    constexpr std::size_t kMostBytes = 0xFFFF;
    constexpr std::size_t kChunk = 0x8000;
    while (text.size() > kMostBytes) {
      std::size_t cut = kChunk;
      while (cut > kChunk - 4 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
        --cut;
      }
      byte('s');
      at_ += write_string(at_, std::string(text.substr(0, cut)).c_str(), 1);
      text.remove_prefix(cut);
    }
    at_ += write_string(at_, std::string(text).c_str(), 0);
  }

  const Document& document_;
  char* at_;
};

}  // namespace

char* encode_version_1(const Document& document, char* target) {
  Writer writer(document, target);
  writer.write_level(document.top());
  return writer.position();
}

}  // namespace wz::hessian

void GetElements(struct _xmlNode* a_node, char* buf, int /*depth*/, int* offset) {
  if (buf != nullptr && offset != nullptr) {
    wz::hessian::Document document(1);
    document.copy(a_node);
    *offset = static_cast<int>(wz::hessian::encode_version_1(document, buf + *offset) - buf);
  }
}
