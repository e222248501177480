// Saving values and reading them back.
#include <cstring>

#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::expect_in_order;
using wz::test::ScriptTest;

class SaveTest : public ScriptTest {
 protected:
  void SetUp() override {
    serve(R"(
        wz_scratch_var(a); wz_scratch_array(list, size=2);
        wz_date_var(today, format="%Y"); wz_request_var(head, part=head);)");
  }
};

TEST_F(SaveTest, StoresScalars) {
  EXPECT_EQ(wz_save_string("text", "a"), 0);
  EXPECT_EQ(value("a"), "text");
  EXPECT_EQ(wz_save_string("", "a"), 0);
  EXPECT_EQ(value("a"), "");
  EXPECT_EQ(wz_save_string_ex("a b&c", "a", WZ_FLAG_URL_ENCODE), 0);
  EXPECT_EQ(value("a"), "a%20b%26c");
  EXPECT_EQ(wz_save_string_ex("%41%00B", "a", WZ_FLAG_URL_DECODE), 0);
  EXPECT_EQ(value("a"), "A");
  EXPECT_EQ(wz_save_binary_val("a\0bcdef", "a", 5), 0);
  EXPECT_EQ(value("a"), std::string("a\0bcd", 5));
  EXPECT_EQ(entry("a").value.value[5], '\0');
  EXPECT_EQ(wz_save_var_val("unread", "a", 0, WZ_FLAG_URL_ENCODE, 1), 0);
  EXPECT_EQ(value("a"), "");
}

TEST_F(SaveTest, RefusesWhatCannotBeSaved) {
  const std::optional<std::string> head = value("head");
  for (const char* name : {"today", "head", "http_method", "fwd_port", "nothing", "nothing_1",
                           "a_1", "list_0", "list_x", ""}) {
    EXPECT_EQ(wz_save_string("x", name), -1) << name;
  }
  EXPECT_EQ(value("head"), head);
  EXPECT_EQ(wz_save_string(nullptr, "a"), -1);
  EXPECT_EQ(wz_save_string("x", nullptr), -1);
}

TEST_F(SaveTest, KnowsTheWritableKinds) {
  for (int kind = 0; kind < 32; ++kind) {
    set_kind("a", kind);
    set_kind("list", kind);
    const bool writable =
        std::string_view("\2\3\5\16\17\24\27\30\31").find(static_cast<char>(kind)) !=
        std::string_view::npos;
    if (kind != VSD_GLOBAL_INDEX_VAR) {  // goes to a data source
      EXPECT_EQ(wz_save_string("x", "a"), writable ? 0 : -1) << kind;
      EXPECT_EQ(wz_save_string("x", "list"), writable ? 0 : -1) << kind;
      // Of the writable kinds only 14 cannot be indexed.
      EXPECT_EQ(wz_save_string("x", "list_2"), writable && kind != 14 ? 0 : -1) << kind;
    }
  }
}

TEST_F(SaveTest, LeavesNoValueAfterANegativeLength) {
  wz_save_string("old", "a");
  testing::internal::CaptureStderr();
  EXPECT_EQ(wz_save_binary_val("new", "a", -5), -1);
  EXPECT_NE(
      testing::internal::GetCapturedStderr().find("WZLB: Trying to malloc a negative size (-"),
      std::string::npos);
  EXPECT_EQ(entry("a").value.value, nullptr);
  EXPECT_EQ(entry("a").length, 0U);
  EXPECT_EQ(wz_save_var_val("new", "a", -5, WZ_FLAG_URL_ENCODE, 1), -1);
}

TEST_F(SaveTest, SavesAValueOntoItself) {
  wz_save_string("own value", "a");
  EXPECT_EQ(wz_save_string(entry("a").value.value + 4, "a"), 0);
  EXPECT_EQ(value("a"), "value");
  EXPECT_EQ(wz_save_string(wz_eval_string(arg("<{a}>")), "a"), 0);
  EXPECT_EQ(value("a"), "<value>");
  wz_save_string("element", "list_2");
  EXPECT_EQ(wz_save_string(entry("list").value.array[1].value + 3, "list_2"), 0);
  EXPECT_EQ(element("list", 2), "ment");
}

