#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "libwzcore/internal/trace.h"
#include "tests/support/declaration_test.h"

namespace {

using wz::mutable_text;
using namespace wz::test;

class UniqueNumber : public DeclarationTest {
 protected:
  UniqueNumber() : DeclarationTest("wzlb_unique_number.cpp") {}

  int declare(const std::string& fields) {
    row_ = {};
    row_.scon_idx = 77;
    std::string line = "UniqueNumber(" + fields + ");";
    return wzlb_input_uniquevar_data(&row_, line.data(), 12, 5, mutable_text("session"), nullptr,
                                     mutable_text("script.c"));
  }

  UniqueVarTableEntry row_{};
};

TEST_F(UniqueNumber, ReadsDeclarations) {
  struct {
    const char* fields;
    const char* format;
    int digits;
    int refresh;
  } const cases[] = {{"n, Format=%05lu", "%05lu", 8, 1},
                     {"n, formats=%0d, REFRESH=USE, other=1", "%0d", 8, 2},
                     {"n, FORMAT=\"%%x%032lX y\", refreshing=SESSION", "%%x%032lX", 32, 1},
                     {"n, format=%009lu", "%009lu", 9, 1},
                     {"n, format=%017ld", "%017ld", 17, 1}};
  for (const int mode : {kTagged, kPlaced}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(c.fields);
      use_mode(mode);
      EXPECT_EQ(declare(c.fields), 0);
      EXPECT_STREQ(big_buffer.c_str() + row_.name, "n");
      EXPECT_STREQ(big_buffer.c_str() + row_.format, c.format);
      EXPECT_EQ(row_.num_digits, c.digits);
      EXPECT_EQ(row_.refresh, c.refresh);
      EXPECT_EQ(row_.sess_idx, 5);
      EXPECT_EQ(row_.scon_idx, 77);
      EXPECT_EQ(reports.size(), 0U);
    }
  }
}

const Refusal kBad[] = {
    {"_n, format=%08lu", "ZelErr[1012009]: ",
     "Invalid variable '_n'. It should contain only alphanumeric character and '_'. Also, first "
     "character should be an alphabet."},
    {"n, format=%5lu",
     "ZelErr[1012045]: ", "Format option value should start with '0' in Unique Number parameter."},
    {"n, format=%0008lu", "ZelErr[1012047]: ",
     "Format value digit length cannot be more than three in Unique Number parameter."},
    {"n, format=%033lu", "ZelErr[1012048]: ",
     "Format value digit range should be in between '08' and '032' in Unique Number parameter."},
    {"n, format=%08lu, REFRESH=Session", "ZelErr[1012027]: ",
     "Unknown 'Session' option provided for 'Update Value On' in Unique Number parameter."},
    {"n", "ZelErr[1012132]: ", "'Format' option value is not provided in Unique Number parameter."},
};

TEST_F(UniqueNumber, RefusesOrReportsByMode) {
  for (const Refusal& c : kBad) {
    expect_refusal(c, [&] { return declare(c.fields); });
  }
  use_mode(kTagged);
  EXPECT_EQ(declare("n, format=x"), 0);  // and then there is no format either
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[0],
            "ZelErr[1012039]: Invalid value for 'Format' option is provided in Unique Number "
            "parameter.");
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(declare("n, format=%u"), -1); }),
            "n Wrong format specified as after '%' we expect either a digit or ld/lu/d "
            "specifiers\n");
  reports.clear();
  EXPECT_EQ(declare("n, format=\""), -1);
  EXPECT_EQ(reports[0].substr(0, 30), "-1Error: parameter declaration");
}

std::string value_of(const char* format, int digits, int child = 0, int parent = -1) {
  int length = -1;
  char* text = wzlb_get_unique_number(mutable_text(format), digits, &length, child, parent);
  std::string value = text;
  EXPECT_EQ(length, static_cast<int>(value.size()));
  WZLB_FREE(text, "test", -1);
  return value;
}

