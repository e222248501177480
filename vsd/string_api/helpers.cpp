// Small helpers of scripts: identifiers, checksums, reversed texts, generated values.
#include <openssl/evp.h>
#include <unistd.h>
#include <wz/wz_script.h>
#include <wz/wzlb_random_number.h>
#include <wz/wzlb_random_string.h>
#include <wz/wzlb_unique_number.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "vsd/string_api/context.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr std::size_t kMd5Size = 16;
constexpr int kNoParent = -1;
char integer_format[] = "%d";  // the prototypes take it as writable
constexpr int kIntegerFormatLength = 2;

}  // namespace
}  // namespace wz::script

char* wz_get_guid(void) {
  using namespace wz::script;
  static std::array<char, 33> guid;
  static unsigned counter = 0;
  std::snprintf(guid.data(), guid.size(), "%0X-%0X-%0X", static_cast<unsigned>(std::time(nullptr)),
                static_cast<unsigned>(getpid()), counter++);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "guid = %s", guid.data());
  return guid.data();
}

void wz_md5_checksum_to_ascii(unsigned char* source, unsigned char* dest) {
  if (source == nullptr || dest == nullptr) {
    return;
  }
  char* out = reinterpret_cast<char*>(dest);
  for (std::size_t i = 0; i < wz::script::kMd5Size; ++i) {
    std::snprintf(out + 2 * i, 3, "%02x", source[i]);
  }
}

int wz_gen_md5_checksum(const unsigned char* buf, int len, unsigned char* checksum_buf) {
  using namespace wz::script;
  if (buf == nullptr || checksum_buf == nullptr) {
    return -1;
  }
  const int length = std::max(len, 0);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method Called: buf = %.*s, len = %d", length,
            reinterpret_cast<const char*>(buf), len);
  std::array<unsigned char, kMd5Size> digest{};
  if (EVP_Digest(buf, static_cast<std::size_t>(length), digest.data(), nullptr, EVP_md5(),
                 nullptr) != 1) {
    return -1;
  }
  wz_md5_checksum_to_ascii(digest.data(), checksum_buf);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Checksum = %s", reinterpret_cast<char*>(checksum_buf));
  return 0;
}

char* wz_strrev(char* src, char* dest) {
  using namespace wz::script;
  if (src == nullptr || dest == nullptr) {
    return dest;
  }
  const std::size_t length = std::strlen(src);
  std::memmove(dest, src, length + 1);
  std::reverse(dest, dest + length);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Src =%s, Dest=%s", src, dest);
  return dest;
}

char* wz_get_random_num(int min, int max) {
  using namespace wz::script;
  return wzlb_get_random_number(min, max, integer_format, kIntegerFormatLength, nullptr, 1);
}

int wz_get_random_num_int(int min, int max) {
  using namespace wz::script;
  return &get_formated_random_number_int != nullptr
             ? get_formated_random_number_int(integer_format, kIntegerFormatLength, min, max)
             : 0;
}

char* wz_get_random_str(int min, int max) {
  char letters[] = "A-Z";
  return wzlb_get_random_string(min, max, letters, nullptr);
}

char* wz_get_unique_number(void) {
  using namespace wz::script;
  const char* child = std::getenv("CHILD_INDEX");  // the host sets it in its worker processes
  return wzlb_get_unique_number(integer_format, kIntegerFormatLength, nullptr,
                                child != nullptr ? std::atoi(child) : 0, kNoParent);
}