TEST_F(SaveTest, StoresElements) {
  EXPECT_EQ(wz_save_string("two", "list_2"), 0);
  EXPECT_EQ(wz_save_string("one", "list"), 0);
  EXPECT_EQ(eval("{list_1}{list_2}"), "onetwo");
  // Neither a length nor an encoding flag has an effect on elements.
  EXPECT_EQ(wz_save_var_val("a b", "list_1", 1, WZ_FLAG_URL_ENCODE, 0), 0);
  EXPECT_EQ(element("list", 1), "a b");
  testing::internal::CaptureStderr();
  EXPECT_EQ(wz_save_string("x", "list_3"), 0);
  EXPECT_EQ(wz_save_string("x", "list_count"), 0);
  EXPECT_EQ(wz_save_string("x", "a_count"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Invalid index of the variable. Index = 3, Count = 2\n"
            "Invalid index of the variable. Index = -1, Count = 2\n"
            "Invalid index of the variable. Index = -1, Count = 0\n");
}

TEST_F(SaveTest, KeepsBinaryValuesOutOfTheLog) {
  start_logs();
  wz_save_string_ex("a b", "a", WZ_FLAG_URL_ENCODE);
  wz_save_binary_val("secret", "a", 6);
  const std::string log = debug_log() + "\n";
  expect_in_order(
      log, {"|Method called. param_value = a b, param_name = a, value_length = 3, flag = 1\n",
            "|Final saved variable value = a%20b, length of the saved value is 5 and "
            "length of variable value = 5\n",
            "|Method called. param_name = a, value_length = 6, flag = 0\n",
            "|Final saved variable saved value legth is 6\n"});
  EXPECT_EQ(log.find("secret"), std::string::npos);
}

TEST_F(SaveTest, ReadsNumbers) {
  EXPECT_EQ(wz_set_int_val(arg("a"), -12), 0);
  EXPECT_EQ(value("a"), "-12");
  EXPECT_EQ(wz_get_int_val(arg("a")), -12);
  wz_save_string(" 2.5e1x", "list_1");
  EXPECT_EQ(wz_get_int_val(arg("list_1")), 2);
  EXPECT_EQ(wz_get_float_val(arg("list_1")), 25.0);
  EXPECT_EQ(wz_get_double_val(arg("list_count")), 2.0);
  EXPECT_EQ(wz_get_double_val(arg("nothing")), 0.0);
  const std::string longest(4095, 'n');
  const std::string too_long(4096, 'n');
  testing::internal::CaptureStdout();
  EXPECT_EQ(wz_get_int_val(arg(longest.c_str())), 0);
  EXPECT_EQ(wz_get_int_val(arg(too_long.c_str())), -1);
  EXPECT_EQ(wz_get_float_val(arg(too_long.c_str())), -1.0);
  EXPECT_EQ(wz_get_double_val(arg("x{a")), -1.0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "wz_get_int_val: too big WZ variable name (" + too_long +
                ")\nwz_get_float_val: too big WZ variable name (" + too_long +
                ")\nInvalid WZ variable name (x{a) contains {\n");
}

TEST_F(SaveTest, CopiesBounded) {
  const std::tuple<int, int, const char*> cases[] = {
      {5, 0, "text"}, {4, 1, "tex"}, {1, 1, ""}, {0, -1, ""}, {-3, -1, ""}};
  for (const auto& [size, result, text] : cases) {
    char buffer[8] = "#######";
    EXPECT_EQ(wz_chk_strcpy(buffer, arg("text"), size), result) << size;
    EXPECT_STREQ(buffer, text) << size;
  }
}

TEST_F(SaveTest, KeepsTextsWithTheConnection) {
  wz_save_value_to_cptr(arg("one"));
  wz_save_value1_to_cptr(arg(std::string(300, 'x').c_str()));
  wz_save_value_to_cptr(arg(""));
  wz_save_value_to_cptr(nullptr);
  EXPECT_STREQ(wz_get_value_from_cptr(), "one");
  EXPECT_EQ(wz_get_value1_from_cptr(), std::string(255, 'x'));
}

}  // namespace
