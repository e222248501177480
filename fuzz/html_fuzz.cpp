// HTML entities of arbitrary text: against naive models that replace one occurrence at a time, and
// within the sizes that callers provide.
#include <wz/wzlb_encode_decode.h>

#include <cstring>
#include <utility>

#include "fuzz/codec_fuzz.h"

namespace {

using Rows = std::vector<std::pair<std::string, std::string>>;

// One pass per row over the result of the rows before.
std::string replace_rows(std::string text, const Rows& rows) {
  for (const auto& [from, to] : rows) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
      text.replace(at, from.size(), to);
    }
  }
  return text;
}

const Rows kDecoding = {{"&lt;", "<"},    {"&gt;", ">"},    {"&amp;", "&"},   {"&quot;", "\""},
                        {"&circ;", "^"},  {"&tilde;", "~"}, {"&lsquo;", "'"}, {"&rsquo;", "'"},
                        {"&sbquo;", ","}, {"&#39", "'"}};
const Rows kEncoding = {{"&", "&amp;"},  {"<", "&lt;"},    {">", "&gt;"},  {"\"", "&quot;"},
                        {"^", "&circ;"}, {"~", "&tilde;"}, {"'", "&#39;"}, {",", "&sbquo;"}};

void check_codec(char* (*codec)(char*, int, char*), std::string_view text, std::size_t room,
                 const std::string& expected) {
  codec_fuzz::Exact<char> input(text);
  codec_fuzz::Exact<char> output(room);
  CHECK(codec(input.data(), input.size(), output.data()) == output.data());
  CHECK(codec_fuzz::up_to_zero(output.text(room)) == expected);
  CHECK(codec_fuzz::take(codec(input.data(), input.size(), nullptr)) == expected);
  CHECK(input.text(text.size()) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || data[0] == '\0') {
    return 0;
  }
  const std::string_view input = codec_fuzz::as_text(data, size);
  const std::string text = codec_fuzz::up_to_zero(input);
  check_codec(wzlb_encode_html, input, 7 * size + 1, replace_rows(text, kEncoding));
  check_codec(wzlb_decode_html, input, size + 1, replace_rows(text, kDecoding));

  codec_fuzz::Exact<char> source(std::string_view(text.c_str(), text.size() + 1));
  codec_fuzz::Exact<char> field(5 * text.size() + 1);
  wzlb_html_encoding(source.data(), field.data());
  std::string expected;
  for (const char c : text) {
    expected += c == ';' ? "&#59;" : c == '=' ? "&#61;" : std::string(1, c);
  }
  CHECK(expected == field.data());
  return 0;
}
