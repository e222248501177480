// Documents from plain XML text. libxml2, which reads all others, takes many times as long to set a
// parser up as a small document takes here.
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <optional>

#include "libwzcore/wzlb_hessian/document.h"
#include "libwzcore/wzlb_hessian/scan_text.h"
#include "libwzcore/wzlb_hessian/utf8.h"

namespace wz::hessian {
namespace {

constexpr std::string_view kRoot = "hessian";
// Elements inside each other.
constexpr std::size_t kMaxOpen = 1000;

constexpr bool is_line_blank(char c) noexcept {
  return c == '\n' || c == '\t';
}

constexpr bool is_blank(char c) noexcept {
  return c == ' ' || is_line_blank(c);
}

constexpr bool begins_name(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

constexpr std::array<bool, 256> kInName = [] {
  std::array<bool, 256> in_name{};
  for (std::size_t c = 0; c < 0x80; ++c) {
    const char character = static_cast<char>(c);
    in_name[c] = begins_name(character) || (c >= '0' && c <= '9') || c == '.' || c == '-';
  }
  return in_name;
}();

}  // namespace

// Each reading function takes the place where something must begin and returns the place behind
// it, null where there is nothing that this reader knows.
class DocumentReader {
 public:
  DocumentReader(std::string_view xml, Document& document) noexcept
      : end_(xml.data() + xml.size()), document_(document) {}

  bool run(const char* at) {
    at = skip_blanks(skip_declaration(at));
    at = read_start_tag(at);
    while (at != nullptr && !open_.empty()) {
      at = read_between(at);
      if (at == nullptr || end_ - at < 2) {
        return false;
      }
      at = at[1] == '/' ? read_end_tag(at + 2) : read_start_tag(at);
    }
    return at != nullptr && skip_blanks(at) == end_;
  }

 private:
  struct Open {
    std::size_t number;
    std::string_view name;
  };
  // The elements that have begun; nothing is set up for those that have not.
  class OpenElements {
   public:
    OpenElements() noexcept {}  // NOLINT(modernize-use-equals-default): would clear the array
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    [[nodiscard]] bool full() const noexcept { return size_ == kMaxOpen; }
    [[nodiscard]] const Open& back() const noexcept { return elements_[size_ - 1]; }
    void push(const Open& element) noexcept { elements_[size_++] = element; }
    Open pop() noexcept { return elements_[--size_]; }

   private:
    union {
      std::array<Open, kMaxOpen> elements_;
    };
    std::size_t size_ = 0;
  };

  [[nodiscard]] std::string_view rest(const char* at) const noexcept {
    return {at, static_cast<std::size_t>(end_ - at)};
  }
  [[nodiscard]] bool is(const char* at, char c) const noexcept { return at != end_ && *at == c; }
  [[nodiscard]] bool is(const char* at, std::string_view text) const noexcept {
    return is_same(rest(at).substr(0, text.size()), text);
  }
  [[nodiscard]] const char* skip_blanks(const char* at) const noexcept {
    while (at != end_ && is_blank(*at)) {
      ++at;
    }
    return at;
  }
  [[nodiscard]] const char* skip_declaration(const char* at) const noexcept {
    constexpr std::string_view kDeclarations[] = {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>",
                                                  "<?xml version=\"1.0\"?>"};
    for (const std::string_view declaration : kDeclarations) {
      if (is(at, declaration)) {
        return at + declaration.size();
      }
    }
    return at;
  }

  // The same place where no name begins.
  [[nodiscard]] const char* skip_name(const char* at) const noexcept {
    if (at != end_ && begins_name(*at)) {
      while (at != end_ && kInName[static_cast<unsigned char>(*at)]) {
        ++at;
      }
    }
    return at;
  }

