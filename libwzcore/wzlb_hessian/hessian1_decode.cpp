// Hessian 1 to XML. Every value stands by itself, so a loop over the bytes with a stack of open
// elements is enough.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_hessian.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "libwzcore/wzlb_hessian/byte_reader.h"
#include "libwzcore/wzlb_hessian/xml_sink.h"

namespace wz::hessian {
namespace {

constexpr std::size_t kMaxChunk = 16384;
constexpr std::size_t kLengthSize = 2;

struct Element {
  char tag;
  ElementName name;
};

constexpr std::array<Element, 24> kElements{{
    {'c', ElementName("call")},    {'r', ElementName("reply")},   {'N', ElementName("null")},
    {'F', ElementName("boolean")}, {'T', ElementName("boolean")}, {'I', ElementName("int")},
    {'L', ElementName("long")},    {'D', ElementName("double")},  {'d', ElementName("date")},
    {'s', ElementName("string")},  {'S', ElementName("string")},  {'x', ElementName("xml")},
    {'X', ElementName("xml")},     {'b', ElementName("base64")},  {'B', ElementName("base64")},
    {'R', ElementName("ref")},     {'H', ElementName("header")},  {'m', ElementName("method")},
    {'f', ElementName("fault")},   {'V', ElementName("list")},    {'M', ElementName("map")},
    {'t', ElementName("type")},    {'e', ElementName("remote")},  {'l', ElementName("length")},
}};

const ElementName& name_of(char tag) noexcept {
  const auto* found = std::find_if(kElements.begin(), kElements.end(),
                                   [&](const Element& element) { return element.tag == tag; });
  if (found == kElements.end()) {
    std::printf("error finding index for hessian tag %c\n", tag);
    std::exit(1);
  }
  return found->name;
}

// The open elements, by tag.
class TagStack {
 public:
  TagStack() = default;
  TagStack(const TagStack&) = delete;
  TagStack& operator=(const TagStack&) = delete;
  ~TagStack() { WZLB_FREE(tags_, "stack", -1); }

  [[nodiscard]] bool empty() const noexcept { return top_ == 0; }
  void push(char tag) {
    if (top_ == room_) {
      room_ += kGrowth;
      tags_ = static_cast<char*>(WZLB_REALLOC(tags_, room_, "stack", -1));
    }
    tags_[top_++] = tag;
  }
  char pop() noexcept { return tags_[--top_]; }

 private:
  static constexpr long kGrowth = 32;
  char* tags_ = nullptr;
  long room_ = 0;
  long top_ = 0;
};

class Decoder {
 public:
  explicit Decoder(std::span<const std::uint8_t> bytes) noexcept : bytes_(bytes) {}

  [[nodiscard]] std::size_t position() const noexcept { return bytes_.position(); }

  // False with the position where decoding stops.
  bool run() {
    sink().append(kDocumentStart);
    while (!bytes_.at_end()) {
      if (!decode_one()) {
        return false;
      }
    }
    sink().append(kDocumentEnd);
    return true;
  }

 private:
  // One tag and its data; an incomplete one stays unread.
  bool decode_one() {
    const char tag = static_cast<char>(bytes_.peek());
    switch (tag) {
      case 'N':
        return write_value(tag, "");
      case 'F':
      case 'T':
        return write_value(tag, tag == 'T' ? "1" : "0");
      case 'I':
      case 'R':
      case 'l':
        return decode_integer(tag, sizeof(std::int32_t));
      case 'L':
        return decode_integer(tag, sizeof(std::int64_t));
      case 'D':
        return decode_double();
      case 'd':
        return decode_date();
      case 'M':
      case 'V':
      case 'f':
        bytes_.skip(1);
        open(tag);
        return true;
      case 'c':
        return decode_message(tag);
      case 'r':
        return bytes_.peek(1) == 't' ? open_remote() : decode_message(tag);
      case 'z':
        return close_container();
      case 's':
      case 'S':
      case 'm':
      case 't':
      case 'x':
      case 'X':
      case 'b':
      case 'B':
      case 'H':
        return decode_chunk(tag);
      default:
        return false;
    }
  }

  void open(char tag) {
    sink().open_container(name_of(tag));
    open_.push(tag);
  }

