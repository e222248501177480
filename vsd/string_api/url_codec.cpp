#include "vsd/string_api/url_codec.h"

#include <curl/curl.h>

char* wz_encode_url(const char* string, int inlength) {
  return string != nullptr ? curl_escape(string, inlength) : nullptr;
}

char* wz_decode_url(const char* string, int length) {
  return string != nullptr && length >= 0 ? curl_unescape(string, length) : nullptr;
}

void wz_encode_decode_url_free(char* ptr) {
  curl_free(ptr);
}