  // Begins an element of a short known name without attributes, whose characters need no look at
  // each. The size of the name, 0 for others.
  std::size_t open_known(const char* at) {
    if (end_ - at < static_cast<std::ptrdiff_t>(kShortName)) {
      return 0;
    }
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const auto ends =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('>'))));
    const auto size = static_cast<std::size_t>(std::countr_zero(ends));
    return ends != 0 && document_.open_known({at, size}) ? size : 0;
  }

  // A start tag and, where only text may follow, everything behind it up to the end tag.
  const char* read_start_tag(const char* at) {
    if (!is(at, '<') || open_.full()) {
      return nullptr;
    }
    ++at;
    if (const std::size_t size = open_.empty() ? 0 : open_known(at)) {
      return read_content(at + size + 1, {document_.last(), {at, size}});
    }
    const std::string_view name(at, skip_name(at));
    if (name.empty() || (open_.empty() && name != kRoot)) {
      return nullptr;
    }
    const std::size_t number = document_.open(name);
    at += name.size();
    if (!is(at, '>')) {
      at = read_attribute(at, number);
      if (at == nullptr || is(at, '/')) {
        return at != nullptr && is(at + 1, '>') ? close(at + 2, number) : nullptr;
      }
    }
    return read_content(at + 1, {number, name});
  }

  // Behind a start tag.
  const char* read_content(const char* at, const Open& element) {
    if (!is_leaf(document_.nodes_[element.number].element)) {
      open_.push(element);
      return at;
    }
    at = read_leaf_text(at, element.number);
    return at != nullptr && is(at + 1, '/') ? end_tag(at + 2, element) : nullptr;
  }

  // One attribute at most, without references, up to the '>' or '/'.
  const char* read_attribute(const char* at, std::size_t number) noexcept {
    const char* const start = skip_blanks(at);
    if (is(start, '>') || is(start, '/')) {
      return start;
    }
    const char* const name_end = skip_name(start);
    const std::string_view name(start, name_end);
    if (start == at || name.empty() || name == "xmlns" || !is(name_end, '=')) {
      return nullptr;
    }
    const char* const quote = name_end + 1;
    if (!is(quote, '"') && !is(quote, '\'')) {
      return nullptr;
    }
    const std::string_view text = rest(quote + 1);
    const std::string_view value = text.substr(0, length_without<EscapedBytes>(text));
    const char* const value_end = value.data() + value.size();
    if (!std::none_of(value.begin(), value.end(), is_line_blank) || !is(value_end, *quote)) {
      return nullptr;
    }
    if (name == "ms") {
      document_.set_instant(number, value);
    }
    at = skip_blanks(value_end + 1);
    return is(at, '>') || is(at, '/') ? at : nullptr;
  }

  // Behind "</".
  const char* read_end_tag(const char* at) noexcept { return end_tag(at, open_.pop()); }
  const char* end_tag(const char* at, const Open& element) noexcept {
    if (!is(at, element.name)) {
      return nullptr;
    }
    at = skip_blanks(at + element.name.size());
    return is(at, '>') ? close(at + 1, element.number) : nullptr;
  }
  const char* close(const char* at, std::size_t number) noexcept {
    document_.close(number, open_.empty() ? 0 : open_.back().number);
    return at;
  }

  // Text between the tags of elements, up to the next '<'.
  const char* read_between(const char* at) {
    if (is(at, '<')) {
      return at;
    }
    document_.add_break();
    at = skip_blanks(at);
    if (is(at, '<')) {
      return at;
    }
    const std::size_t owned = document_.owned_.size();
    at = read_text(at);
    document_.owned_.resize(owned);  // it counts nowhere
    return at;
  }

  const char* read_leaf_text(const char* at, std::size_t number) {
    const std::size_t owned = document_.owned_.size();
    const char* end = skip_plain_text(at);
    if (end != nullptr && *end != '<') {
      end = read_text(at);
    }
    Node& node = document_.nodes_[number];
    if (end == nullptr || node.is_instant) {
      return end;
    }
    if (document_.owned_.size() == owned) {
      node.text = static_cast<std::size_t>(at - document_.source_.data());
      node.text_size = static_cast<std::uint32_t>(end - at);
    } else {
      node.is_text_owned = true;
      node.text = owned;
      node.text_size = static_cast<std::uint32_t>(document_.owned_.size() - owned);
    }
    return end;
  }

  // Up to the next '<'. Text that has references is put into the document's own.
  const char* read_text(const char* at) {
    const char* end = skip_plain_text(at);
    if (end == nullptr || *end == '<') {
      return end;
    }
    while (end != nullptr) {
      document_.owned_.append(at, end);
      if (*end == '<') {
        return end;
      }
      at = read_reference(end);
      end = at != nullptr ? skip_plain_text(at) : nullptr;
    }
    return nullptr;
  }

  // The next '<' or '&'; null at characters that XML does not have and at the end.
  [[nodiscard]] const char* skip_plain_text(const char* at) const noexcept {
    while (true) {
      at += length_without<MarkupBytes>(rest(at));
      if (at == end_) {
        return nullptr;
      }
      if (*at == '<' || *at == '&') {
        return at;
      }
      const std::optional<Character> character = first_character(rest(at));
      if (!character || !is_carried_by_xml(character->code) || *at == '\r' || is(at, "]]>")) {
        return nullptr;
      }
      at += character->size;
    }
  }

  const char* read_reference(const char* at) {
    struct Entity {
      std::string_view reference;
      char character;
    };
    constexpr Entity kEntities[] = {
        {"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};
    if (is(at, "&#")) {
      return read_character_number(at + 2);
    }
    for (const Entity& entity : kEntities) {
      if (is(at, entity.reference)) {
        document_.owned_ += entity.character;
        return at + entity.reference.size();
      }
    }
    return nullptr;
  }

  const char* read_character_number(const char* at) {
    constexpr std::size_t kMaxDigits = 7;
    const bool is_hexadecimal = is(at, 'x');
    at += is_hexadecimal ? 1 : 0;
    std::uint32_t code = 0;
    const auto [end, error] = std::from_chars(at, at + std::min(rest(at).size(), kMaxDigits), code,
                                              is_hexadecimal ? 16 : 10);
    if (error != std::errc() || !is_carried_by_xml(code) || !is(end, ';')) {
      return nullptr;
    }
    char text[kMaxUtf8Size];
    document_.owned_.append(text, write_utf8(code, text));
    return end + 1;
  }

  const char* const end_;
  Document& document_;
  OpenElements open_;
};

bool Document::read(std::string_view xml) {
  begin(xml);
  const bool read = DocumentReader(xml, *this).run(xml.data());
  end();
  return read;
}

}  // namespace wz::hessian
