// An RSA key. This file's source is the only one that calls OpenSSL's RSA objects, which version 3
// deprecates and version 1.1 has no replacement for that reads these keys alike.
#pragma once

#include <wz/wz_rsa.h>

#include <cstddef>
#include <memory>
#include <span>

namespace wz::script {

enum class KeyKind { kPublic, kPrivate };

class RsaKey {
 public:
  // Reads a PEM text; failures are told on standard output.
  static RsaKey read(const char* pem, KeyKind kind) noexcept;

  explicit operator bool() const noexcept { return key_ != nullptr; }
  // The key object, which the caller now owns.
  RSA* release() noexcept { return key_.release(); }

  // Length of the modulus, which is that of a block of ciphertext, in bytes.
  [[nodiscard]] std::size_t size() const noexcept;
  // Length of the modulus in decimal digits.
  [[nodiscard]] std::size_t digits() const noexcept;

  // One block with PKCS#1 v1.5 padding. `output` has room for size() bytes when encrypting, and for
  // the plaintext when decrypting. The number of bytes written; -1 when the key or block is
  // refused.
  int encrypt(std::span<const unsigned char> block, unsigned char* output) const noexcept;
  int decrypt(std::span<const unsigned char> block, unsigned char* output) const noexcept;

  // Bytes of a block that the padding takes at least.
  static constexpr std::size_t kPaddingSize = 11;

 private:
  struct Free {
    void operator()(RSA* key) const noexcept;
  };
  std::unique_ptr<RSA, Free> key_;
};

}  // namespace wz::script
