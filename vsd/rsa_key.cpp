#define OPENSSL_SUPPRESS_DEPRECATED
#include "vsd/rsa_key.h"

#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstring>

#include "libwzcore/internal/openssl_handles.h"

namespace wz::script {
namespace {

constexpr int rsa_padding = RSA_PKCS1_PADDING;

// The failures here are told in our words alone. What OpenSSL adds to its error queue meanwhile is
// taken back: a host that uses TLS in this thread would take it for errors of its connection.
class ErrorQueueMark {
 public:
  ErrorQueueMark() noexcept { ERR_set_mark(); }
  ErrorQueueMark(const ErrorQueueMark&) = delete;
  ErrorQueueMark& operator=(const ErrorQueueMark&) = delete;
  ~ErrorQueueMark() { ERR_pop_to_mark(); }
};

}  // namespace

void RsaKey::Free::operator()(RSA* key) const noexcept {
  RSA_free(key);
}

RsaKey RsaKey::read(const char* pem, KeyKind kind) noexcept {
  const ErrorQueueMark mark;
  RsaKey key;
  const BioChain text = bio_over(pem);
  if (!text) {
    std::fputs("Failed to create key BIO", stdout);
    return key;
  }
  const auto read_key =
      kind == KeyKind::kPublic ? PEM_read_bio_RSA_PUBKEY : PEM_read_bio_RSAPrivateKey;
  key.key_.reset(read_key(text.get(), nullptr, refuse_pass_phrase, nullptr));
  if (!key) {
    std::fputs("Failed to create RSA", stdout);
  }
  return key;
}

std::size_t RsaKey::size() const noexcept {
  return static_cast<std::size_t>(RSA_size(key_.get()));
}

std::size_t RsaKey::digits() const noexcept {
  char* text = BN_bn2dec(RSA_get0_n(key_.get()));
  const std::size_t count = text != nullptr ? std::strlen(text) : 0;
  OPENSSL_free(text);
  return count;
}

int RsaKey::encrypt(std::span<const unsigned char> block, unsigned char* output) const noexcept {
  const ErrorQueueMark mark;
  if (block.size() + kPaddingSize > size()) {
    return -1;
  }
  return RSA_public_encrypt(static_cast<int>(block.size()), block.data(), output, key_.get(),
                            rsa_padding);
}

int RsaKey::decrypt(std::span<const unsigned char> block, unsigned char* output) const noexcept {
  const ErrorQueueMark mark;
  // OpenSSL passes over more of its output than the plaintext takes, to give nothing away.
  const CleansedBlock plaintext(size());
  if (plaintext.get() == nullptr || block.size() > size()) {
    return -1;
  }
  const int length = RSA_private_decrypt(static_cast<int>(block.size()), block.data(),
                                         plaintext.get(), key_.get(), rsa_padding);
  if (length > 0) {
    std::memcpy(output, plaintext.get(), static_cast<std::size_t>(length));
  }
  return length;
}

}  // namespace wz::script
