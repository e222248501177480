// Base64 through OpenSSL's BIO filter, for callers that want one call and a new buffer.
#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "libwzcore/internal/openssl_handles.h"
#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

// A base64 filter without line breaks over `memory`, which it owns from now on.
BioChain base64_over(BIO* memory) noexcept {
  BioChain chain(memory == nullptr ? nullptr : BIO_new(BIO_f_base64()));
  if (!chain) {
    BIO_free_all(memory);
    return nullptr;
  }
  BIO_set_flags(chain.get(), BIO_FLAGS_BASE64_NO_NL);
  BIO_push(chain.get(), memory);
  return chain;
}

// BIO_write takes an int.
bool write_all(BIO* bio, const unsigned char* bytes, std::size_t length) noexcept {
  while (length > 0) {
    const int step = static_cast<int>(std::min<std::size_t>(length, INT_MAX));
    const int written = BIO_write(bio, bytes, step);
    if (written <= 0) {
      return false;
    }
    bytes += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

std::size_t padding_of(std::string_view text) noexcept {
  if (text.ends_with("==")) {
    return 2;
  }
  return text.ends_with("=") ? 1 : 0;
}

}  // namespace
}  // namespace wz

int Base64Encode(unsigned char* buffer, size_t length, char** b64text) {
  BIO* memory = BIO_new(BIO_s_mem());
  const wz::BioChain chain = wz::base64_over(memory);
  if (!chain || !wz::write_all(chain.get(), buffer, length) || BIO_flush(chain.get()) != 1) {
    return -1;
  }
  BIO_write(memory, "", 1);
  BUF_MEM* contents = nullptr;
  BIO_get_mem_ptr(memory, &contents);
  *b64text = static_cast<char*>(WZLB_MALLOC(contents->length, "encode_hmac_buffer"));
  std::memcpy(*b64text, contents->data, contents->length);
  return 0;
}

size_t calcDecodeLength(char* b64input) {
  const std::string_view text = b64input;
  return text.size() < 4 ? 0 : text.size() * 3 / 4 - wz::padding_of(text);
}

int Base64Decode(char* b64message, unsigned char** buffer, int* length) {
  const std::size_t expected = calcDecodeLength(b64message);
  *length = 0;
  *buffer = static_cast<unsigned char*>(std::malloc(expected + 1));
  if (*buffer == nullptr) {
    return -1;
  }
  const wz::BioChain chain = wz::base64_over(BIO_new_mem_buf(b64message, -1));
  // One byte more than expected, so that a text which holds more is not taken for a match.
  const int got = chain ? BIO_read(chain.get(), *buffer, static_cast<int>(expected + 1)) : -1;
  const std::size_t count = got > 0 ? static_cast<std::size_t>(got) : 0;
  *length = static_cast<int>(std::min(count, expected));
  (*buffer)[*length] = '\0';
  if (count != expected) {
    WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC, "Error: Unable to base64 decode");
    return -1;
  }
  return 0;
}
