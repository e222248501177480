#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "libwzcore/internal/trace.h"

namespace {

using wz::mutable_text;
using Fields = std::vector<std::pair<std::string, std::string>>;

// A record that starts out dirty, and the message of a failure.
struct Parsed {
  std::unique_ptr<WZApi> api = std::make_unique<WZApi>();
  std::string message;
  int result;

  explicit Parsed(const std::string& line, int trim = 1, int escape = 1) : message(70000, '\0') {
    std::memset(api.get(), 'x', sizeof *api);
    std::string text = line;
    result =
        parse_api_ex(api.get(), text.data(), mutable_text("a.wz"), message.data(), 7, trim, escape);
    EXPECT_EQ(text, line);
    message.resize(message.find('\0'));
  }

  [[nodiscard]] Fields fields() const {
    Fields found;
    for (int i = 0; i < api->num_tokens; ++i) {
      found.emplace_back(api->api_fields[i].keyword, api->api_fields[i].value);
    }
    return found;
  }
};

std::string message_for(const std::string& continuation, const std::string& line) {
  return "Error: parameter declaration in file 'a.wz' at line '7' is not in correct format - " +
         continuation + "\nLine = [" + line + "]";
}

struct GoodCase {
  const char* line;
  int trim;
  int escape;
  const char* name;
  Fields fields;
};

const GoodCase kGood[] = {
    {"Api()", 1, 1, "Api", {{"", ""}}},
    {" \tApi \t( Var\t, A ) ; \t", 1, 1, "Api", {{"Var", ""}, {"A", ""}}},
    {"(a,)", 1, 1, "", {{"a", ""}, {"", ""}}},
    {"Api(A=(1), B=2)) ", 1, 1, "Api", {{"A", "(1)"}, {"B", "2)"}}},
    {"Api(a b = c = d ,e)", 1, 1, "Api", {{"a b", "c = d"}, {"e", ""}}},
    {"Api(A =  b c  )", 0, 1, "Api", {{"A", "  b c  "}}},
    {R"(Api(A = " b c " ,B))", 1, 1, "Api", {{"A", " b c "}, {"B", ""}}},
    {R"(Api(A=",,,x,,"))", 1, 0, "Api", {{"A", ",,,x,,"}}},
    {R"(Api(A=dropped "kept"))", 1, 1, "Api", {{"A", "kept"}}},
    // Escapes, resolved before the blanks are cut.
    {R"(Api(A="\b\f\n\r\t\v\q\"\\"))", 1, 1, "Api", {{"A", "\b\f\n\r\t\v\\q\"\\"}}},
    {R"(Api(A="x\\",B="\\\"y"))", 1, 1, "Api", {{"A", "x\\"}, {"B", "\\\"y"}}},
    {R"(Api(A=\tx\t,B=x\n))", 1, 1, "Api", {{"A", "x"}, {"B", "x\n"}}},
    {R"(Api(A=\"x\",B=y\\"z\))", 1, 1, "Api", {{"A", "\"x\""}, {"B", "y\\\"z\\"}}},
    // Without escapes only a quote and a backslash lose the backslash before them.
    {R"(Api(A="\t\"\\x",B=\"\\\n))", 1, 0, "Api", {{"A", "\\t\"\\x"}, {"B", "\"\\\\n"}}},
};

TEST(ParseApi, TakesLinesApart) {
  for (const GoodCase& c : kGood) {
    SCOPED_TRACE(c.line);
    const Parsed parsed(c.line, c.trim, c.escape);
    EXPECT_EQ(parsed.result, 0) << parsed.message;
    EXPECT_STREQ(parsed.api->api_name, c.name);
    EXPECT_EQ(parsed.fields(), c.fields);
    EXPECT_EQ(parsed.api->api_fields[255].value[4096], '\0') << "not zeroed";
  }
}

constexpr char kBehindQuote[] =
    "unexpected character after closing double quote in field '1'. After closing double quote only "
    "spaces, tabs, ',', and ')' are allowed and after equal sign only one pair of double quote is "
    "allowed. For Ex: key=\"val1\" \"val2\" is not allowed.";

const std::tuple<const char*, int, const char*> kBad[] = {
    {"Api)", 1, "Start bracket is missing."},
    {")Api(", 1, "End bracket is missing."},
    {"Api(A=1);;", 1,
     "unexpected characters (;;) after closing bracket. After end bracket only space, tabs and "
     "semicolon are allowed."},
    {R"(Api(A="x" "y"))", 1, kBehindQuote},
    {R"(Api(A="x\ty,B=1))", 1,
     "starting and ending double quote is mismached in argument value 'x\ty,B=1'."},
    {R"(Api(A="x\\\"))", 1,
     R"(starting and ending double quote is mismached in argument value 'x\"'.)"},
    {"Api(a,=1)", 1, "argument name is missing before '=' in field '2'."},
};

TEST(ParseApi, RefusesWithTheWholeLine) {
  for (const auto& [line, escape, continuation] : kBad) {
    SCOPED_TRACE(line);
    const Parsed parsed(line, 1, escape);
    EXPECT_EQ(parsed.result, -1);
    EXPECT_EQ(parsed.message, message_for(continuation, line));
  }
}

std::string repeated(std::size_t count, const std::string& text = "x") {
  std::string whole;
  while (count-- > 0) {
    whole += text;
  }
  return whole;
}

struct LimitCase {
  const char* before;
  const char* after;
  std::size_t longest;
  const char* message;
};

// Blanks that are cut count for the API's name and for values, but not for argument names.
const LimitCase kLimits[] = {
    {" ", "(a)", 64, "API name length (65) is greater than max length (64)."},
    {"x ", "(a)", 62, "API name length (65) is greater than max length (64)."},
    {"( ", " )", 1024, "argument name length (1025) is greater than max length (1024)."},
    {"( ", " =1)", 1024, "argument name length (1025) is greater than max length (1024)."},
    {"(a= ", " )", 4094, "argument value length (4097) is greater than max length (4096)."},
    {"(a=\"\\n", "\")", 4095, "argument value length (4097) is greater than max length (4096)."},
};

TEST(ParseApi, BoundsLengths) {
  for (const LimitCase& c : kLimits) {
    EXPECT_EQ(Parsed(c.before + repeated(c.longest) + c.after).result, 0) << c.message;
    const std::string long_line = c.before + repeated(c.longest + 1) + c.after;
    EXPECT_EQ(Parsed(long_line).message, message_for(c.message, long_line));
  }
  std::string line = "Api(" + repeated(15000, "a,") + ")";
  line.resize(32000, ' ');
  EXPECT_EQ(Parsed(line).result, 0);
  line += ' ';
  EXPECT_EQ(Parsed(line).message,
            message_for("API line length (32001) is greater than max length (32000).", line));
  for (const int escape : {0, 1}) {
    EXPECT_GT(Parsed("(a=\"" + repeated(31995) + ")", 1, escape).message.size(), 64000U);
  }
}

TEST(ParseApi, CountsFieldsModulo256) {
  const Parsed wrapped("Api(first=1," + repeated(254, "a=2,") + "last=3)");
  EXPECT_EQ(wrapped.result, 0);
  EXPECT_EQ(wrapped.api->num_tokens, 0);
  EXPECT_STREQ(wrapped.api->api_fields[255].keyword, "last");
  const Parsed overwritten("Api(first=1," + repeated(255, "a=2,") + "last)");
  EXPECT_EQ(overwritten.fields(), (Fields{{"last", ""}}));
}

}  // namespace
