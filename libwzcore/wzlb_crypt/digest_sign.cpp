// Digests, and signatures over them, as base64 text.
#include <openssl/err.h>
#include <openssl/pem.h>
#include <wz/wzlb_crypt.h>
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "libwzcore/internal/openssl_handles.h"
#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

// Null for a code that is no digest.
const EVP_MD* digest_of(int algo) noexcept {
  switch (algo) {
    case WZLB_DIGEST_SHA1:
      return EVP_sha1();
    case WZLB_DIGEST_SHA256:
      return EVP_sha256();
    default:
      return nullptr;
  }
}

// A context that has taken in `length` bytes; null when OpenSSL fails or is not to be called.
DigestContext digesting(const char* bytes, int length, int algo) noexcept {
  const EVP_MD* digest = digest_of(algo);
  if (digest == nullptr || length < 0 || (bytes == nullptr && length > 0)) {
    return nullptr;
  }
  DigestContext context(EVP_MD_CTX_new());
  if (!context || EVP_DigestInit_ex(context.get(), digest, nullptr) != 1 ||
      EVP_DigestUpdate(context.get(), bytes, static_cast<std::size_t>(length)) != 1) {
    return nullptr;
  }
  return context;
}

int openssl_failed() noexcept {
  ERR_print_errors_fp(stderr);
  return -1;
}

// A block of std::malloc, so that a lack of memory can be told.
struct FreeBlock {
  void operator()(unsigned char* block) const noexcept { std::free(block); }
};

// Signs what `context` has taken in and writes the base64 of it, as far as `size` goes.
int write_signature(EVP_MD_CTX* context, EVP_PKEY* key, char* signature,
                    std::size_t size) noexcept {
  auto length = static_cast<unsigned>(std::max(EVP_PKEY_size(key), 0));
  const std::unique_ptr<unsigned char, FreeBlock> bytes(
      static_cast<unsigned char*>(std::malloc(length)));
  if (!bytes) {
    std::fprintf(stderr, "Couldn't allocate %u bytes of memory.\n", length);
    return -1;
  }
  if (EVP_SignFinal(context, bytes.get(), &length, key) != 1) {
    return openssl_failed();
  }
  wzlb_binary_base64encode(bytes.get(), length, signature, size);
  return 0;
}

}  // namespace
}  // namespace wz

int wzlb_evp_digest(char* buffer, int len, int algo, unsigned char* hash) {
  using namespace wz;
  thread_local unsigned char digest[EVP_MAX_MD_SIZE];
  const DigestContext context = digesting(buffer, len, algo);
  unsigned digest_length = 0;
  if (!context || (hash == nullptr && len > 0) ||
      EVP_DigestFinal_ex(context.get(), digest, &digest_length) != 1) {
    return openssl_failed();
  }
  // Deliberate: the input's length bounds the text; callers compare the short forms.
  wzlb_binary_base64encode(digest, digest_length, reinterpret_cast<char*>(hash),
                           static_cast<std::size_t>(len));
  OPENSSL_cleanse(digest, digest_length);
  return 0;
}

int wzlb_evp_sign(char* buffer, int len, int algo, char* privKey, unsigned char* signature,
                  int sig_size) {
  using namespace wz;
  const BioChain text = bio_over(privKey);
  const PrivateKey key(
      text ? PEM_read_bio_PrivateKey(text.get(), nullptr, refuse_pass_phrase, nullptr) : nullptr);
  if (!key) {
    return openssl_failed();
  }
  const DigestContext context = digesting(buffer, len, algo);
  if (!context || (signature == nullptr && sig_size > 0)) {
    WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC, "enc_err_msg");
    return openssl_failed();
  }
  return write_signature(context.get(), key.get(), reinterpret_cast<char*>(signature),
                         static_cast<std::size_t>(std::max(sig_size, 0)));
}
