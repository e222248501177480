// The library hands out texts as offsets into a buffer of the host. Here that buffer lives for one
// declaration, because its texts move on into the service's definition at once.
#include "daemon/service/library_declaration.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace vsd {
namespace {

// In any mode but 1 the library stops at the first error of a declaration and says so.
constexpr int kReportAndStop = 2;

// What the callbacks, which carry no context, write into.
LibraryReading& current() {
  static LibraryReading reading;
  return reading;
}

wz_bigbuf_t keep_text(char* string, int length, ...) {
  std::string& texts = current().texts;
  const wz_bigbuf_t offset = texts.size();
  texts.append(string, length > 0 ? static_cast<std::size_t>(length) : std::strlen(string));
  texts += '\0';
  return offset;
}

// Random strings may report more than one error.
__attribute__((format(printf, 7, 8))) void keep_problem(int, char*, char*, int, char*, int,
                                                        char* format, ...) {
  std::array<char, 8192> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  std::string& problem = current().problem;
  problem.append(problem.empty() ? "" : " ").append(text.data());
}

}  // namespace

void begin_library_reading() {
  static const bool initialized = [] {
    wzlb_init_parameter_module(kReportAndStop, keep_text, keep_problem, nullptr);
    return true;
  }();
  static_cast<void>(initialized);
  current() = {};
}

LibraryReading end_library_reading(int result, const char* otherwise) {
  LibraryReading reading = std::exchange(current(), {});
  if (result != 0 && reading.problem.empty()) {
    reading.problem = otherwise;
  }
  return reading;
}

}  // namespace vsd
