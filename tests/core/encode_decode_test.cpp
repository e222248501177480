#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ExitedWithCode;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

constexpr char kNullInput[] = "input string is null, returning from method";
constexpr char kNegativeLength[] =
    "Warning: Length should be zero or any number that is greater then zero. "
    "Given length is -3, making length to zero.\n";

using TextCodec = char* (*)(char* input, int length, char* output);
using Converter = char* (*)(char* in, int len, int* con_len);

std::string take(char* heap_text) {
  const std::unique_ptr<char, decltype(&std::free)> owner(heap_text, std::free);
  return heap_text == nullptr ? "(null)" : heap_text;
}

// Runs a converter on a copy of exactly the input's size and compares `shown` bytes of the result.
std::string convert(Converter converter, std::string input, int& length, std::size_t shown) {
  std::vector<char> exact(input.begin(), input.end());
  char* result = converter(exact.data(), static_cast<int>(exact.size()), &length);
  if (result == nullptr) {
    return "(null)";
  }
  EXPECT_EQ(result[shown], '\0') << input;
  std::string text(result, shown);
  WZLB_FREE(result, "test", -1);
  return text;
}

TEST(UrlDecoding, EscapesAndBounds) {
  const struct {
    const char* source;
    int length;
    const char* expected;
  } cases[] = {
      {"a%41+b%zz%4", 10, "aA b%zz%4"},
      {"abcdef", 4, "abc"},
      {"%4a%4A%fF", 4, "JJ\xff"},
      {"%", 9, "%"},
      {"%%41%4", 9, "%A%4"},
      {"%00x", 9, ""},
      {"abc", 1, ""},
      {"abc", 0, ""},
      {"abc", -5, ""},
  };
  for (const auto& c : cases) {
    std::vector<char> out(c.length > 0 ? c.length : 1, '#');
    EXPECT_EQ(wz_url_decoding(out.data(), c.length, const_cast<char*>(c.source)), out.data());
    EXPECT_STREQ(out.data(), c.expected) << c.source << ' ' << c.length;
  }
  char after_zero[8] = "#######";
  wz_url_decoding(after_zero, 8, const_cast<char*>("%00x"));
  EXPECT_EQ(after_zero[1], 'x');
}

TEST(UrlDecoding, BothBoundsOfTheExtendedForm) {
  const struct {
    int max_out_length;
    int length;
    const char* expected;
  } cases[] = {{100, 2, "AB"}, {100, 9, "ABC"}, {3, 9, "AB"}, {4, 9, "ABC"},
               {1, 9, ""},     {0, 9, ""},      {9, 0, ""},   {9, -1, ""}};
  for (const auto& c : cases) {
    std::vector<char> out(c.max_out_length > 0 ? c.max_out_length : 1, '#');
    wz_url_decoding_ex(out.data(), c.max_out_length, c.length, const_cast<char*>("%41%42%43"));
    EXPECT_STREQ(out.data(), c.expected) << c.max_out_length << ' ' << c.length;
  }
}

TEST(Html, Encodes) {
  const std::pair<std::string, std::string> cases[] = {
      {"a<b>'c',~", "a&lt;b&gt;&#39;c&#39;&sbquo;&tilde;"},
      {"<", "&lt;"},
      {"&\"^", "&amp;&quot;&circ;"},
      {"\x80\xff plain;", "\x80\xff plain;"},
      {",,,,", "&sbquo;&sbquo;&sbquo;&sbquo;"},
  };
  for (auto [text, encoded] : cases) {
    EXPECT_EQ(take(wzlb_encode_html(text.data(), 0, nullptr)), encoded);
    std::vector<char> out(7 * text.size() + 1, '#');
    EXPECT_EQ(wzlb_encode_html(text.data(), 0, out.data()), out.data());
    EXPECT_EQ(out.data(), encoded);
  }
  char text[] = "<<<";
  EXPECT_EQ(take(wzlb_encode_html(text, 2, nullptr)), "&lt;&lt;");
  EXPECT_STREQ(text, "<<<");
}

