// The argument rules that the text codecs (input, input length, optional output) share.
#pragma once

#include <optional>
#include <string_view>

namespace wz {

// The input of a text codec: `length` bytes, or up to the NUL when `length` is 0. Reports a null or
// empty input on standard output and a negative length on standard error; both give nothing.
std::optional<std::string_view> codec_input(const char* text, int length);

// Says on standard output that there is nothing to convert.
void report_null_input();

// `output` when the caller gave one, else `size` zeroed bytes that the caller frees with `free`;
// null when there is no memory.
char* codec_output(char* output, std::size_t size);

}  // namespace wz
