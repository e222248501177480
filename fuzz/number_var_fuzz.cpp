// Declarations of random and of unique numbers, and the values of those that are accepted. Input:
// the first byte's low bits are the mode, whether errors are reported, whether the host's buffer is
// full, and which of the two is declared; the rest up to a NUL is the line.
#include <wz/wzlb.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::QuietStream;
using wz::fuzz::require;

constexpr auto kMostWidth = 4;  // digits of a width that is worth its memory

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

void check_random(char* line, bool stops) {
  RandomVarTableEntry row{};
  char name[] = "%s";
  const int result = wzlb_input_randomNum_data(&row, line, 1, 0, name, name, name);
  require(result == 0 || result == -1);
  const bool is_whole = row.format != WZ_BIGBUF_UNSET && row.max > row.min;
  require(!stops || result == -1 || is_whole);
  if (result != 0 || !is_whole || buffer_is_full) {
    return;
  }
  char* const format = big_buffer.data() + row.format;
  require(std::strlen(format) == static_cast<std::size_t>(row.format_len));
  if (std::count_if(format, format + row.format_len, [](char c) { return c >= '0' && c <= '9'; }) <=
      kMostWidth) {
    int length = 0;
    char* const value =
        wzlb_get_random_number(row.min, row.max, format, row.format_len, &length, 1);
    require(value != nullptr && length > 0 &&
            std::strlen(value) <= static_cast<std::size_t>(length));
    WZLB_FREE(value, "fuzz", -1);
  }
}

void check_unique(char* line) {
  UniqueVarTableEntry row{};
  char name[] = "%s";
  const int result = wzlb_input_uniquevar_data(&row, line, 1, 0, name, name, name);
  require(result == 0 || result == -1);
  if (result != 0 || row.format == WZ_BIGBUF_UNSET || buffer_is_full) {
    return;
  }
  require(row.num_digits >= 8 && row.num_digits <= 32);
  int length = 0;
  char* const value =
      wzlb_get_unique_number(big_buffer.data() + row.format, row.num_digits, &length, 3, 1);
  require(value != nullptr && length <= row.num_digits &&
          std::strlen(value) == static_cast<std::size_t>(length));
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
  const QuietStream quiet;
  if ((data[0] & 8) != 0) {
    check_unique(line.data());
  } else {
    check_random(line.data(), stops);
  }
  return 0;
}