TEST(Html, DecodesOneRowAfterTheOther) {
  const std::pair<std::string, std::string> cases[] = {
      {"&#39;", "';"},
      {"x&amp;quot;y", "x\"y"},
      {"&amp;lt;", "&lt;"},
      {"&amp;amp;", "&amp;"},
      {"&amp;#39", "'"},
      {"&lt;&gt;&circ;&tilde;", "<>^~"},
      {"&lsquo;&rsquo;", "''"},
      {"&sbquo;&LT;&am", ",&LT;&am"},
      {"&&lt;lt;\xfe", "&<lt;\xfe"},
      {std::string("&gt;\0&gt;", 9), ">"},
  };
  for (auto [text, decoded] : cases) {
    const int length = static_cast<int>(text.size());
    EXPECT_EQ(take(wzlb_decode_html(text.data(), length, nullptr)), decoded);
    std::vector<char> out(text.size() + 1, '#');
    EXPECT_EQ(wzlb_decode_html(text.data(), length, out.data()), out.data());
    EXPECT_EQ(out.data(), decoded);
  }
  CaptureStdout();
  EXPECT_EQ(wzlb_decode_html(const_cast<char*>("abc"), 0, nullptr), nullptr);
  EXPECT_EQ(GetCapturedStdout(), kNullInput);
}

TEST(Html, EscapesFieldValues) {
  char out[32] = "unchanged";
  wzlb_html_encoding(nullptr, out);
  EXPECT_STREQ(out, "unchanged");
  wzlb_html_encoding(const_cast<char*>("a;b=c&"), out);
  EXPECT_STREQ(out, "a&#59;b&#61;c&");
}