// The whole number, of which the others keep the lower digits.
std::int64_t raw(int child = 0, int parent = -1) {
  return std::stoll(value_of("%032ld", 32, child, parent));
}

// What `draw` returns, drawn within one second.
template <typename Draw>
auto within_a_second(Draw draw) {
  for (;;) {
    const std::time_t before = std::time(nullptr);
    const auto drawn = draw();
    if (before == std::time(nullptr)) {
      return drawn;
    }
  }
}

int counter_byte(std::int64_t number) {
  return static_cast<int>(number >> 24 & 0xFF);
}

TEST_F(UniqueNumber, PacksSecondsCounterAndIndices) {
  constexpr std::int64_t kEpoch = 1325376000;
  const auto before = std::time(nullptr) - kEpoch;
  const std::int64_t number = raw();
  const auto after = std::time(nullptr) - kEpoch;
  // A counter byte of 128 and up is added with its sign, so it takes one from the seconds.
  const std::int64_t second = (number >> 32) + (counter_byte(number) >= 128 ? 1 : 0);
  EXPECT_TRUE(second >= before && second <= after) << number;
  EXPECT_EQ(number & 0xFFFFFF, 0);
  std::int64_t last = raw(7);
  for (int i = 0; i < 600; ++i) {
    const int parent = i % 2 == 0 ? 5 : -1;
    const std::int64_t next = raw(7, parent);
    EXPECT_EQ(next & 0xFFFFFF, parent > 0 ? (5 << 16) + 7 : 7);
    EXPECT_EQ(counter_byte(next), (counter_byte(last) + 1) & 0xFF);
    last = next;
  }
}

TEST_F(UniqueNumber, EveryWidthKeepsTheLowerDigits) {
  for (int digits = 8; digits <= 32; ++digits) {
    const std::string format = "%0" + std::to_string(digits) + "lu";
    const auto [whole, text] = within_a_second([&] {
      const std::int64_t before = raw(3);
      return std::pair(before, value_of(digits == 8 ? "ignored %x" : format.c_str(), digits, 3));
    });
    // The same second, and the counter one step on; its byte counts with its sign.
    const int byte = counter_byte(whole);
    const std::int64_t step = byte == 127 ? -255 : 1;
    const std::int64_t expected = whole + step * (1LL << 24);
    std::int64_t modulus = 1;
    for (int i = 0; i < digits && digits <= 17; ++i) {
      modulus *= 10;
    }
    std::string full = std::to_string(digits <= 17 ? expected % modulus : expected);
    full.insert(0, std::max<std::size_t>(digits, full.size()) - full.size(), '0');
    EXPECT_EQ(text, full.substr(0, digits)) << "18 digits have no room for the last one";
  }
}

TEST_F(UniqueNumber, CutsWhatDoesNotFit) {
  EXPECT_EQ(value_of("%d", 2).size(), 2U);
  EXPECT_EQ(value_of("ID-%09lu", 9).substr(0, 3), "ID-");
  EXPECT_EQ(value_of("%x", 0), "");
  EXPECT_EQ(wzlb_get_unique_number(nullptr, 9, nullptr, 0, -1), nullptr);
  EXPECT_EXIT(wzlb_get_unique_number(mutable_text("%d"), -3, nullptr, 0, -1),
              testing::ExitedWithCode(255),
              "Malloc buffer for unique number\\|WZLB: Trying to malloc a negative size");
}

TEST_F(UniqueNumber, NumbersOfASecondDifferAndThenComeBack) {
  const auto [different, first, last] = within_a_second([] {
    std::set<std::int64_t> numbers;
    const std::int64_t start = raw(9);
    for (int i = 0; i < 255; ++i) {
      numbers.insert(raw(i % 3));
    }
    return std::tuple(numbers.size(), start, raw(9));
  });
  EXPECT_EQ(different, 255U);
  EXPECT_EQ(first, last);
}

}  // namespace
