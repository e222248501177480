#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "libwzcore/internal/trace.h"
#include "tests/support/declaration_test.h"
#include "tests/support/statistics.h"

namespace {

using wz::mutable_text;
using namespace wz::test;

class RandomString : public DeclarationTest {
 protected:
  RandomString() : DeclarationTest("wzlb_random_string.cpp") {}

  int declare(const std::string& fields) {
    row_ = {};
    row_.len = row_.hash_code = row_.scon_idx = 77;
    std::string line = "RandomString(" + fields + ");";
    return wzlb_input_randomString_data(&row_, line.data(), 12, 5, mutable_text("session"), nullptr,
                                        mutable_text("script.c"));
  }

  std::string stored(wz_bigbuf_t offset) {
    return offset == WZ_BIGBUF_UNSET ? "unset" : big_buffer.c_str() + offset;
  }

  RandomStringTableEntry row_{};
};

TEST_F(RandomString, ReadsDeclarations) {
  struct Accepted {
    const char* fields;
    const char* char_set;
    std::array<int, 3> settings;  // min, max, refresh
  };
  const Accepted good[] = {
      {"v, Min=4, Max=4, Charset=abc", "abc", {4, 4, 1}},
      {"v, charsets=\"a-z,\\\" \", MAXIMUM=10, minimum=2, refresh=use", "a-z,\" ", {2, 10, 2}},
      {"v, min=1, max=2, Charset=-, REFRESHED=USED", "-", {1, 2, 2}},
      {"v, min=1, max=2, Charset=x, refresh=sessions, class=color.hex", "x", {1, 2, 1}},
      {"v, Class=person.name", "unset", {0, -1, 1}},
  };
  for (const int mode : {kTagged, kPlaced}) {
    for (const Accepted& c : good) {
      SCOPED_TRACE(c.fields);
      use_mode(mode);
      EXPECT_EQ(declare(c.fields), 0);
      EXPECT_EQ(stored(row_.name), "v");
      EXPECT_EQ(stored(row_.char_set), c.char_set);
      EXPECT_EQ((std::array{row_.min, row_.max, row_.refresh}), c.settings);
      EXPECT_EQ((std::array{row_.len, row_.hash_code, row_.scon_idx, row_.sess_idx}),
                (std::array{77, 77, 77, 5}));
      const bool has_class = std::string(c.fields).find("lass=") != std::string::npos;
      EXPECT_EQ(row_.faker_class_id >= 0, has_class);
      EXPECT_EQ(stored(row_.faker_class_args), "unset");
      EXPECT_EQ(reports.size(), 0U);
    }
  }
  EXPECT_EQ(declare("v, Class=\"number.integer;min=3;max=3\""), 0);
  EXPECT_EQ(stored(row_.faker_class_args), "min=3;max=3");
}

#define NAME_MISSING \
  "Random String parameter name is missing. It should be at very first position in API."
#define NOT_PROVIDED(option) "'" option "' option value is not provided in Random String parameter."

// In mode 2 an error in a field is told, and only the checks of the whole end the declaration.
TEST_F(RandomString, TellsEveryError) {
  struct Faulty {
    const char* fields;
    int result;
    std::vector<std::string> messages;
    std::vector<std::string> tags;  // one for all, or one for each
  };
  const Faulty faults[] = {
      {"v, Min=0, Max=5, Charset=a-z", -1, {NOT_PROVIDED("Minimum")}, {"1012132"}},
      {"v, Min=1, Max=5", -1, {NOT_PROVIDED("Character Set")}, {"1012132"}},
      {"v, Min=6, Max=5, Charset=a",
       -1,
       {"Minimum option value should be less than Maximum option value in Random String "
        "parameter."},
       {"1012044"}},
      {"v, Min=1, Max=5, Charset=a, Other",
       0,
       {"Option Other is invalid in Random String parameter."},
       {"1012130"}},
      {"v, Min=1, Max=5, Charset=a, REFRESH=NEVER",
       0,
       {"Unknown 'NEVER' option provided for 'Update Value On' in Random String parameter."},
       {"1012027"}},
      {"v, Min=1, Min=-2, Max=5, Max=, Charset=a, Charset=",
       0,
       {"'Minimum' option can only have numeric value.", NOT_PROVIDED("Maximum"),
        NOT_PROVIDED("Character Set")},
       {"1012043", "1012132", "1012132"}},
      {"v, Class=nobody.knows;x, Min=1, Max=5, Charset=a, Class=",
       0,
       {"'Class' option value is not in correct format for Random Parameter, Value - "
        "nobody.knows;x",
        NOT_PROVIDED("Class")},
       {"1012179", "1012132"}},
  };
  for (const Faulty& c : faults) {
    SCOPED_TRACE(c.fields);
    std::vector<std::string> placed;
    std::vector<std::string> tagged;
    for (std::size_t i = 0; i < c.messages.size(); ++i) {
      placed.push_back("script.c|session|12|-|" + c.messages[i]);
      tagged.push_back("ZelErr[" + c.tags[i] + "]: " + c.messages[i]);
    }
    use_mode(kPlaced);
    EXPECT_EQ(declare(c.fields), c.result);
    EXPECT_EQ(reports, placed);
    use_mode(kTagged);
    EXPECT_EQ(declare(c.fields), 0);
    EXPECT_EQ(reports, tagged);
    use_mode(kTagged, false);
    EXPECT_NE(stderr_of([&] { declare(c.fields); }).find(c.messages[0]), std::string::npos);
  }
}

TEST_F(RandomString, NeedsItsNameFirst) {
  const std::string missing = NAME_MISSING;
  const std::string place = "script.c|session|12|-|";
  EXPECT_EQ(declare("Min=1, Max=2, Charset=a, REFRESH=USE, Class=person.name"), -1);
  EXPECT_EQ(reports, std::vector<std::string>(6, place + missing));
  use_mode(kPlaced);
  EXPECT_EQ(declare("Minute, 9x, w, Min=1, Max=1, Charset=a"), 0);  // a keyword, no name, the name
  EXPECT_EQ(stored(row_.name), "w");
  EXPECT_EQ(
      reports,
      (std::vector{place + missing,
                   place + "Invalid variable '9x'. It should contain only alphanumeric "
                           "character and '_'. Also, first character should be an alphabet."}));
  use_mode(kTagged);
  EXPECT_EQ(declare("Max=9"), 0);  // reading goes on with the setting
  EXPECT_EQ(row_.max, 9);
  EXPECT_EQ(reports,
            (std::vector<std::string>{"ZelErr[1012053]: " + missing, "ZelErr[1012053]: " + missing,
                                      "ZelErr[1012132]: " NOT_PROVIDED("Minimum"),
                                      "ZelErr[1012132]: " NOT_PROVIDED("Character Set")}));
  use_mode(kPlaced);
  EXPECT_EQ(declare("v, Min=1, Charset=a"), -1);
  EXPECT_EQ(reports, std::vector{place + NOT_PROVIDED("Maximum")});
  use_mode(kPlaced);
  buffer_is_full = true;
  EXPECT_EQ(declare("v"), -1);
  EXPECT_EQ(reports,
            (std::vector{place + "Failed to copy string 'v' into the memory.", place + missing}));
  EXPECT_EQ(declare("v, Min=\"x"), -1);
  EXPECT_EQ(reports.back().find(place + "Error: parameter declaration in file 'script.c' at line"),
            0U);
  EXPECT_EQ(wzlb_set_refresh(&row_, mutable_text("USE"), -1, 2, 12, mutable_text("session"),
                             nullptr, mutable_text("script.c")),
            -1);
  EXPECT_EQ(reports.back(),
            place + "Must have variables for the declaration in Random String parameter.");
  EXPECT_EQ(wzlb_set_min_value(&row_, mutable_text("1"), -1, 2, 12, nullptr, nullptr, nullptr), -1);
}

std::string expanded(const std::string& char_set) {
  std::string out(WZLB_CHAR_SET_BUFFER, '#');
  wzlb_get_expanded_list(out.data(), mutable_text(char_set.c_str()));
  return out.c_str();
}

TEST(CharacterSet, IsExpanded) {
  const std::pair<std::string, std::string> cases[] = {
      {"abc", "abc"},
      {"a-e0-3_", "abcde0123_"},
      {"z-a", ""},
      {"-", ""},
      {"a-", ""},
      {"ba-", "b"},
      {"-/", "-./"},
      {"--x", "-"},
      {"a-c-e", "abccde"},
      {"aab", "aab"},
      {"", ""},
      {"a--c", ""},
      {"xa-cz", "xabcz"},
      {"\xfe-\xff", "\xfe\xff"},
      {"\x80-", ""},
  };
  for (const auto& [char_set, characters] : cases) {
    EXPECT_EQ(expanded(char_set), characters) << char_set;
  }
  std::string many;
  for (int i = 0; i < 100; ++i) {
    many += "!-~";
  }
  EXPECT_EQ(expanded(many).size(), WZLB_CHAR_SET_BUFFER - 1U);

  std::array<char, 8> out{};
  int at = 2;
  wzlb_expand_char_list('x', 'z', out.data(), &at);
  wzlb_expand_char_list('b', 'a', out.data(), &at);
  EXPECT_EQ(at, 5);
  EXPECT_STREQ(out.data() + 2, "xyz");
}

TEST(RandomStringValue, IsDrawnByTheFormula) {
  for (unsigned seed = 1; seed < 100; ++seed) {
    std::srand(seed);
    const auto length = static_cast<int>(std::rand() / (2147483647.0 + 9) * (9 - (3 - 1.0)) + 3);
    std::string expected;
    for (int i = 0; i < length; ++i) {
      const auto k = static_cast<int>(1.0 + 3 * (std::rand() / (2147483647.0 + 3)));
      expected += "xyz"[k - 1];
    }
    std::srand(seed);
    int total = 0;
    char* value = wzlb_get_random_string(3, 9, mutable_text("x-z"), &total);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(total, length);
    WZLB_FREE(value, "test", -1);
  }
  int total = 5;
  EXPECT_EQ(wzlb_get_random_string(3, 9, mutable_text("z-a"), &total), nullptr);
  EXPECT_EQ(total, 0);
  EXPECT_EXIT(wzlb_get_random_string(-9, -8, mutable_text("a"), &total),
              testing::ExitedWithCode(255), "Trying to malloc a negative size");
}

// 'a' stands twice in its set; lengths and the other characters are equally likely.
TEST(RandomStringValue, CharactersAreEquallyLikely) {
  std::srand(20260101);
  std::vector<int> lengths(5);
  std::vector<int> characters(6);
  for (int i = 0; i < 20000; ++i) {
    int total = 0;
    char* value = wzlb_get_random_string(4, 8, mutable_text("aab-e"), &total);
    ++lengths.at(static_cast<std::size_t>(total - 4));
    for (int at = 0; at < total; ++at) {
      ++characters.at(value[at] == 'a' ? static_cast<std::size_t>(at % 2)
                                       : static_cast<std::size_t>(value[at] - 'b' + 2));
    }
    WZLB_FREE(value, "test", -1);
  }
  EXPECT_LT(chi_square(lengths), chi_square_limit(4));
  // Where an 'a' stands tells nothing, so put both of its places together again.
  const int doubled = characters[0] + characters[1];
  characters[0] = doubled / 2;
  characters[1] = doubled - characters[0];
  EXPECT_LT(chi_square(characters), chi_square_limit(4));
}

TEST_F(RandomString, FakeDataComesFromTheClass) {
  const auto value_of = [this] {
    char* value = nullptr;
    int length = -1;
    wzlb_fill_fake_data(&row_, &value, &length);
    std::string text(value, static_cast<std::size_t>(length));
    WZLB_FREE(value, "test", -1);
    return text;
  };
  EXPECT_EQ(declare("v, Class=\"text.one_of; values = a b \""), 0);
  EXPECT_EQ(value_of(), "a b");  // the row's arguments are an offset, not an address
  EXPECT_EQ(declare("v, Class=number.digits;length=0"), -1);
  row_.faker_class_id = 1 << 30;
  EXPECT_EQ(value_of(), "");
}

}  // namespace
