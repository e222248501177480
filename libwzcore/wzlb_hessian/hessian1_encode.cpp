// XML to Hessian 1, element by element in document order.
#include <wz/wzlb_hessian.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "libwzcore/wzlb_hessian/xml_node.h"

namespace wz::hessian {
namespace {

// What the nodes of one level tell each other.
struct Level {
  bool closes_with_end = false;  // a map, call or reply stood here: see write_node
  bool has_version = false;
  int last_integer = 0;
};

class Writer {
 public:
  Writer(char* buffer, int* offset) noexcept : buffer_(buffer), offset_(*offset) {}

  void byte(char value) noexcept { buffer_[offset_++] = value; }
  void integer(int value, bool tagged) noexcept {
    offset_ += write_integer(here(), value, tagged ? 0 : 1);
  }
  void tagged_integer(char tag, int value) noexcept {
    byte(tag);
    integer(value, false);
  }
  void long64(long long value) noexcept { offset_ += write_long64(here(), value, 0); }
  void real(double value) noexcept { offset_ += write_double(here(), value); }
  void date(long long value) noexcept { offset_ += write_date(here(), value); }
  void version(int major, int minor) noexcept { offset_ += hessian_make_ver(major, minor, here()); }
  void method(const char* name) noexcept { offset_ += hessian_make_method(name, here()); }
  void type(const char* name) noexcept {
    byte('t');
    offset_ += write_string(here(), name, 1);
  }

  // Text beyond what a length of two bytes can say goes into 's' chunks, cut between characters.
  void text(std::string_view value) {
    constexpr std::size_t kChunk = 0x8000;
    while (value.size() > kChunk) {
      std::size_t cut = kChunk;
      while (cut > kChunk - 4 && (static_cast<unsigned char>(value[cut]) & 0xC0) == 0x80) {
        --cut;
      }
      byte('s');
      offset_ += write_string(here(), std::string(value.substr(0, cut)).c_str(), 1);
      value.remove_prefix(cut);
    }
    offset_ += write_string(here(), std::string(value).c_str(), 0);
  }

 private:
  char* here() noexcept { return buffer_ + offset_; }

  char* buffer_;
  int& offset_;
};

int to_int(const char* text) noexcept {
  return static_cast<int>(std::strtol(text, nullptr, 10));
}

// "major.minor".
void write_version(const char* text, Writer& writer) noexcept {
  const char* point = std::strchr(text, '.');
  writer.version(std::atoi(text), point != nullptr ? std::atoi(point + 1) : 0);
}

using ElementWriter = void (*)(const NodeText& text, Writer& writer, Level& level);

struct Element {
  std::string_view name;
  ElementWriter write;
};

// Elements that are not listed write nothing.
const Element kElements[] = {
    {"type", [](const NodeText& text, Writer& w, Level&) { w.type(text.c_str()); }},
    {"string", [](const NodeText& text, Writer& w, Level&) { w.text(text.view()); }},
    {"remote", [](const NodeText&, Writer& w, Level&) { w.byte('r'); }},
    {"int",
     [](const NodeText& text, Writer& w, Level& level) {
       level.last_integer = to_int(text.c_str());
       w.integer(level.last_integer, true);
     }},
    // Deliberate: the number of the int or length before it, not its own text.
    {"ref",
     [](const NodeText&, Writer& w, Level& level) { w.tagged_integer('R', level.last_integer); }},
    {"long", [](const NodeText& text, Writer& w,
                Level&) { w.long64(std::strtoll(text.c_str(), nullptr, 10)); }},
    {"double",
     [](const NodeText& text, Writer& w, Level&) { w.real(std::strtod(text.c_str(), nullptr)); }},
    {"date", [](const NodeText& text, Writer& w,
                Level&) { w.date(std::strtoll(text.c_str(), nullptr, 10)); }},
    {"length",
     [](const NodeText& text, Writer& w, Level& level) {
       level.last_integer = std::atoi(text.c_str());
       w.tagged_integer('l', level.last_integer);
     }},
    {"map",
     [](const NodeText&, Writer& w, Level& level) {
       w.byte('M');
       level.closes_with_end = true;
     }},
    {"null", [](const NodeText&, Writer& w, Level&) { w.byte('N'); }},
    {"boolean", [](const NodeText& text, Writer& w,
                   Level&) { w.byte(std::atoi(text.c_str()) == 1 ? 'T' : 'F'); }},
    {"call",
     [](const NodeText&, Writer& w, Level& level) {
       w.byte('c');
       level.closes_with_end = true;
     }},
    {"ver",
     [](const NodeText& text, Writer& w, Level& level) {
       write_version(text.c_str(), w);
       level.has_version = true;
     }},
    {"method",
     [](const NodeText& text, Writer& w, Level& level) {
       if (!level.has_version) {
         w.version(1, 0);
         level.has_version = true;
       }
       w.method(text.c_str());
     }},
    {"reply",
     [](const NodeText&, Writer& w, Level& level) {
       w.byte('r');
       level.closes_with_end = true;
     }},
};

void write_element(const xmlNode* node, Writer& writer, Level& level) {
  const std::string_view name = name_of(node);
  for (const Element& element : kElements) {
    if (element.name == name) {
      element.write(NodeText(node), writer, level);
      return;
    }
  }
}

// Deliberate: the end byte of a map, call or reply comes from the nodes behind it on the same
// level, one from each, blank text included; the last node of a level gets none.
void write_level(const xmlNode* first, Writer& writer) {
  Level level;
  for (const xmlNode* node = first; node != nullptr; node = node->next) {
    if (level.closes_with_end) {
      writer.byte('z');
    }
    if (node->type != XML_ELEMENT_NODE) {
      continue;
    }
    write_element(node, writer, level);
    if (!is_leaf(node)) {
      write_level(node->children, writer);
    }
  }
}

}  // namespace
}  // namespace wz::hessian

void GetElements(struct _xmlNode* a_node, char* buf, int /*depth*/, int* offset) {
  if (buf != nullptr && offset != nullptr) {
    wz::hessian::Writer writer(buf, offset);
    wz::hessian::write_level(a_node, writer);
  }
}
