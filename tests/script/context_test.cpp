// Names, array references and the evaluation buffer.
#include <climits>

#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::ScriptTest;

class ContextTest : public ScriptTest {};

TEST_F(ContextTest, TakesArrayReferencesApart) {
  serve("wz_scratch_array(a_b, size=2); wz_scratch_var(plain); wz_date_var(today, format=\"%Y\");");
  // A null base stands for no reference.
  const std::tuple<std::string, const char*, int> cases[] = {
      {"a_b_2", "a_b", 2},      {"a_b_0", "a_b", 0},         {"a_b_99999999999", "a_b", INT_MAX},
      {"a_b_count", "a_b", -1}, {"a_b_COUNT", nullptr, 7},   {"a_b_1x", nullptr, 7},
      {"a_b_", nullptr, 7},     {"a_b", nullptr, 7},         {"plain_Count", "plain", -1},
      {"plain_1", nullptr, 7},  {"today_count", nullptr, 7}, {"nothing_1", nullptr, 7}};
  for (const auto& [reference, base, expected] : cases) {
    int index = 7;
    const int length = static_cast<int>(reference.size());
    std::string name = reference + "_1";  // behind the given length
    const int found = is_array_variable(name.data(), name.data() + length, length, &index);
    EXPECT_EQ(found, base != nullptr ? service().find_variable(base) : -1) << reference;
    EXPECT_EQ(index, expected) << reference;
  }
  EXPECT_EQ(is_array_variable(nullptr, nullptr, 3, nullptr), -1);
}

TEST_F(ContextTest, ClassifiesIndexes) {
  EXPECT_EQ(valid_array_idx(arg("count")), 1);
  EXPECT_EQ(valid_array_idx(arg("007")), 0);
  EXPECT_EQ(valid_array_idx(arg("")), 0);
  for (const char* other : {"Count", "counts", "-1", "1 ", "x"}) {
    EXPECT_EQ(valid_array_idx(arg(other)), -1) << other;
  }
}

// The scripts' functions without a connection, with one that matched no service and with a service
// that has no variables.
TEST_F(ContextTest, ResolvesNothingWithoutVariables) {
  serve("wz_scratch_var(a);");
  connection unmatched{};
  scontents empty_service[2]{};
  cr_scontents empty_block{};
  empty_service[0].cr_scptr_idx =
      reinterpret_cast<char*>(&empty_block) - reinterpret_cast<char*>(&empty_service[0]);
  connection without_variables{};
  without_variables.scptr = empty_service;
  for (connection* current : {static_cast<connection*>(nullptr), &unmatched, &without_variables}) {
    connection* const before = std::exchange(cur_cptr, current);
    EXPECT_EQ(eval("x{a}{a_1}{a_count}y"), "x{a}{a_1}{a_count}y");
    EXPECT_EQ(wz_save_string("v", "a"), -1);
    EXPECT_EQ(wz_get_int_val(arg("a")), 0);
    EXPECT_EQ(wz_get_value_from_cptr() == nullptr, current == nullptr);
    EXPECT_EQ(wz_get_http_hdr(arg("Host")), nullptr);
    cur_cptr = before;
  }
}

TEST_F(ContextTest, GrowsTheBufferInSteps) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process whose buffer is new
  EXPECT_EXIT(
      {
        char here[1];
        EXPECT_EQ(increase_string_buf(), 0);                  // 1024
        EXPECT_EQ(check_string_buf(0, 1022, here), here);     // the last value that fits
        char* const grown = check_string_buf(0, 1023, here);  // 2048: the test is >=
        EXPECT_NE(grown, here);
        EXPECT_EQ(check_string_buf(24, 2022, here), here);
        // A hundred steps at once: the capacity is what single steps would reach.
        EXPECT_NE(check_string_buf(2046, 1024 * 100, here), here);
        EXPECT_EQ(check_string_buf(0, 1024 * 102 - 2, here), here);
        EXPECT_NE(check_string_buf(0, 1024 * 102 - 1, here), here);
        std::exit(::testing::Test::HasFailure() ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(ContextTest, SurvivesGrowthThatFails) {
  serve("wz_scratch_var(a);");
  wz_save_string("value", "a");
  EXPECT_EQ(eval("{a}"), "value");
  char here[1];
  testing::internal::CaptureStderr();
  EXPECT_EQ(check_string_buf(INT_MAX - 10, 100, here), nullptr);
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(text.substr(0, 15), "vsd_string_api|");
  EXPECT_NE(text.find("|increase_string_buf|string_buffer|WZLB: Trying to realloc a negative or 0 "
                      "size (-"),
            std::string::npos);
  EXPECT_NE(text.find(") for index -1\nRelloc failed\n"), std::string::npos);
  EXPECT_EQ(eval("{a}!"), "value!");
}

}  // namespace
