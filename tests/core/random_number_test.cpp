#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <array>
#include <cmath>
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

class RandomNumber : public DeclarationTest {
 protected:
  RandomNumber() : DeclarationTest("wzlb_random_number.cpp") {}

  int declare(const std::string& fields) {
    row_ = {};
    row_.scon_idx = 77;
    std::string line = "RandomNumber(" + fields + ");";
    return wzlb_input_randomNum_data(&row_, line.data(), 12, 5, mutable_text("session"), nullptr,
                                     mutable_text("script.c"));
  }

  RandomVarTableEntry row_{};
};

// Fields, the stored format, min, max, refresh.
struct Accepted {
  const char* fields;
  const char* format;
  std::array<int, 3> settings;
};

const Accepted kGood[] = {
    {"n, Max=10, Format=%d", "%d", {0, 10, 1}},
    {"n, MINIMUM=5, maxi=6, formatted=%05lu, refresh=USE, other=1", "%05lu", {5, 6, 2}},
    {"n, max=99, format=%hx, REFRESH=SESSION", "%hx", {0, 99, 1}},
    {"n, max=99, format=%d%%", "%d%%", {0, 99, 1}},
    {"n, max=99, format=\"%%ID-%ldl abc%q\"", "%%ID-%ldl", {0, 99, 1}},
    {"n, max=99, format=\"%X\tx\"", "%X", {0, 99, 1}},
    {"n, max=99, format=\"%lo,%d\"", "%lo", {0, 99, 1}},
};

TEST_F(RandomNumber, ReadsDeclarations) {
  for (const int mode : {kTagged, kPlaced}) {
    for (const Accepted& c : kGood) {
      SCOPED_TRACE(c.fields);
      use_mode(mode);
      EXPECT_EQ(declare(c.fields), 0);
      EXPECT_EQ((std::array{row_.min, row_.max, row_.refresh}), c.settings);
      EXPECT_STREQ(big_buffer.c_str() + row_.name, "n");
      EXPECT_STREQ(big_buffer.c_str() + row_.format, c.format);
      EXPECT_EQ(row_.format_len, static_cast<int>(std::string(c.format).size()));
      EXPECT_EQ(row_.sess_idx, 5);
      EXPECT_EQ(row_.scon_idx, 77);
      EXPECT_EQ(reports.size(), 0U);
    }
  }
}

const Refusal kBad[] = {
    {"9n, max=1, format=%d", "ZelErr[1012009]: ",
     "Invalid variable '9n'. It should contain only alphanumeric character and '_'. Also, first "
     "character should be an alphabet."},
    {"n, max=1, format=%d, min=", "ZelErr[1012132]: ",
     "'Minimum' option value is not provided in Random Number parameter."},
    {"n, max=1, format=%d, Min=-1",
     "ZelErr[1012043]: ", "'Minimum' option can only have numeric value."},
    {"n, max=1, format=%d, Max=1x",
     "ZelErr[1012043]: ", "'Maximum' option can only have numeric value."},
    {"n, max=1, format=%d, REFRESH=use", "ZelErr[1012027]: ",
     "Unknown 'use' option provided for 'Update Value On' in Random Number parameter."},
    {"n, max=1",
     "ZelErr[1012132]: ", "'Format' option value is not provided in Random Number parameter."},
    {"n, Min=5, Max=5, format=%d", "ZelErr[1012044]: ",
     "Minimum option value should be less than Maximum option value in Random Number parameter."},
};

TEST_F(RandomNumber, RefusesOrReportsByMode) {
  for (const Refusal& c : kBad) {
    expect_refusal(c, [&] { return declare(c.fields); });
  }
  for (const char* format : {"x", "%", "%5", "%l", "%0h x", "%%"}) {
    use_mode(kTagged);
    EXPECT_EQ(declare("n, max=1, format=\"" + std::string(format) + '"'), 0);
    EXPECT_EQ(reports[0],
              "ZelErr[1012039]: Invalid value for 'Format' option is provided in Random Number "
              "parameter.");
  }
  for (const int mode : {kTagged, kPlaced}) {
    use_mode(mode);
    for (const char* format : {"%u", "%s", "%-5d", "%ld%lu", "%lld", "%hd%d"}) {
      const bool is_second = std::string(format).find('%', 1) != std::string::npos;
      EXPECT_EQ(
          stderr_of([&] { EXPECT_EQ(declare("n, max=1, format=" + std::string(format)), -1); }),
          is_second ? "n Two Format specifiers are not allowed\n"
                    : "n Wrong format specified as after '%' we expect either a digit or "
                      "ld/lu/d specifiers\n");
    }
    EXPECT_EQ(reports.size(), 0U);
    EXPECT_EQ(declare("n, %s=\""), -1);
    const std::string lead = mode == kTagged ? "-1" : "script.c|session|12|-|";
    EXPECT_EQ(reports[0].substr(0, lead.size() + 28), lead + "Error: parameter declaration");
  }
  use_mode(kTagged);
  buffer_is_full = true;
  EXPECT_EQ(declare("n, max=4, format=%d"), 0);
  ASSERT_EQ(reports.size(), 5U);  // neither text is stored, so each field misses the name
  EXPECT_EQ(reports[1],
            "ZelErr[1012053]: Random Number parameter name is missing. It should be at very first "
            "position in API.");
  EXPECT_EQ(reports[3], "ZelErr[1000018]: Failed to copy string '%d' into the memory.");
}

