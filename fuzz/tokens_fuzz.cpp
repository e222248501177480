// The token splitters and the keyword lines that use them. Input: the first byte's low bits pick
// the number of fields, then the delimiter up to a NUL, then the text.
#include <wz/wzlb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/fuzz_support.h"
#include "libwzcore/internal/trace.h"

namespace {

using wz::fuzz::QuietStream;
using wz::fuzz::require;

constexpr int kMaxFields = 16;
using Splitter = int (*)(char*, char**, char*, int);

// On a heap block of exactly the text's size, so that a step behind its end is caught.
void split(Splitter splitter, const std::string& text, const std::string& delimiter, int capacity) {
  const auto buffer = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(buffer.get(), text.c_str(), text.size() + 1);
  const auto fields = std::make_unique<char*[]>(static_cast<std::size_t>(capacity));
  std::string token = delimiter;
  const int count = splitter(buffer.get(), fields.get(), token.data(), capacity);
  require(count >= 0 && count <= capacity);
  for (int i = 0; i < count; ++i) {
    const char* field = fields[static_cast<std::size_t>(i)];
    require(field >= buffer.get() && field <= buffer.get() + text.size());
    require(field + std::strlen(field) <= buffer.get() + text.size());
    require(i == 0 || field > fields[static_cast<std::size_t>(i) - 1]);
  }
}

void keyword_lines(std::string text) {
  char message[WZLB_MODULEMASK_ERROR_SIZE];
  const unsigned long long before = lib_module_mask;
  if (set_wzlb_modulemask(text.data(), message) != 0) {
    require(lib_module_mask == before && std::strlen(message) < sizeof message);
  }
  wzlb_util_set_modulemask(0);
  set_wzlb_debug(text.data());
  wzlb_util_set_debug_log_level(0);
  kw_set_lib_do_exit(text.data());
  require(lib_backtrace_size >= 0 && lib_backtrace_size <= 1024);
}

void numbers_and_trims(std::string text) {
  int number = 0;
  wzlb_atoi(text.c_str(), &number);
  require(get_time_from_format(text.data()) >= -1);
  const std::size_t length = text.size();
  const char* trimmed = wzlb_trim(text.data());
  require(trimmed + std::strlen(trimmed) <= text.data() + length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const int capacity = data[0] % kMaxFields + 1;
  const std::string input(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::string delimiter = input.c_str();
  const std::string text =
      delimiter.size() < input.size() ? input.c_str() + delimiter.size() + 1 : delimiter;
  for (const Splitter splitter : {get_tokens, get_tokens_ex2, wzlb_get_tokens}) {
    split(splitter, text, delimiter, capacity);
  }
  const QuietStream quiet;
  keyword_lines(text);
  numbers_and_trims(text);
  return 0;
}
