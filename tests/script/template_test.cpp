// Template evaluation.
#include <cstring>

#include "tests/script/script_test.h"
#include "tests/support/capture.h"

namespace {

using wz::test::arg;
using wz::test::expect_in_order;
using wz::test::ScriptTest;

class TemplateTest : public ScriptTest {
 protected:
  void SetUp() override {
    serve(R"(
        wz_scratch_var(a); wz_scratch_var(unset); wz_scratch_var(bytes); wz_scratch_var(odd);
        wz_scratch_array(list, size=3); wz_search_var(none, LB=x, RB=y, ORD=ALL);
        wz_date_var(today, format="%Y-%m-%d");)");
    set("a", "value");
    set("bytes", std::string_view("x\0y", 3));
    wz_save_string("one", "list_1");
    wz_save_string("three", "list_3");
  }
};

TEST_F(TemplateTest, Substitutes) {
  const std::pair<const char*, const char*> cases[] = {
      {"plain } text", "plain } text"},
      {"{a}", "value"},
      {"{a}{a}-{a}", "valuevalue-value"},
      {"{a rest}{a,rest}{a\trest}", "valuevaluevalue"},
      {"[{unset}]", "[]"},
      {"[{}][{ a}]", "[{}][{ a}]"},
      {"{unknown}{unknown_1}{a_1}{list_x}", "{unknown}{unknown_1}{a_1}{list_x}"},
      {"{list}{list_1}{list_2}{list_3}", "oneonethree"},
      {"{list_0}{list_COUNT}", "{list_0}{list_COUNT}"},
      {"{list_count}{none_count}|{none}|", "3||"},
      {"{a_count}{a_COUNT}{unset_count}", "110"},
      {"{today_count}", "{today_count}"},
      {"{a} {a", "value {a"},
      {"{a!}{unknown_with_a_long_name!}", "{a!}{unknown_with_a_long_name!}"},
      {"{", "{"},
      // The reference runs to the first brace that closes, so this one has no name.
      {"{ \"k\": \"{a}\" }", "{ \"k\": \"{a}\" }"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(eval(text), expected) << text;
  }
  EXPECT_STREQ(wz_eval_string(nullptr), "");
  EXPECT_EQ(std::memcmp(wz_eval_string(arg("<{bytes}>")), "<x\0y>", 6), 0);
}

// Pieces are copied and searched in blocks: every length and place has its turn.
TEST_F(TemplateTest, SubstitutesAtEveryPlace) {
  for (std::size_t n = 0; n <= 80; ++n) {
    const std::string value(n, 'v');
    const std::string before(80 - n, 'b');
    set("a", value);
    const std::string text = before + "{a}" + value + "{a " + before + "}" + before + "{a}{";
    EXPECT_EQ(eval(text.c_str()), before + value + value + value + before + value + "{");
  }
}

TEST_F(TemplateTest, ReportsIndexesBeyondTheArray) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(eval("{list_4 x}"), "{list_4 x}");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid index of the variable. Index = 4, Count = 3\n");
}

TEST_F(TemplateTest, CodesValuesButNotTheTemplate) {
  set("a", "a b&c");
  wz_save_string("%41%00B", "list_1");
  EXPECT_EQ(eval("{a}&{a_count}", WZ_FLAG_URL_ENCODE), "a%20b%26c&1");
  EXPECT_EQ(eval("%41{list}", WZ_FLAG_URL_DECODE), "%41A");
  EXPECT_EQ(eval("{a}", 3), "a b&c");
  set("a", "");
  EXPECT_EQ(eval("[{a}{unset}]", WZ_FLAG_URL_ENCODE), "[]");
}

TEST_F(TemplateTest, TakesComputedKinds) {
  // The day may change between the two readings of the clock.
  const auto expected = [](time_t now) {
    return wz::test::printed("%Y-%m-%d", now) + wz::test::printed("|%d", now + 86400);
  };
  const std::string before = expected(time(nullptr));
  const std::string dates = eval("{today}{today,|%d,+1}");
  EXPECT_TRUE(dates == before || dates == expected(time(nullptr))) << dates;
  EXPECT_EQ(eval("{http_method}{fwd_hostname}{fwd_port}{fwd_protocol}"), "GET");
  forward_to("backend", 65535, VSD_PROTO_HTTPS);
  EXPECT_EQ(eval("{fwd_protocol}://{fwd_hostname}:{fwd_port}"), "https://backend:65535");
  static_cast<connection*>(current().conn_link)->template_id_used = -1;
  EXPECT_EQ(eval("[{fwd_hostname}]"), "[]");
  static_cast<connection*>(current().conn_link)->flag = 0;
  EXPECT_EQ(eval("[{fwd_port}{fwd_protocol}]"), "[]");
  for (const int kind : {0, 1, 6, 7, 18, 19, 29, 300}) {
    set_kind("odd", kind);
    EXPECT_EQ(eval("[{odd}]"), "[]") << kind;
    EXPECT_EQ(eval("{odd_count}"), "{odd_count}") << kind;
  }
  for (const int kind : {8, 13, 19, 22, 300}) {
    set_kind("list", kind);
    EXPECT_EQ(eval("{list}"), "one") << kind;  // the flag of the entry counts before the kind
  }
}

TEST_F(TemplateTest, PrefersDeclaredNames) {
  serve("wz_scratch_var(fwd_port);");
  set("fwd_port", "own");
  EXPECT_EQ(eval("{fwd_port}{fwd_protocol}"), "own");
}

TEST_F(TemplateTest, ReusesItsBuffer) {
  char* const first = wz_eval_string(arg("{a}"));
  char* const second = wz_eval_string(arg("other"));
  EXPECT_EQ(first, second);
  EXPECT_STREQ(second, "other");
  // A result is a template too.
  set("a", "{list}");
  EXPECT_STREQ(wz_eval_string(wz_eval_string(arg("{a}{a}"))), "oneone");
  // A large value takes many steps at once.
  const std::string large(1 << 20, 'L');
  set("a", large);
  EXPECT_EQ(eval("<{a}>"), "<" + large + ">");
}

TEST_F(TemplateTest, CopiesIntoABuffer) {
  char buffer[4098];
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(wz_eval_string_buf(arg("{a}"), buffer), buffer);
  EXPECT_STREQ(buffer, "value");
  EXPECT_EQ(buffer[4096], '\0');
  EXPECT_EQ(buffer[4097], '#');
  for (const std::size_t length : {4095U, 4096U, 4097U, 5000U}) {
    set("a", std::string(length, 'v'));
    wz_eval_string_buf(arg("{a}"), buffer);
    EXPECT_EQ(std::strlen(buffer), std::min<std::size_t>(length, 4096)) << length;
  }
}

TEST_F(TemplateTest, WritesSingleValues) {
  char* const buffer = wz_eval_string(arg(""));
  EXPECT_EQ(apply_encode_decode(arg("a b"), 3, buffer, WZ_FLAG_URL_ENCODE, 0), 5);
  EXPECT_EQ(apply_encode_decode(arg("xyz"), 2, buffer + 5, WZ_FLAG_NONE, 5), 2);
  EXPECT_EQ(apply_encode_decode(arg("rest"), 0, buffer, WZ_FLAG_URL_ENCODE, 7), 0);
  EXPECT_EQ(std::string(buffer, 7), "a%20bxy");
  EXPECT_EQ(apply_encode_decode(nullptr, 3, buffer, WZ_FLAG_NONE, 0), 0);
  EXPECT_EQ(apply_encode_decode(arg("x"), -1, buffer, WZ_FLAG_NONE, 0), 0);
  char own[] = "......";
  EXPECT_EQ(apply_encode_decode(arg("a b"), 3, own, WZ_FLAG_URL_ENCODE, 1), 5);
  EXPECT_STREQ(own, "a%20b.");
  EXPECT_EQ(apply_encode_decode(arg("AB"), 2, nullptr, WZ_FLAG_NONE, 1), 2);
  EXPECT_EQ(std::string(buffer, 7), "aAB0bxy");
}

TEST_F(TemplateTest, Traces) {
  set_kind("odd", 29);
  start_logs();
  wz_eval_string_ex(arg("{a}{unset_count}{list_count}{list_3}{odd z}{no}."), 7);
  expect_in_order(
      debug_log() + "\n",
      {"|Method called. string = {a}{unset_count}{list_count}{list_3}{odd z}{no}., flag = 7\n",
       "|var_name = a\n",
       "|Variable a is not an array variable\n",
       "|Evalutaled str is value, len = 5\n",
       "|Method called\n",
       "|var_name = unset_count\n",
       "|var_hashcode = -1\n",
       "|Method called\n",
       "|var_start = [unset], var_length = 5\n",
       "|variable is not vector, and used with _count. Returning hashcode\n",
       "|Variable is not an array variable and used with _count\n",
       "|Variable is not an array variable and used with _count, value in user var table not "
       "found\n",
       "|value of buf_ptr=0\n",
       "|in count case and var length is 1\n",
       "|Variable list_3 is an array variable. array_idx = 3, "
       "cur_cptr->uvtable[uservar_idx].length = 3\n",
       "|wz_eval_string; Unknown Variable type  z}{no}.\n",
       "|Value of parameter is NULL. It will not go in buffer, returning from here\n",
       "|hashcode not found\n",
       "|copy_length = 1\n",
       "|Returning string = value03three{no}., length = 17\n"});
}

}  // namespace
