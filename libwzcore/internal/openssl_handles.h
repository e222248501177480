// Owners of OpenSSL's objects, and what reading PEM texts needs.
#pragma once

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <cstddef>
#include <memory>

namespace wz {

template <auto Free>
struct OpensslFree {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    Free(object);
  }
};

using BioChain = std::unique_ptr<BIO, OpensslFree<BIO_free_all>>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, OpensslFree<EVP_CIPHER_CTX_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, OpensslFree<EVP_MD_CTX_free>>;
using PrivateKey = std::unique_ptr<EVP_PKEY, OpensslFree<EVP_PKEY_free>>;

// A read-only view of a NUL-terminated text as a BIO; null for a null text.
inline BioChain bio_over(const char* text) noexcept {
  return BioChain(text != nullptr ? BIO_new_mem_buf(text, -1) : nullptr);
}

// The pass-phrase callback for every PEM text. Without one OpenSSL asks on the terminal; and a
// result of 0 would be an empty pass phrase.
inline int refuse_pass_phrase(char*, int, int, void*) noexcept {
  return -1;
}

// A block for plaintexts and other secrets: overwritten before it is given back.
class CleansedBlock {
 public:
  // get() is null when there is no memory.
  explicit CleansedBlock(std::size_t size) noexcept
      : size_(size), data_(static_cast<unsigned char*>(OPENSSL_malloc(size > 0 ? size : 1))) {}
  CleansedBlock(const CleansedBlock&) = delete;
  CleansedBlock& operator=(const CleansedBlock&) = delete;
  ~CleansedBlock() { OPENSSL_clear_free(data_, size_); }

  [[nodiscard]] unsigned char* get() const noexcept { return data_; }

 private:
  std::size_t size_;
  unsigned char* data_;
};

}  // namespace wz
