// The search engine, and the script's search from buffer to buffer without a host.
#include <gtest/gtest.h>
#include <wz/wz_script.h>
#include <wz/wzlb.h>

#include <set>
#include <string>
#include <vector>

#include "libwzcore/internal/trace.h"
#include "tests/support/core_log.h"

namespace {

using wz::mutable_text;
using wz::test::expect_in_order;
using std::string_literals::operator""s;
using Values = std::vector<std::string>;

constexpr const char* kNull = "(null)";

std::string text_of(const char* value, unsigned int length) {
  return value != nullptr ? std::string(value, length) : kNull;
}

// A host's declaration, run over a text; the entry is released at the end.
struct Engine {
  std::string lb;
  std::string rb;
  int ordinal = 1;
  int offset = 0;
  int length = -1;
  char convert = 0;
  std::string methods = {};
  char ignore_case = 0;
  const char* lb_regex = nullptr;
  const char* rb_regex = nullptr;
  int lbmatch = WZ_LBMATCH_FIRST;
  int retain = 0;
  UserVarEntry entry{};
  int was_found = -1;

  Engine(std::string left, std::string right, int ord = 1)
      : lb(std::move(left)), rb(std::move(right)), ordinal(ord) {}
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  ~Engine() { free_var_value(&entry); }

