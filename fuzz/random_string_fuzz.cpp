// Declarations of random strings, and the values of those that are accepted. Input: the first
// byte's low bits are the mode, whether errors are reported, and whether the host's buffer is full;
// the rest up to a NUL is the line.
#include <wz/wzlb.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::QuietStream;
using wz::fuzz::require;

constexpr int kLongest = 10000;

std::string big_buffer;
bool buffer_is_full = false;

wz_bigbuf_t keep_text(char* text, int, ...) {
  const wz_bigbuf_t offset = big_buffer.size();
  big_buffer.append(text, std::strlen(text) + 1);
  return buffer_is_full ? WZ_BIGBUF_UNSET : offset;
}

void check_report(int mode, char*, char*, int, char*, int reserved, char* format, ...) {
  require(mode == 1 && reserved == 0 && format != nullptr);
}

void check_value(RandomStringTableEntry& row) {
  int length = -1;
  char* value = nullptr;
  if (row.faker_class_id >= 0) {
    wzlb_fill_fake_data(&row, &value, &length);
    require(value != nullptr);
  } else {
    const std::string char_set = big_buffer.c_str() + row.char_set;
    std::string characters(WZLB_CHAR_SET_BUFFER, '#');
    wzlb_get_expanded_list(characters.data(), const_cast<char*>(char_set.c_str()));
    characters.resize(characters.find('\0'));
    value = wzlb_get_random_string(row.min, row.max, const_cast<char*>(char_set.c_str()), &length);
    require((value == nullptr) == characters.empty());
    require(value == nullptr || (length >= row.min && length <= row.max &&
                                 std::strspn(value, characters.c_str()) == std::strlen(value)));
  }
  require(value == nullptr || std::strlen(value) == static_cast<std::size_t>(length));
  WZLB_FREE(value, "fuzz", -1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const bool stops = (data[0] & 1) != 0;
  buffer_is_full = (data[0] & 4) != 0;
  wzlb_init_parameter_module(stops ? 2 : 1, keep_text, (data[0] & 2) != 0 ? check_report : nullptr,
                             nullptr);
  big_buffer.clear();
  std::string line = std::string(reinterpret_cast<const char*>(data + 1), size - 1).c_str();
  RandomStringTableEntry row{};
  const QuietStream quiet;
  char name[] = "%s";
  const int result = wzlb_input_randomString_data(&row, line.data(), 1, 0, name, name, name);
  require(result == 0 || result == -1);
  require(row.refresh == 1 || row.refresh == 2 || row.name == 0);
  const bool is_whole = row.faker_class_id >= 0 ||
                        (row.min > 0 && row.max >= row.min && row.char_set != WZ_BIGBUF_UNSET);
  require(!stops || result == -1 || is_whole);
  if (result == 0 && is_whole && row.max <= kLongest) {
    check_value(row);
  }
  return 0;
}
