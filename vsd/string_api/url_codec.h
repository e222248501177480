// URL escaping of values, as the encoding flag of evaluation, saving and query access asks for it.
#pragma once

#include <wz/wz_script.h>

#include <memory>

namespace wz::script {

struct UrlTextFree {
  void operator()(char* text) const noexcept { wz_encode_decode_url_free(text); }
};
using UrlText = std::unique_ptr<char, UrlTextFree>;

constexpr bool is_coding_flag(int flag) noexcept {
  return flag == WZ_FLAG_URL_ENCODE || flag == WZ_FLAG_URL_DECODE;
}

// `length` bytes of `value`, encoded or decoded as a coding flag says; null when that fails. A
// length of 0 is an empty value here, not "up to the NUL" as libcurl has it.
inline UrlText url_coded(const char* value, int length, int flag) noexcept {
  const char* text = length == 0 ? "" : value;
  return UrlText(flag == WZ_FLAG_URL_ENCODE ? wz_encode_url(text, length)
                                            : wz_decode_url(text, length));
}

}  // namespace wz::script