  // The text gets a heap block of exactly its size, so that reading behind it is caught.
  int run(const std::string& text) {
    const std::vector<char> block(text.begin(), text.end());
    regex_t left{};
    regex_t right{};
    char flag = 0;
    if (lb_regex != nullptr && regcomp(&left, lb_regex, REG_EXTENDED) == 0) {
      flag |= WZ_SEARCH_LB_IS_REGEX;
    }
    if (rb_regex != nullptr && regcomp(&right, rb_regex, REG_EXTENDED | REG_NOSUB) == 0) {
      flag |= WZ_SEARCH_RB_IS_REGEX;
    }
    char* begin = const_cast<char*>(block.data());
    const int result = wzlb_get_search_var_value(
        mutable_text("var"), lb.data(), rb.data(), offset, length, begin, begin + block.size(),
        &was_found, ordinal, convert, methods.empty() ? 0 : 1, &entry, retain, methods.data(),
        static_cast<int>(methods.size()), ignore_case, &left, &right, flag, lbmatch,
        static_cast<int>(block.size()));
    regfree(&left);
    regfree(&right);
    return result;
  }
  std::string value_in(const std::string& text) {
    run(text);
    return value();
  }
  [[nodiscard]] std::string value() const { return text_of(entry.value.value, entry.length); }
  Values values_in(const std::string& text) {
    ordinal = WZ_ORD_ALL;
    const int result = run(text);
    EXPECT_EQ(result, static_cast<int>(entry.length));
    EXPECT_EQ(entry.flags, WZ_USER_VAR_IS_ARRAY);
    Values values;
    for (unsigned i = 0; i < entry.length; ++i) {
      values.push_back(text_of(entry.value.array[i].value, entry.value.array[i].length));
    }
    return values;
  }
};

TEST(SearchEngine, CutsMethodsAndConversions) {
  const struct {
    int offset, length;
    const char* methods;
    char convert;
    const char *text, *value;
  } cases[] = {
      {0, -1, "", 0, "[abcd]", "abcd"},
      {1, 2, "", 0, "[abcd]", "bc"},
      {-5, 9, "", 0, "[abcd]", "abcd"},
      {4, -1, "", 0, "[abcd]", kNull},
      {0, 0, "", 0, "[abcd]", ""},
      {0, -1, "\1", 0, "[abcd]", "dcba"},
      {0, -1, "5143", 0, "[ aB ]", "ba "},
      {0, -1, "62", 0, "[ \tab\r\n]", "AB"},
      {0, -1, "4", 0, "[  ]", ""},
      {0, -1, "A9", 0, "[ab]", "ab"},  // no methods
      {0, -1, "", VAR_CONVERT_TEXT_TO_URL, "[a b&]", "a%20b%26"},
      {0, -1, "", VAR_CONVERT_URL_TO_TEXT, "[a%20b]", "a b"},
      {0, -1, "", VAR_CONVERT_HTML_TO_URL, "[<]", "%3C"},
      {0, -1, "", VAR_CONVERT_URL_TO_HTML, "[%3C]", "<"},
      {0, -1, "", VAR_CONVERT_TEXT_TO_HTML, "[<]", "&lt;"},
      {0, -1, "", VAR_CONVERT_HTML_TO_TEXT, "[&lt;]", "<"},
      {0, -1, "", VAR_CONVERT_TEXT_TO_BASE64, "[a]", "YQ=="},
      {0, -1, "", VAR_CONVERT_BASE64_TO_TEXT, "[YQ==]", "a"},
      {0, -1, "", VAR_CONVERT_BASE64_TO_TEXT, "[YWJj\r\nZA==]", "abcd"},
      {0, -1, "2", VAR_CONVERT_TEXT_TO_HEX, "[k]", "4b"},
      {0, 0, "", VAR_CONVERT_TEXT_TO_HEX, "[k]", ""},
      {0, -1, "", 10, "[k]", "k"},
  };
  for (const auto& c : cases) {
    Engine engine("[", "]");
    engine.offset = c.offset;
    engine.length = c.length;
    engine.methods = c.methods;
    engine.convert = c.convert;
    EXPECT_EQ(engine.value_in(c.text), c.value) << c.text << c.methods << +c.convert;
  }
}

TEST(SearchEngine, TakesOtherBoundaries) {
  Engine caseless("Id=", "END");
  caseless.ignore_case = 1;
  EXPECT_EQ(caseless.value_in("x\0iD=7enD"s), "7");
  const struct {
    const char *lb, *rb, *text;
    Values values;
  } cases[] = {
      {"id[0-9]+=", ";", "id1=a;id=b;id22=c;", {"a", "c"}},
      {"[0-9]", "$", "a1b", {"b"}},
      {"^", ",", "a,b,", {"a"}},  // matches only at the start of the text
      {"x*", ";", "a;", {"a", kNull}},
      {"a", "b+", "a1bb a2b", {"1", "2"}},
      {"(a)(b)?", "\\.", "ab1.a2.", {"1", "2"}},
  };
  for (const auto& c : cases) {
    Engine engine("unused", "unused");
    engine.lb_regex = c.lb;
    engine.rb_regex = c.rb;
    EXPECT_EQ(engine.values_in(c.text), c.values) << c.lb;
  }
  Engine mixed("(", "unused");
  mixed.rb_regex = "[)]";
  EXPECT_EQ(mixed.value_in("\0(a\0)"s), "a\0"s);
}

TEST(SearchEngine, ChoosesAtRandom) {
  const std::string text = "<><a><><b><c";
  std::set<int> any;
  std::set<std::string> filled;
  for (int i = 0; i < 400; ++i) {
    Engine engine("<", ">", WZ_ORD_ANY);
    any.insert(engine.run(text));
    engine.ordinal = ORD_ANY_NON_EMPTY;
    const int chosen = engine.run(text);
    EXPECT_TRUE(chosen == 2 || chosen == 4) << chosen;
    filled.insert(engine.value());
  }
  EXPECT_EQ(any, (std::set<int>{1, 2, 3, 4}));
  EXPECT_EQ(filled, (std::set<std::string>{"a", "b"}));
  Engine none("<", ">", ORD_ANY_NON_EMPTY);
  EXPECT_EQ(none.run("<><>"), -1);
  EXPECT_EQ(none.was_found, 0);
}

TEST(SearchEngine, ReplacesOrRetains) {
  Engine engine("<", ">");
  EXPECT_EQ(engine.value_in("<kept>"), "kept");
  engine.retain = 1;
  EXPECT_EQ(engine.value_in("nothing"), "kept");
  EXPECT_EQ(engine.values_in("<a><b>"), (Values{"a", "b"}));
  engine.retain = 0;
  engine.ordinal = 0;
  EXPECT_EQ(engine.value_in("<a>"), kNull);
  EXPECT_EQ(engine.entry.flags, 0);
  EXPECT_TRUE(engine.values_in("nothing").empty());
}

TEST(SearchEngine, BoundsOverlappingValues) {
  const std::string text = std::string(20000, '<') + ">";  // 200 MB of values
  Engine engine("<", ">", WZ_ORD_ALL);
  const int kept = engine.run(text);
  EXPECT_GT(kept, 3500);
  EXPECT_LT(kept, 4000);
  int count = 0;
  char* copy = wzlb_save_searched_string(mutable_text(text.c_str()), mutable_text("<"),
                                         mutable_text(">"), WZ_ORD_ALL, 0, -1, &count);
  EXPECT_EQ(copy, text);
  EXPECT_EQ(count, 20000);
  WZLB_FREE(copy, "copy", -1);
}

TEST(SearchBoundary, ComparesInThreeWays) {
  char text[] = "a\0Bcd";
  const auto place = [&](char* found) { return found != nullptr ? found - text : -1; };
  EXPECT_EQ(place(find_lb_or_rb(text, mutable_text("B"), 0, 5, 1, 0)), -1);
  EXPECT_EQ(place(find_lb_or_rb(text, mutable_text("B"), 0, 5, 1, 1)), 2);
  EXPECT_EQ(place(find_lb_or_rb(text, mutable_text("Bcx"), 0, 5, 2, 1)), 2);
  EXPECT_EQ(place(find_lb_or_rb(text, mutable_text("d"), 0, 4, 1, 1)), -1);
  EXPECT_EQ(place(find_lb_or_rb(text, mutable_text("d"), 0, -1, 1, 1)), -1);
  EXPECT_EQ(place(find_lb_or_rb(text + 2, mutable_text("CD"), 1, 0, 0, 1)), 3);
  EXPECT_STREQ(mystr_casestr(mutable_text("aAbc"), mutable_text("aB")), "Abc");
  EXPECT_EQ(mystr_casestr(mutable_text("a"), mutable_text("ab")), nullptr);
  // Places that look like a match are compared in full only so often.
  const std::string alike = std::string(5000, 'a') + "xba";
  EXPECT_STREQ(find_lb_or_rb(mutable_text(alike.c_str()), mutable_text("axba"), 0, 0, 0, 0),
               "axba");
  for (const char* missing : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(mystr_casestr(mutable_text(missing), mutable_text("a")), nullptr);
    EXPECT_EQ(mystr_casestr(mutable_text("a"), mutable_text(missing)), nullptr);
  }
}

TEST(SearchHelpers, DecodeDigitsAndKeepRows) {
  EXPECT_EQ(hex_to_int('7') * 100 + hex_to_int('a'), 710);
  EXPECT_EQ(hex_to_int('F') * 100 + hex_to_int('g'), 1500);
  EXPECT_EQ(hex_to_ascii('f', '1'), 0xF1);
  char text[8];
  convert_hex_to_char(mutable_text("4a4B4"), text);
  EXPECT_STREQ(text, "JK");
  TempArrayNodeVar rows;
  wzlb_init_temparray(&rows);
  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(create_temparrayval_table_entry(&rows), i);
    rows.tempTagArrayVal[i].value = static_cast<char*>(WZLB_MALLOC(1, "row"));
  }
  EXPECT_EQ(rows.total_tmp_tagvar, 40);
  free_tmp_arr_table(&rows);
  EXPECT_EQ(rows.tempTagArrayVal, nullptr);
  EXPECT_EQ(rows.total_tmp_tagvar + rows.max_tmp_tagvar, 0);
}