std::string value_of(double min, double max, const char* format, int* length = nullptr) {
  const std::string text = format;
  return wzlb_get_random_number(min, max, mutable_text(format), static_cast<int>(text.size()),
                                length, 0);
}

TEST(RandomNumberValue, IsDrawnByTheFormula) {
  for (const auto& [min, max] :
       {std::pair(0, 10), {5, 6}, {1000, 2000000000}, {0, 2147483647}, {-5, 5}}) {
    for (unsigned seed = 1; seed < 200; ++seed) {
      std::srand(seed);
      const double drawn = std::rand();
      std::srand(seed);
      const int expected =
          static_cast<int>(drawn / (2147483647.0 + max) * (max - (min - 1.0)) + min);
      EXPECT_EQ(value_of(min, max, "%d"), std::to_string(expected));
    }
  }
  EXPECT_EQ(isStringDigits(mutable_text("")), 1);
  EXPECT_EQ(isStringDigits(mutable_text("1/")), 0);
}

// The divisor takes nothing visible off small ranges: they are uniform, and both ends come up.
TEST(RandomNumberValue, SmallRangesAreUniform) {
  std::srand(20260101);
  std::vector<int> counts(11);
  for (int i = 0; i < 110000; ++i) {
    ++counts.at(static_cast<std::size_t>(std::stoi(value_of(0, 10, "%d"))));
  }
  EXPECT_LT(chi_square(counts), chi_square_limit(10));
}

TEST(RandomNumberValue, FitsItsBuffer) {
  int length = 0;
  EXPECT_EQ(value_of(7, 7, "%05lu-%%", &length), "00007-%");
  EXPECT_EQ(length, 7);
  const std::string wide = value_of(7, 7, "%099d", &length);
  EXPECT_EQ(wide, std::string(64, '0'));
  EXPECT_EQ(length, 65);
  char format[] = "%0200d";
  char* allocated = wzlb_get_random_number(7, 7, format, 6, &length, 1);
  EXPECT_EQ(allocated, std::string(199, '0') + '7');
  EXPECT_EQ(length, 200);
  WZLB_FREE(allocated, "test", -1);
  EXPECT_EQ(wzlb_get_random_number(1, 2, nullptr, 0, &length, 1), nullptr);
  EXPECT_EXIT(
      wzlb_get_random_number(1, 2, format, -500, &length, 1), testing::ExitedWithCode(255),
      "wzlb_get_random_number\\|outstr\\|WZLB: Trying to malloc a negative size \\(-287\\)");
}

TEST(Generators, UniformNumbersAreUniform) {
  const int generator = wz_rand_init(4711, 10);
  const int twin = wz_rand_init(4711, 0);
  std::vector<int> counts(10);
  for (int i = 0; i < 100000; ++i) {
    const unsigned long number = wz_get_random(generator);
    ASSERT_EQ(number, wz_get_random_max(twin, 10));  // the same seed, the same sequence
    ++counts.at(number);
  }
  EXPECT_LT(chi_square(counts), chi_square_limit(9));
  EXPECT_GT(chi_square(counts), 0.5);  // evenly spread numbers would be no random ones
  EXPECT_EQ(wz_get_random(twin), 0U);
  EXPECT_EQ(wz_get_random_max(twin, -3), 0U);
}

// Rounding to tens moves the mean by less than half of a ten and hardly touches the variance.
TEST(Generators, ExponentialSamplesHaveMeanAndVariance) {
  const auto generator = static_cast<unsigned>(wz_exp_init(1, 4711));
  wz_poi_reinit(generator, 1000);
  const auto twin = static_cast<unsigned>(wz_poi_init(1000, 4711));
  constexpr int kDraws = 200000;
  double sum = 0;
  double squares = 0;
  int below_mean = 0;
  for (int i = 0; i < kDraws; ++i) {
    const int sample = wz_exp_sample(generator);
    ASSERT_EQ(sample, wz_poi_sample(twin));
    ASSERT_EQ(sample % 10, 0);
    sum += sample;
    squares += static_cast<double>(sample) * sample;
    below_mean += sample < 1000 ? 1 : 0;
  }
  const double mean = sum / kDraws;
  EXPECT_NEAR(mean, 999, 10);
  EXPECT_NEAR(squares / kDraws - mean * mean, 1e6, 2.5e4);
  EXPECT_NEAR(below_mean / static_cast<double>(kDraws), 1 - std::exp(-1), 0.006);
}

TEST(Generators, RoundsFiveDownAndSixUp) {
  // With a mean this low the samples 0 to 5 become 0 and the samples 6 to 15 become 10.
  const auto generator = static_cast<unsigned>(wz_exp_init(10, 99));
  std::array<int, 2> counts{};
  for (int i = 0; i < 100000; ++i) {
    const int sample = wz_exp_sample(generator);
    if (sample < 20) {
      ++counts[sample / 10];
    }
  }
  EXPECT_NEAR(counts[0] / 1e5, 1 - std::exp(-0.6), 0.006);
  EXPECT_NEAR(counts[1] / 1e5, std::exp(-0.6) - std::exp(-1.6), 0.006);
}

TEST(Generators, RefuseAnUnknownIndex) {
  EXPECT_EXIT(wz_poi_reinit(4000000000U, 1), testing::ExitedWithCode(255),
              "wz_poi_reinit: idx -294967296 has not been earlier initialized Exiting..");
  EXPECT_DEATH(wz_poi_sample(1000), "pidx < wz_max_poi_process");
}

}  // namespace
