#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
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

// What arbitrary text decodes to is checked against models when the fuzzers' corpora are replayed.
TEST(UrlDecoding, BothBounds) {
  const std::tuple<const char*, int, int, const char*> cases[] = {
      {"a%41+b%zz%4", 20, 20, "aA b%zz%4"},
      {"%41%42%43", 100, 2, "AB"},
      {"%41%42%43", 3, 9, "AB"},
      {"abc", 0, 9, ""},
      {"abc", -5, 9, ""},
      {"abc", 9, 0, ""},
      {"abc", 9, -1, ""}};
  for (const auto& [source, max_out_length, length, expected] : cases) {
    std::vector<char> out(max_out_length > 0 ? max_out_length : 1, '#');
    wz_url_decoding_ex(out.data(), max_out_length, length, const_cast<char*>(source));
    EXPECT_STREQ(out.data(), expected) << source << max_out_length << ' ' << length;
    if (length > max_out_length) {
      out.front() = '#';
      wz_url_decoding(out.data(), max_out_length, const_cast<char*>(source));
      EXPECT_STREQ(out.data(), expected) << source << max_out_length;
    }
  }
}

TEST(Html, CodesAndRefuses) {
  char text[] = "<'&<<";
  EXPECT_EQ(take(wzlb_encode_html(text, 3, nullptr)), "&lt;&#39;&amp;");
  EXPECT_STREQ(text, "<'&<<");
  char rows_in_order[] = "&amp;quot;&amp;lt;&#39;";
  EXPECT_EQ(take(wzlb_decode_html(rows_in_order, sizeof rows_in_order - 1, nullptr)), "\"&lt;';");
  CaptureStdout();
  EXPECT_EQ(wzlb_decode_html(const_cast<char*>("abc"), 0, nullptr), nullptr);
  EXPECT_EQ(GetCapturedStdout(), kNullInput);
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

TEST(BlockBase64, CutsShortInputs) {
  char text[] = "abcd";
  EXPECT_EQ(take(wzlb_encode_base64(text, 0, nullptr)), "YWJjZA==");
  EXPECT_EQ(take(wzlb_encode_base64(text, 3, nullptr)), "YWJ");
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
}

TEST(BioBase64, Mismatch) {
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
      {"unhex, odd pairs", wzlb_decode_hex_to_text, "zz41zz 54zx5-1+2", 8, {"\0AA\5\4\4\xff\2", 8}},
      {"raw bits", wzlb_encode_text_to_bin, "A\x80", 16, {"\0\1\0\0\0\0\0\1\0\0\0\0\0\0\0\0", 16}},
      {"binary", wzlb_encode_text_to_bin_new, "A", 9, "01000001"},
      {"binary, 8 bit", wzlb_encode_text_to_bin_new, {"\x81\x7f\0A", 4}, 36, "0000000001111111"},
      {"unbinary", wzlb_dec_bin_to_text, "0100000111000010011", 2, "AB"},
      {"unbase64, odd padding", wzlb_decode_base64_to_text, "YR==", 1, "a"},
      {"unbase64, bad length", wzlb_decode_base64_to_text, "aGVsbG8", -1, ""},
      {"hex to binary", wzlb_encode_hex_to_bin, "x1yFa", 20, "00000001000111111010"},
      {"base64 to binary", wzlb_encode_base64_to_bin, "QUI=", 18, "0100000101000010"},
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
  EXPECT_EQ(bin2hex(nullptr, 2, hex), nullptr);
  EXPECT_EQ(bin2hex(reinterpret_cast<unsigned char*>(text), 0, hex), nullptr);
}

}  // namespace