  // A value whose bytes, if any, have been read.
  bool write_value(char tag, std::string_view text, bool tag_read = false) {
    if (!tag_read) {
      bytes_.skip(1);
    }
    sink().scalar(name_of(tag), text);
    return true;
  }

  bool decode_integer(char tag, std::size_t size) {
    if (!bytes_.has(1 + size)) {
      return false;
    }
    bytes_.skip(1);
    char text[24];
    const int length =
        std::snprintf(text, sizeof text, "%lld", static_cast<long long>(bytes_.take_signed(size)));
    return write_value(tag, {text, static_cast<std::size_t>(length)}, true);
  }

  bool decode_double() {
    if (!bytes_.has(1 + sizeof(double))) {
      return false;
    }
    bytes_.skip(1);
    char text[400];  // the largest double has 309 digits before the point
    const int length = std::snprintf(text, sizeof text, "%f", bytes_.take_double());
    return write_value('D', {text, static_cast<std::size_t>(length)}, true);
  }

  bool decode_date() {
    if (!bytes_.has(1 + sizeof(std::int64_t))) {
      return false;
    }
    const std::size_t start = bytes_.position();
    bytes_.skip(1);
    char text[kDateTextSize];
    const std::size_t length = convert_date(bytes_.take_signed(sizeof(std::int64_t)), text);
    if (length == 0) {
      bytes_.seek(start);
      return false;
    }
    return write_value('d', {text, length}, true);
  }

  // A call or a reply with its version.
  bool decode_message(char tag) {
    open(tag);
    if (!bytes_.has(3)) {
      return false;
    }
    bytes_.skip(1);
    const auto major = static_cast<int>(bytes_.take_unsigned(1));
    const auto minor = static_cast<int>(bytes_.take_unsigned(1));
    hessian_append_to_xml(const_cast<char*>("<ver>%d.%d</ver>\n"), major, minor);
    return true;
  }

  // Only the 'r' is read; the type that follows is an element of its own.
  bool open_remote() {
    bytes_.skip(1);
    open('e');
    return true;
  }

  bool close_container() {
    if (open_.empty()) {
      return false;
    }
    bytes_.skip(1);
    sink().close_container(name_of(open_.pop()));
    return !open_.empty() || bytes_.at_end();
  }

  // Text behind a two-byte length. 's', 'x' and 'b' stay open: more of the value follows, and it
  // opens an element of its own. The element is open before the length is looked at, so a chunk
  // that is refused shows in the text by its name.
  bool decode_chunk(char tag) {
    const ElementName& name = name_of(tag);
    const bool on_own_lines = std::string_view("xXbBH").find(tag) != std::string_view::npos;
    on_own_lines ? sink().open_container(name) : sink().open_inline(name);
    const std::size_t start = bytes_.position();
    if (!bytes_.has(1 + kLengthSize)) {
      return false;
    }
    bytes_.skip(1);
    const std::size_t length = bytes_.take_unsigned(kLengthSize);
    if (length > kMaxChunk || !bytes_.has(length)) {
      bytes_.seek(start);
      return false;
    }
    const std::string_view data = bytes_.take(length);
    sink().append(data.substr(0, data.find('\0')));
    if (tag == 'X' || tag == 'B') {
      sink().close_container(name);
    } else if (std::string_view("SmtH").find(tag) != std::string_view::npos) {
      sink().close_inline(name);
    } else {
      open_.push(tag);
    }
    return true;
  }

  ByteReader bytes_;
  TagStack open_;
};

}  // namespace
}  // namespace wz::hessian

char* hessian_decode(int out_type, void* out, int /*indent*/, char* in, int* length) {
  using namespace wz::hessian;
  sink().select(out_type, out);
  if (in == nullptr || length == nullptr) {
    return nullptr;
  }
  const std::size_t size = *length > 0 ? static_cast<std::size_t>(*length) : 0;
  Decoder decoder({reinterpret_cast<const std::uint8_t*>(in), size});
  const bool decoded = decoder.run();
  sink().terminate();
  if (!decoded) {
    *length = static_cast<int>(decoder.position());
    return nullptr;
  }
  return in;
}
