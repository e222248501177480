// The script's search, between buffers and variables.
#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::expect_in_order;
using wz::test::ScriptTest;

constexpr char kInputKind[] =
    "Error: wz_save_searched_string(): Input type must be either WZ_ARG_IS_BUF or WZ_ARG_IS_PARAM.";
constexpr char kOutputKind[] =
    "Error: wz_save_searched_string(): Output type must be either WZ_ARG_IS_BUF or "
    "WZ_ARG_IS_PARAM.";
constexpr char kNoInput[] =
    "Error: wz_save_searched_string(): Input buffer is empty. Input buffer should not be empty.\n";
constexpr char kNoBoundary[] =
    "Error: wz_save_searched_string(): Either lb or rb is empty. lb and rb should not be empty.\n";
constexpr char kOrdinal[] =
    "Error: wz_save_searched_string(): ord must be greater than 0 or use macro WZ_ORD_ANY or "
    "WZ_ORD_ALL.\n";

class SearchTest : public ScriptTest {
 protected:
  void SetUp() override { serve("wz_scratch_var(page); wz_scratch_array(list, size=2);"); }
};

TEST_F(SearchTest, CutsBuffers) {
  const struct {
    const char* text;
    int in_type, out_type;
    const char *lb, *rb;
    int ord, offset, length;
    int result;
    const char *out, *message;
  } cases[] = {
      {"a<b>c", 0, 0, "<", ">", 1, 0, -1, 1, "b", ""},
      {"<1><22><3>", 0, 0, "<", ">", 2, 1, 5, 1, "2", ""},
      {"<1><22>", 0, 0, "<", ">", 3, 0, -1, -1, "", ""},
      {"a<>", 0, 0, "<", ">", 1, 0, -1, 0, "", ""},
      {"<<1<<2>>3>>", 0, 0, "<<", ">>", 2, 0, -1, 1, "2", ""},
      {"a<b>", 0, 0, "<", ">", 1, 0, 0, 0, "", ""},
      {"", 0, 0, "<", ">", 1, 0, -1, -1, "", ""},
      {"ABC1;", 0, 0, "abc", ";", 1, 0, -1, -1, "", ""},
      {"<1><2>", 0, 0, "<", ">", -1, 0, -1, 2, "<1><2>", ""},
      {"12", 0, 0, "<", ">", -1, 0, -1, -1, "12", ""},
      {"a<b>", 0, 0, "<", ">", -2, 0, -1, 1, "b", ""},
      {"ab", 0, 0, "<", ">", -2, 0, -1, 0, "", ""},
      {"a<b>", 2, 0, "<", ">", 1, 0, -1, -3, "old", kInputKind},
      {nullptr, 0, 0, "<", ">", 1, 0, -1, -3, "old", kNoInput},
      {nullptr, 1, 0, "<", ">", 1, 0, -1, -3, "old", kNoInput},
      {"a<b>", 0, 0, nullptr, ">", 1, 0, -1, -3, "old", kNoBoundary},
      {"a<b>", 0, 0, "<", "", 0, 0, -1, -3, "old", kNoBoundary},
      {"a<b>", 0, 0, "<", ">", 0, 0, -1, -3, "old", kOrdinal},
      {"a<b>", 0, 0, "<", ">", -3, 0, -1, -3, "old", kOrdinal},
      {"a<b>", 0, 2, "<", ">", 1, 0, -1, 1, "old", kOutputKind},
  };
  for (const auto& c : cases) {
    char out[16] = "old";
    testing::internal::CaptureStderr();
    EXPECT_EQ(wz_save_searched_string(c.in_type, arg(c.text), c.out_type, out, arg(c.lb), arg(c.rb),
                                      c.ord, c.offset, c.length),
              c.result)
        << (c.text != nullptr ? c.text : "null") << c.ord;
    EXPECT_STREQ(out, c.out);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message);
  }
}

int search_to(const char* in, const char* out, int ord) {
  return wz_save_searched_string(WZ_ARG_IS_PARAM, arg(in), WZ_ARG_IS_PARAM, arg(out), arg("<"),
                                 arg(">"), ord, 0, -1);
}

TEST_F(SearchTest, CutsVariables) {
  set("page", "<1><><3>");
  EXPECT_EQ(search_to("page", "list_2", 3), 1);
  EXPECT_EQ(element("list", 2), "3");
  EXPECT_EQ(search_to("page", "list_2", 2), 1);  // the name counts, not what was saved
  EXPECT_EQ(element("list", 2), "");
  EXPECT_EQ(search_to("page", "page", 1), 1);
  EXPECT_EQ(value("page"), "1");
  EXPECT_EQ(search_to("page", "page", 1), -1);
  EXPECT_EQ(value("page"), "");
  EXPECT_EQ(search_to("page", "page", WZ_ORD_ANY), -1);
  EXPECT_EQ(search_to("<a>", "page", 1), 1);  // no variable: the reference itself is the text
  EXPECT_EQ(value("page"), "a");
}

TEST_F(SearchTest, CutsLongNames) {
  const std::string name(125, 'n');
  serve("wz_scratch_var(" + name + ");");
  set(name, "<b>");
  EXPECT_EQ(search_to((name + "more").c_str(), name.c_str(), 1), 1);
  EXPECT_EQ(value(name), "b");
}

TEST_F(SearchTest, SearchesInPlace) {
  char text[] = "a<b<c>d>";
  EXPECT_EQ(wz_save_searched_string(WZ_ARG_IS_BUF, text, WZ_ARG_IS_BUF, text, arg("<"), arg("d"), 1,
                                    0, -1),
            1);
  EXPECT_STREQ(text, "b<c>");
  EXPECT_EQ(wz_save_searched_string(WZ_ARG_IS_BUF, text, WZ_ARG_IS_BUF, nullptr, arg("<"), arg(">"),
                                    1, 0, -1),
            -3);
}

TEST_F(SearchTest, Traces) {
  start_logs();
  set("page", "<v>");
  search_to("page", "page", 1);
  expect_in_order(debug_log(), {"Method called", "out_buf_ptr = [v]"});
}

}  // namespace