TEST(SearchTrace, TellsEveryStep) {
  const auto traces = [](const char* text, const char* lb, int ord, int offset) {
    return wz::test::core_log_of(-1, WZLB_MODULE_SEARCH, [&] {
      int count = 0;
      char* found = wzlb_save_searched_string(mutable_text(text), mutable_text(lb),
                                              mutable_text(">"), ord, offset, 1, &count);
      WZLB_FREE(found, "found", -1);
    });
  };
  expect_in_order(
      traces("a<bc>", "<", 1, 0),
      {"Method Called.", "req_ord = 1", "searchin_uvtable = 0x",
       "str = a<bc>, sub_str = <, ignore_case = 0", "Ignore case = 0 and binary flag = 0",
       " Return ptr = <bc>", "Found LB of search var", "sub_str = >", "Found RB of search var",
       "Search Var value_length = 2, copy_length = 1 for SearchInSearch",
       "searchin_uvtable->length = 1", "Freeing searchin_uvtable"});
  expect_in_order(traces("<b>", "<", 1, 1),
                  {"Either value length is <= 0 or saveoffset is >= value_length. Treating it as "
                   "null value. value_length = 1 for SearchInSearch"});
  expect_in_order(traces("<b>", "<", 2, 0),
                  {"2th LB not found in the response", "LB not found for search var"});
  expect_in_order(traces("a<b", "<", 1, 0), {"Found LB", "RB not found for search var"});
  expect_in_order(
      traces("<b>", "<", WZ_ORD_ANY, 0),
      {"Case Of ord any", "ORD=ANY, got total 1 vars. Randomly generated actual_ord = 1",
       "Found RB of search var"});
}

}  // namespace
