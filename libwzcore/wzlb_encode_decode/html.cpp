// HTML character entities. Encoding and decoding are deliberately not symmetric: pages that were
// recorded with either form of the apostrophe keep comparing equal to what they were recorded as.
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "libwzcore/internal/trace.h"
#include "libwzcore/wzlb_encode_decode/text_arguments.h"

namespace wz {
namespace {

struct HtmlEntity {
  std::string_view text;
  char byte;
};

// One decoding pass per row, in this order: what follows the "&amp;" row is decoded twice. "&#39"
// has no semicolon on purpose.
constexpr HtmlEntity html_encoding_table[] = {
    {"&lt;", '<'},    {"&gt;", '>'},    {"&amp;", '&'},     {"&quot;", '"'},
    {"&circ;", '^'},  {"&tilde;", '~'}, {"&lsquo;", '\''},  {"&rsquo;", '\''},
    {"&sbquo;", ','}, {"&#39", '\''},   {"__LAST__", '\0'},
};

// The longest replacement is this much longer than the byte it stands for.
constexpr std::size_t kLongestGrowth = 6;

constexpr std::array<std::string_view, 256> kReplacements = [] {
  std::array<std::string_view, 256> map{};
  map['<'] = "&lt;";
  map['>'] = "&gt;";
  map['&'] = "&amp;";
  map['"'] = "&quot;";
  map['^'] = "&circ;";
  map['~'] = "&tilde;";
  map['\''] = "&#39;";
  map[','] = "&sbquo;";
  return map;
}();

constexpr std::string_view replacement(char byte) noexcept {
  return kReplacements[static_cast<unsigned char>(byte)];
}

// Doubles `capacity` until it holds `needed` bytes and moves the text there. A text that cannot
// grow is freed, and null is returned.
char* grow(char* text, std::size_t& capacity, std::size_t needed) {
  const std::size_t old_capacity = capacity;
  while (capacity < needed) {
    capacity *= 2;
  }
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_MISC, "Reallocating buffer. Old size = %d, new size = %d",
             static_cast<int>(old_capacity), static_cast<int>(capacity));
  auto* grown = static_cast<char*>(std::realloc(text, capacity + 1));
  if (grown == nullptr) {
    std::free(text);
  }
  return grown;
}

char* encode_html(std::string_view input, char* out_str) {
  std::size_t capacity = input.size();
  std::size_t estimate = input.size();
  char* output = codec_output(out_str, capacity + 1);
  std::size_t written = 0;
  for (std::size_t read = 0; output != nullptr && read < input.size(); ++read) {
    const std::string_view entity = replacement(input[read]);
    if (entity.empty()) {
      output[written++] = input[read];
      continue;
    }
    estimate += kLongestGrowth;
    if (out_str == nullptr && estimate > capacity &&
        (output = grow(output, capacity, estimate)) == nullptr) {
      break;
    }
    std::memcpy(output + written, entity.data(), entity.size());
    written += entity.size();
  }
  if (output != nullptr) {
    output[written] = '\0';
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_MISC,
               "After html encoding Encode values = %s, length of encoded string = %d", output,
               static_cast<int>(written));
  }
  return output;
}

// Where `entity` next occurs in [from, end); `end` when it does not.
const char* find_entity(const char* from, const char* end, std::string_view entity) noexcept {
  for (; from != end; ++from) {
    from = static_cast<const char*>(std::memchr(from, '&', static_cast<std::size_t>(end - from)));
    if (from == nullptr) {
      break;
    }
    if (std::string_view(from, static_cast<std::size_t>(end - from)).starts_with(entity)) {
      return from;
    }
  }
  return end;
}

// Replaces every occurrence of one entity in `text` in place (an entity is longer than its byte)
// and returns the new length.
std::size_t replace_entity(char* text, std::size_t length, const HtmlEntity& entity) noexcept {
  const char* const end = text + length;
  const char* read = text;
  char* write = text;
  for (;;) {
    const char* match = find_entity(read, end, entity.text);
    const auto kept = static_cast<std::size_t>(match - read);
    if (write != read) {
      std::memmove(write, read, kept);
    }
    write += kept;
    if (match == end) {
      return static_cast<std::size_t>(write - text);
    }
    *write++ = entity.byte;
    read = match + entity.text.size();
  }
}

// Decodes `input` up to its first zero byte; `output` may be the input itself.
char* decode_html(std::string_view input, char* out_str) {
  std::size_t length = std::min(input.find('\0'), input.size());
  char* output = codec_output(out_str, input.size() + 1);
  if (output == nullptr) {
    return nullptr;
  }
  std::memmove(output, input.data(), length);
  for (const HtmlEntity& entity : html_encoding_table) {
    if (entity.byte != '\0') {
      length = replace_entity(output, length, entity);
    }
  }
  output[length] = '\0';
  return output;
}

std::optional<std::string_view> html_input(const char* in_str, int in_str_len) {
  const auto input = codec_input(in_str, in_str_len);
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_MISC, "Method Called, in_str_len = %d, len = %d", in_str_len,
             input ? static_cast<int>(input->size()) : in_str_len);
  return input;
}

}  // namespace
}  // namespace wz

char* wzlb_encode_html(char* in_str, int in_str_len, char* out_str) {
  const auto input = wz::html_input(in_str, in_str_len);
  return input ? wz::encode_html(*input, out_str) : nullptr;
}

char* wzlb_decode_html(char* in_str, int in_str_len, char* out_str) {
  const auto input = wz::html_input(in_str, in_str_len);
  if (!input) {
    return nullptr;
  }
  if (in_str_len == 0) {
    // Only the bytes of the given length are decoded, so a length of 0 is an empty input here.
    wz::report_null_input();
    return nullptr;
  }
  char* output = wz::decode_html(*input, out_str);
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_MISC, "After decoding out_ptr= [%s], in_str = [%.*s]",
             output == nullptr ? "" : output, static_cast<int>(input->size()), in_str);
  return output;
}

void wzlb_html_encoding(char* src, char* dest) {
  if (src == nullptr || dest == nullptr) {
    return;
  }
  for (; *src != '\0'; ++src) {
    if (*src == ';' || *src == '=') {
      dest = static_cast<char*>(mempcpy(dest, *src == ';' ? "&#59;" : "&#61;", 5));
    } else {
      *dest++ = *src;
    }
  }
  *dest = '\0';
}