TEST(TextCodecs, RefuseEmptyInputAndNegativeLength) {
  const TextCodec codecs[] = {wzlb_encode_html, wzlb_decode_html, wzlb_encode_base64,
                              wzlb_decode_base64};
  for (const TextCodec codec : codecs) {
    char text[] = "abc";
    char empty[] = "";
    CaptureStdout();
    CaptureStderr();
    EXPECT_EQ(codec(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(codec(empty, 3, nullptr), nullptr);
    EXPECT_EQ(codec(text, -3, nullptr), nullptr);
    EXPECT_EQ(GetCapturedStdout(), std::string(kNullInput) + kNullInput);
    EXPECT_EQ(GetCapturedStderr(), kNegativeLength);
  }
}

TEST(BlockBase64, ShortInputsAreCut) {
  const struct {
    std::string text;
    int length;
    const char* encoded;
  } cases[] = {{"hello", 0, "aGVsbG8="},
               {"abc", 0, "YWJ"},
               {"ab", 0, "YW"},
               {"a", 0, "Y"},
               {"abcd", 0, "YWJjZA=="},
               {"abcd", 3, "YWJ"},
               {{"a\0bcde", 6}, 6, "YQ=="},
               {"abcdefg", 6, "YWJjZGVm"}};
  for (auto [text, length, encoded] : cases) {
    EXPECT_EQ(take(wzlb_encode_base64(text.data(), length, nullptr)), encoded);
    char out[32] = "overwritten";
    EXPECT_EQ(wzlb_encode_base64(text.data(), length, out), out);
    EXPECT_STREQ(out, encoded);
  }
}

TEST(BlockBase64, DecodesTextOnly) {
  const std::pair<std::string, std::string> cases[] = {
      {"aGVsbG8=", "hello"}, {"aGVs\r\n bG8=", "hello"}, {"YWJjZA", "abc"},    {"YQ==YWJj", "a"},
      {"YWJj=", "abc"},      {"AGFiYWJj", "abc"},        {"YQBiYWJj", "aabc"}, {"=", ""},
      {"YWI=", "ab"},
  };
  for (auto [text, decoded] : cases) {
    EXPECT_EQ(take(wzlb_decode_base64(text.data(), 0, nullptr)), decoded) << text;
  }
}

TEST(BlockBase64, BlocksAppendWithinTheirLimit) {
  char out[32] = ">";
  EXPECT_EQ(wzlb_encodeblock(const_cast<char*>("abcdef"), out, 9), 0);
  wzlb_encodeblock(const_cast<char*>("a"), out, 4);
  wzlb_encodeblock(const_cast<char*>("ab"), out, 3);
  wzlb_encodeblock(const_cast<char*>("ab"), out, -1);
  EXPECT_STREQ(out, ">YWJjYQ==YWI");
  char values[] = {24, 22, 9, 35};  // abc
  char text[16] = ">";
  EXPECT_EQ(wzlb_decodeblock(values, text, 9), 0);
  wzlb_decodeblock(values, text, 2);
  wzlb_decodeblock(values, text, -1);
  EXPECT_STREQ(text, ">abcab");
}

unsigned char* bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

TEST(BoundedBase64, SizesAndPadding) {
  std::string hello = "hello";
  std::string out(9, '#');
  EXPECT_EQ(wzlb_encode_base64_ex(bytes(hello), 5, bytes(out), 7), -1);
  EXPECT_EQ(out, "#########");
  EXPECT_EQ(wzlb_encode_base64_ex(bytes(hello), 5, bytes(out), 8), 8);
  EXPECT_EQ(out, "aGVsbG8=#");
  EXPECT_EQ(wzlb_encode_base64_ex(bytes(hello), -1, bytes(out), 8), -1);
  const struct {
    std::string text;
    int room;
    int expected;
    std::string stored;
  } cases[] = {
      {"aGVsbG8=", 9, 5, {"hello\0", 6}}, {"aGVsbG8", 9, -1, ""},      {"", 9, 0, ""},
      {"YQ==", 9, 1, {"a\0\0", 3}},       {"YQ==", 1, -1, "a"},        {"YWJj", 2, 2, "ab"},
      {"Y=Jj", 9, 3, {"`\2c", 3}},        {"Y?Jj", 9, 3, {"`\2c", 3}}, {"YW=j", 9, 3, "a`#"},
      {"====", 9, 1, {"\0\0\0", 3}},
  };
  for (auto [text, room, expected, stored] : cases) {
    std::string decoded(9, '*');
    EXPECT_EQ(
        wzlb_decode_base64_ex(bytes(text), static_cast<int>(text.size()), bytes(decoded), room),
        expected)
        << text;
    EXPECT_EQ(decoded, stored + std::string(9 - stored.size(), '*')) << text;
  }
}

TEST(BoundedBase64, BinaryEncoderWritesWhatFits) {
  const std::string whole = "AP8Q/w==";
  for (std::size_t room = 0; room <= 10; ++room) {
    std::string out(11, '#');
    char data[] = {0, '\xff', 0x10, '\xff'};
    EXPECT_EQ(wzlb_binary_base64encode(data, 4, out.data(), room), room > whole.size() ? 0 : 1);
    std::string expected = whole.substr(0, room);
    expected += room > whole.size() ? std::string(1, '\0') : "";
    EXPECT_EQ(out, expected + std::string(11 - expected.size(), '#')) << room;
  }
}

TEST(BioBase64, RoundTripAndMismatch) {
  for (const std::size_t size : {0, 1, 2, 3, 100, 5000}) {
    std::string data(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
      data[i] = static_cast<char>(i * 37);
    }
    char* text = nullptr;
    ASSERT_EQ(Base64Encode(bytes(data), size, &text), 0);
    EXPECT_EQ(std::strlen(text), (size + 2) / 3 * 4);
    EXPECT_EQ(calcDecodeLength(text), size);
    unsigned char* decoded = nullptr;
    int length = -1;
    EXPECT_EQ(Base64Decode(text, &decoded, &length), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(decoded), length), data);
    EXPECT_EQ(decoded[length], '\0');
    std::free(decoded);
    WZLB_FREE(text, "test", -1);
  }
  unsigned char* decoded = nullptr;
  int length = -1;
  EXPECT_EQ(Base64Decode(const_cast<char*>("not base64!!"), &decoded, &length), -1);
  EXPECT_EQ(length, 0);
  EXPECT_STREQ(reinterpret_cast<char*>(decoded), "");
  std::free(decoded);
  EXPECT_EQ(calcDecodeLength(const_cast<char*>("==")), 0U);
}

TEST(Converters, ResultsAndReportedLengths) {
  const struct {
    const char* name;
    Converter converter;
    std::string input;
    int length;
    std::string text;
  } cases[] = {
      {"hex", wzlb_encode_text_to_hex, "AZ\xff", 6, "415aff"},
      {"hex, vector", wzlb_encode_text_to_hex, "0123456789JKLMNO\xab", 34,
       "303132333435363738394a4b4c4d4e4fab"},
      {"unhex", wzlb_decode_hex_to_text, "415A6a7", 3, "AZj"},
      {"unhex, odd pairs", wzlb_decode_hex_to_text, "zz41zz 54zx5-1+2", 8, {"\0AA\5\4\4\xff\2", 8}},
      {"unhex, vector", wzlb_decode_hex_to_text,
       "303132333435363738394a4B4c4D4e4f"
       "3g313233343536373839404142434445"
       "46",
       33,
       "0123456789JKLMNO\3"
       "123456789@ABCDEF"},
      {"raw bits", wzlb_encode_text_to_bin, "A\x80", 16, {"\0\1\0\0\0\0\0\1\0\0\0\0\0\0\0\0", 16}},
      {"binary", wzlb_encode_text_to_bin_new, "A", 9, "01000001"},
      {"binary, 8 bit", wzlb_encode_text_to_bin_new, {"\x81\x7f\0A", 4}, 36, "0000000001111111"},
      {"unbinary", wzlb_dec_bin_to_text, "0100000111000010011", 2, "AB"},
      {"base64", wzlb_encode_text_to_base64, "hello", 8, "aGVsbG8="},
      {"unbase64", wzlb_decode_base64_to_text, "aGVsbG8=", 5, "hello"},
      {"unbase64, odd padding", wzlb_decode_base64_to_text, "YR==", 1, "a"},
      {"unbase64, bad length", wzlb_decode_base64_to_text, "aGVsbG8", -1, ""},
      {"hex to binary", wzlb_encode_hex_to_bin, "x1yFa", 20, "00000001000111111010"},
      {"base64 to hex", wzlb_encode_base64_to_hex, "AGFi", 6, "006162"},
      {"base64 to binary", wzlb_encode_base64_to_bin, "QUI=", 18, "0100000101000010"},
      {"hex to base64", wzlb_encode_hex_to_base64, "68656c6c6f", 8, "aGVsbG8="},
      {"binary to hex", wzlb_encode_bin_to_hex, "0100000101000010", 4, "4142"},
      {"binary to base64", wzlb_encode_bin_to_base64, "0100000101000010", 4, "QUI="},
      {"to EBCDIC", wzlb_ascii_to_ebcdic, "A1[`\x7f", 10, "\xc1\xf1\xad\x7d\x4b"},
      {"from EBCDIC", wzlb_ebcdic_to_ascii, "\xc1\x7d\x4f\x6a\xad\x31\x25\xff", 16, "A'||[.\x25."},
      {"nothing", wzlb_encode_text_to_hex, "", 0, ""},
  };
  for (const auto& c : cases) {
    int length = -7;
    EXPECT_EQ(convert(c.converter, c.input, length, c.text.size()), c.text) << c.name;
    EXPECT_EQ(length, c.length) << c.name;
  }
  for (const Converter composite : {wzlb_encode_base64_to_bin, wzlb_encode_base64_to_hex}) {
    int length = 0;
    EXPECT_EQ(convert(composite, "QUI", length, 0), "(null)");
    EXPECT_EQ(length, -1);
  }
}

TEST(Converters, PrintableTextSurvivesEbcdicButForTheBackquote) {
  for (int code = 0x20; code < 0x7f; ++code) {
    unsigned char ascii = static_cast<unsigned char>(code);
    unsigned char ebcdic[2];
    char back[2];
    int untouched = 5;
    ASCII_to_EBCDIC(&ascii, 1, reinterpret_cast<char*>(ebcdic), &untouched);
    EBCDIC_to_ASCII(ebcdic, 1, back, &untouched);
    EXPECT_EQ(back[0], code == '`' ? '\'' : code);
    EXPECT_EQ(untouched, 5);
  }
}

TEST(Converters, NegativeLengthEndsTheProcess) {
  int length = 0;
  EXPECT_EXIT(wzlb_encode_text_to_hex(nullptr, -5, &length), ExitedWithCode(255),
              "wzlb_encode_text_to_hex\\|Malloc buffer for encoding text into hex string\\|WZLB: "
              "Trying to malloc a negative size \\(-9\\)\n");
  EXPECT_EXIT(wzlb_ascii_to_ebcdic(nullptr, -5, &length), ExitedWithCode(255),
              "wzlb_ascii_to_ebcdic\\|Malloc buffer for encodeing ASCII TO EBCDIC\\|WZLB: Trying "
              "to malloc a negative size \\(-9\\)\n");
}

TEST(BinaryDigits, HelpersKeepTheirBounds) {
  char digits[] = "0100000111000010";
  EXPECT_EQ(binaryToDecimal(digits, 8), 65);
  EXPECT_EQ(binaryToDecimal(const_cast<char*>("1x1"), 3), 5);
  char text[3] = "##";
  binaryToText(digits, 16, text, 2);
  EXPECT_EQ(std::string(text), "AB");
  EXPECT_EQ(digits[8], '\0');  // the leading bit of the second group is gone
  char out[17];
  textToBinary(text, 2, out, sizeof out);
  EXPECT_STREQ(out, "0100000101000010");
  char hex[5];
  EXPECT_EQ(bin2hex(reinterpret_cast<unsigned char*>(const_cast<char*>("A\xfe")), 2, hex), hex);
  EXPECT_STREQ(hex, "41FE");
  EXPECT_EQ(bin2hex(nullptr, 2, hex), nullptr);
  EXPECT_EQ(bin2hex(reinterpret_cast<unsigned char*>(text), 0, hex), nullptr);
}

}  // namespace
