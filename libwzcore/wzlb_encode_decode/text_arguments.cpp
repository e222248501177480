#include "libwzcore/wzlb_encode_decode/text_arguments.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace wz {

void report_null_input() {
  std::fputs("input string is null, returning from method", stdout);
}

std::optional<std::string_view> codec_input(const char* text, int length) {
  if (text == nullptr || *text == '\0') {
    report_null_input();
    return std::nullopt;
  }
  if (length < 0) {
    std::fprintf(stderr,
                 "Warning: Length should be zero or any number that is greater then zero. "
                 "Given length is %d, making length to zero.\n",
                 length);
    return std::nullopt;
  }
  return std::string_view(text, length == 0 ? std::strlen(text) : static_cast<std::size_t>(length));
}

char* codec_output(char* output, std::size_t size) {
  return output != nullptr ? output : static_cast<char*>(std::calloc(size, 1));
}

}  // namespace wz
