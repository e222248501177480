#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <climits>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "libwzcore/internal/trace.h"

namespace {

using wz::mutable_text;
using Fields = std::vector<std::string>;
using Splitter = int (*)(char*, char**, char*, int);

struct SplitCase {
  Splitter split;
  const char* text;
  const char* delimiter;
  int max_fields;
  int count;
  Fields fields;
};

const SplitCase kSplitCases[] = {
    {get_tokens, "a  b", " ", 9, 2, {"a", "b"}},
    {get_tokens, ",a,;b;,", ",;", 9, 2, {"a", "b"}},
    {get_tokens, "a b c d", " ", 2, 2, {"a", "b"}},
    {get_tokens, "a b", " ", 0, 0, {}},
    {get_tokens_with_multi_delimiter, "a,,b", ",", 9, 2, {"a", "b"}},
    {get_tokens_ex2, "a,,b", ",", 9, 3, {"a", "", "b"}},
    {get_tokens_ex2, ",a,", ",", 9, 3, {"", "a", ""}},
    {get_tokens_ex2, "a::b:c", "::", 9, 2, {"a", "b:c"}},
    {get_tokens_ex2, "ab", "", 9, 1, {"ab"}},
    {wzlb_get_tokens, "a,,b", ",", 9, 2, {"a", "b"}},
    {wzlb_get_tokens, "a,b,", ",", 9, 3, {"a", "b", ""}},
    {wzlb_get_tokens, "a,b,c", ",", 2, 2, {"a", "b"}},
    // The closing quote stays, and the field behind a quoted one is passed over.
    {wzlb_get_tokens, R"("a,1",b,c)", ",", 9, 2, {R"(a,1")", "c"}},
    {wzlb_get_tokens, R"(x,"a,1")", ",", 9, 2, {"x", R"(a,1")"}},
    // The quote behind an empty content counts as content.
    {wzlb_get_tokens, R"("",b"c,d)", ",", 9, 2, {R"(",b")", "d"}},
    {wzlb_get_tokens, R"("a,b)", ",", 9, 2, {"a", "b"}},
    {wzlb_get_tokens, R"(a,")", ",", 9, 2, {"a", ""}},
    // A longer delimiter is skipped by one byte, unless it stands there again.
    {wzlb_get_tokens, "a##b", "##", 9, 2, {"a", "#b"}},
    {wzlb_get_tokens, "a###b", "##", 9, 2, {"a", "b"}},
    {get_tokens_ex, R"("a,1",b,c)", ",", 9, 2, {R"(a,1")", "c"}},
};

TEST(Tokens, SplitLines) {
  for (const SplitCase& c : kSplitCases) {
    SCOPED_TRACE(std::string(c.text) + " at " + c.delimiter);
    std::string text(c.text);
    char* fields[9] = {};
    ASSERT_EQ(c.split(text.data(), fields, mutable_text(c.delimiter), c.max_fields), c.count);
    EXPECT_EQ(Fields(fields, fields + c.count), c.fields);
    EXPECT_EQ(fields[c.count], nullptr) << "stored more than it reports";
  }
  for (Splitter split : {get_tokens, get_tokens_ex2, wzlb_get_tokens, get_tokens_ex}) {
    char* fields[2] = {};
    EXPECT_EQ(split(nullptr, fields, mutable_text(","), 2), 0);
  }
}

TEST(Tokens, TokenizerKeepsAPositionPerThread) {
  char text[] = "a, b, ";
  EXPECT_STREQ(wz_strtok(text, ", "), "a");
  std::thread([] {
    char other[] = "1, 2";
    EXPECT_EQ(wz_strtok(nullptr, ", "), nullptr);
    EXPECT_STREQ(wz_strtok(other, ", "), "1");
  }).join();
  EXPECT_STREQ(wz_strtok(nullptr, ", "), "b");
  EXPECT_STREQ(wz_strtok(nullptr, ", "), "");
  EXPECT_EQ(wz_strtok(nullptr, ", "), nullptr);
}

TEST(Tokens, Count) {
  EXPECT_EQ(wzlb_get_token_count(mutable_text("a,b,,"), ','), 3);
  EXPECT_EQ(wzlb_get_token_count(mutable_text("a"), ','), 0);
  EXPECT_EQ(wzlb_get_token_count(mutable_text(""), ','), -1);
  EXPECT_EQ(wzlb_get_token_count(nullptr, ','), -1);
}

TEST(Strings, NumericTests) {
  const std::tuple<const char*, int, int, int> cases[] = {
      {"", 1, 1, 1},    {"12", 1, 1, 1},    {"12a", 0, 0, 0}, {"-12", 0, 1, 0}, {"--1", 0, 0, 0},
      {"1.2", 0, 0, 1}, {"1.2.3", 0, 0, 0}, {"+1", 0, 0, 0},  {" 1", 0, 0, 0}};
  for (const auto& [text, numeric, negative, floating] : cases) {
    EXPECT_EQ(wz_is_numeric(mutable_text(text)), numeric) << text;
    EXPECT_EQ(wz_is_numeric_for_negative(mutable_text(text)), negative) << text;
    EXPECT_EQ(wz_is_float(mutable_text(text)), floating) << text;
  }
}

TEST(Strings, TrimCaseAndReverse) {
  char padded[] = " \t\r\n a b\v \n\t";
  EXPECT_STREQ(wzlb_trim(padded), "a b\v");
  char blanks[] = "   ";
  EXPECT_STREQ(wzlb_trim(blanks), "");
  char mixed[] = "aB1\xe4";
  EXPECT_STREQ(wzlb_strupper(mixed), "AB1\xe4");
  EXPECT_STREQ(wzlb_strlower(mixed), "ab1\xe4");
  char reversed[6] = "?????";
  EXPECT_EQ(wzlb_strrev(reversed, mutable_text("abc"), 2), reversed);
  EXPECT_STREQ(reversed, "ba");
  EXPECT_STREQ(wzlb_strrev(reversed, mutable_text("abc"), 5), "cba");
  EXPECT_STREQ(wzlb_strrev(reversed, reversed, 3), "abc") << "in place";
  EXPECT_STREQ(wzlb_strrev(reversed, mutable_text("abc"), -1), "");
}

TEST(Strings, VariableNames) {
  for (const char* name : {"a", "Order_1"}) {
    EXPECT_EQ(validate_var(mutable_text(name)), 0) << name;
  }
  for (const char* name : {"", "_a", "1a", "a-b", "a b", "a\xe4"}) {
    EXPECT_EQ(validate_var(mutable_text(name)), -1) << name;
  }
}

TEST(Strings, TimesAndNumbers) {
  const std::pair<const char*, int> times[] = {{"5", 5000},
                                               {"2:05", 125000},
                                               {"02:00:00", 7200000},
                                               {"1:1:1.25", 3661025},
                                               {"7x", 7000},
                                               {"", -1},
                                               {"x", -1},
                                               {"99999999999999999999:0:0", INT_MAX}};
  for (const auto& [text, milliseconds] : times) {
    EXPECT_EQ(get_time_from_format(mutable_text(text)), milliseconds) << text;
  }
  const std::pair<const char*, int> numbers[] = {
      {" \t-12", -12}, {"+7", 7}, {"", 0}, {"99999999999999999999", INT_MAX}};
  for (const auto& [text, expected] : numbers) {
    int number = -99;
    EXPECT_EQ(wzlb_atoi(text, &number), 0) << text;
    EXPECT_EQ(number, expected) << text;
  }
  int number = 3;
  testing::internal::CaptureStderr();
  EXPECT_EQ(wzlb_atoi("1x2", &number), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Error: Input contains non-numeric data x on given string = 1x2\n");
}

TEST(Strings, ReadsLinesOfAFile) {
  FILE* file = std::tmpfile();
  std::fputs("one\nlonger\nlast", file);
  std::rewind(file);
  char line[5];
  for (const char* expected : {"one\n", "long", "er\n", "last"}) {
    EXPECT_STREQ(wzlb_fgets(line, sizeof line, file), expected);
  }
  EXPECT_EQ(wzlb_fgets(line, sizeof line, file), nullptr);
  std::fclose(file);
}

TEST(WorkDirectory, IsSetWithoutSetUpAndKeepsOnlyPathsThatFit) {
  const char* root = std::getenv("VSD_ROOT");
  const std::string initial(g_wz_wdir);
  EXPECT_EQ(initial, root != nullptr ? root : std::filesystem::current_path().string());
  wzlb_set_wdir("/srv/services");
  wzlb_set_wdir(std::string(sizeof g_wz_wdir, 'x').c_str());
  wzlb_set_wdir("");
  wzlb_set_wdir(nullptr);
  EXPECT_STREQ(g_wz_wdir, "/srv/services");
  wzlb_set_wdir(initial.c_str());
}

}  // namespace
