#include <gtest/gtest.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_search_vars.h>

#include <optional>
#include <random>
#include <string>

namespace {

// The first value between the boundaries, found the plain way.
std::optional<std::string> model(const std::string& text, const std::string& left,
                                 const std::string& right) {
  const std::size_t begin = text.find(left);
  const std::size_t from = begin == std::string::npos ? begin : begin + left.size();
  const std::size_t end = from == std::string::npos ? from : text.find(right, from);
  return end == std::string::npos ? std::nullopt : std::optional(text.substr(from, end - from));
}

// Boundaries of every length against texts of few letters, where near misses abound and matches
// fall on every position of the blocks that are compared at once.
TEST(SearchBoundary, FindsWhatAPlainSearchFinds) {
  std::minstd_rand random(7);
  const auto letters = [&random](std::size_t length) {
    std::string text;
    while (text.size() < length) {
      text += static_cast<char>('a' + random() % 2);
    }
    return text;
  };
  for (int i = 0; i < 20000; ++i) {
    std::string text = letters(random() % 120);
    std::string left = letters(1 + random() % (i % 3 == 0 ? 70 : 6));
    std::string right = letters(1 + random() % 6);
    if (i % 2 == 0) {
      text.insert(random() % (text.size() + 1), left);
    }
    int count = -1;
    char* found =
        wzlb_save_searched_string(text.data(), left.data(), right.data(), 1, 0, -1, &count);
    const auto expected = model(text, left, right);
    ASSERT_STREQ(found, expected.value_or("").c_str()) << text << ' ' << left << ' ' << right;
    ASSERT_EQ(count, expected ? 1 : 0) << text << ' ' << left << ' ' << right;
    WZLB_FREE(found, "found", -1);
  }
}

}  // namespace
