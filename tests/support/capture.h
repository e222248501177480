// What tests read back and compare with: files, standard error and the clock.
#pragma once

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <string>

namespace wz::test {

inline std::string content_of(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

template <typename Action>
std::string stderr_of(Action action) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

// `texts` stand in the log, one behind the other.
inline void expect_in_order(const std::string& log, std::initializer_list<const char*> texts) {
  std::size_t at = 0;
  for (const char* text : texts) {
    const std::size_t found = log.find(text, at);
    EXPECT_NE(found, std::string::npos) << text << " is not behind " << log.substr(0, at);
    at = found == std::string::npos ? at : found + 1;
  }
}

// A time as the system prints it in the local zone.
inline std::string printed(const char* format, std::time_t time) {
  std::ostringstream text;
  text << std::put_time(std::localtime(&time), format);
  return text.str();
}

}  // namespace wz::test
