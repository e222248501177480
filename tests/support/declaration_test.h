// The host's side of declarations: its big buffer, and what is reported to it.
#pragma once

#include <gtest/gtest.h>
#include <wz/wzlb_parse_api.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/capture.h"

namespace wz::test {

inline constexpr int kTagged = 1;
inline constexpr int kPlaced = 2;

inline std::string big_buffer;
inline bool buffer_is_full = false;
inline std::vector<std::string> reports;
inline std::string reporting_source;

inline wz_bigbuf_t keep_text(char* text, int length, ...) {
  if (buffer_is_full) {
    return WZ_BIGBUF_UNSET;
  }
  const wz_bigbuf_t offset = big_buffer.size();
  big_buffer.append(length == 0 ? std::string(text) : std::string(text, text + length));
  big_buffer += '\0';
  return offset;
}

// "tag|source|line|function|message", without the line of the source where it is the library's.
inline void keep_report(int mode, char* tag, char* source, int line, char* function, int reserved,
                        char* format, ...) {
  EXPECT_EQ(mode, 1);
  EXPECT_EQ(reserved, 0);
  std::array<char, 8192> message{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message.data(), message.size(), format, arguments);
  va_end(arguments);
  if (g_wzlb_module == kTagged) {
    EXPECT_GT(line, 0);
    EXPECT_NE(std::string(source).find(reporting_source), std::string::npos);
    EXPECT_STRNE(function, "");
    reports.push_back(tag + std::string(message.data()));
  } else {
    reports.push_back(tag + ('|' + std::string(source)) + '|' + std::to_string(line) + '|' +
                      function + '|' + message.data());
  }
}

// A declaration and what is said of it.
struct Refusal {
  const char* fields;
  const char* tag;
  const char* message;
};

class DeclarationTest : public testing::Test {
 protected:
  // `source` is the file that reports in mode 1.
  explicit DeclarationTest(const char* source) {
    reporting_source = source;
    use_mode(kPlaced);
  }
  ~DeclarationTest() override {
    wzlb_init_parameter_module(1, nullptr, nullptr, nullptr);
    buffer_is_full = false;
  }

  static void use_mode(int mode, bool reports_errors = true) {
    wzlb_init_parameter_module(mode, keep_text, reports_errors ? keep_report : nullptr, nullptr);
    EXPECT_EQ(wzlb_copy_to_tmpbuf_cb, keep_text);
    big_buffer.clear();
    reports.clear();
  }

  // `declare` reads the declaration from line 12 of script.c in the session "session".
  template <typename Declare>
  static void expect_refusal(const Refusal& refusal, Declare declare) {
    SCOPED_TRACE(refusal.fields);
    use_mode(kPlaced);
    EXPECT_EQ(declare(), -1);
    EXPECT_EQ(reports, std::vector{"script.c|session|12|-|" + std::string(refusal.message)});
    use_mode(kPlaced, false);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(declare(), -1); }), "");
    use_mode(kTagged);
    EXPECT_EQ(declare(), 0);
    EXPECT_EQ(reports, std::vector{refusal.tag + std::string(refusal.message)});
    use_mode(kTagged, false);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(declare(), 0); }), refusal.message);
  }
};

}  // namespace wz::test
