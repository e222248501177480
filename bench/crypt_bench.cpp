// Ciphers, digests and signatures beside the bare OpenSSL calls that they wrap: a fresh context
// each time, and EVP_EncodeBlock where the result is base64. The two sides take turns within one
// measurement; `ratio` is ours / reference of the medians (below 1: ours is faster).
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <wz/wzlb_crypt.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "bench/alternate.h"
#include "libwzcore/internal/openssl_handles.h"

namespace {

// Runs both sides in turn on `size` bytes, in rounds of about 64 KiB.
template <typename Ours, typename Reference>
void compare(benchmark::State& state, std::size_t size, Ours ours, Reference reference) {
  const std::size_t calls = std::max<std::size_t>(1, 65536 / size);
  const wz::bench::Medians medians = wz::bench::alternate(state, calls, ours, reference);
  state.counters["ours_MBps"] = static_cast<double>(size) / medians.ours / 1e6;
  state.counters["ref_MBps"] = static_cast<double>(size) / medians.reference / 1e6;
}

using CipherDescription = const EVP_CIPHER* (*)();
constexpr std::array<CipherDescription, 8> kCiphers = {
    nullptr,         EVP_aes_128_cbc, EVP_aes_128_ctr, EVP_aes_192_cbc,
    EVP_aes_192_ctr, EVP_aes_192_ecb, EVP_aes_256_cbc, EVP_aes_256_ctr};

struct Data {
  explicit Data(const benchmark::State& state)
      : size(static_cast<std::size_t>(state.range(0))), input(size + 16), output(2 * size + 64) {}
  int length() const { return static_cast<int>(size); }
  int room() const { return static_cast<int>(output.size()); }
  std::size_t size;
  std::vector<unsigned char> input;
  std::vector<unsigned char> output;
  unsigned char key[32] = {1, 2, 3};
  unsigned char iv[16] = {4, 5, 6};
};

int bare_encrypt(const EVP_CIPHER* type, Data& data) {
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  int updated = 0;
  int finished = 0;
  EVP_EncryptInit_ex(context, type, nullptr, data.key, data.iv);
  EVP_EncryptUpdate(context, data.output.data(), &updated, data.input.data(), data.length());
  EVP_EncryptFinal_ex(context, data.output.data() + updated, &finished);
  EVP_CIPHER_CTX_free(context);
  return updated + finished;
}

int bare_decrypt(const EVP_CIPHER* type, Data& data, int length) {
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  int updated = 0;
  int finished = 0;
  EVP_DecryptInit_ex(context, type, nullptr, data.key, data.iv);
  EVP_DecryptUpdate(context, data.output.data(), &updated, data.output.data(), length);
  EVP_DecryptFinal_ex(context, data.output.data() + updated, &finished);
  EVP_CIPHER_CTX_free(context);
  return updated + finished;
}

void Encrypt(benchmark::State& state, char code) {
  Data data(state);
  const EVP_CIPHER* (*type)() = kCiphers[static_cast<std::size_t>(code)];
  compare(
      state, data.size,
      [&] {
        wzlb_do_crypt(data.input.data(), data.length(), code, 0, data.key, data.iv,
                      data.output.data(), data.room(), 1, nullptr);
      },
      [&] { bare_encrypt(type(), data); });
}

void EncryptToBase64(benchmark::State& state, char code) {
  Data data(state);
  const EVP_CIPHER* (*type)() = kCiphers[static_cast<std::size_t>(code)];
  std::vector<unsigned char> text(data.output.size());
  compare(
      state, data.size,
      [&] {
        wzlb_do_crypt(data.input.data(), data.length(), code, 1, data.key, data.iv, text.data(),
                      data.room(), 1, nullptr);
      },
      [&] {
        const int length = bare_encrypt(type(), data);
        EVP_EncodeBlock(text.data(), data.output.data(), length);
      });
}

// In CTR mode, where decrypting the same buffer again and again never fails.
void Decrypt(benchmark::State& state, char code) {
  Data data(state);
  const EVP_CIPHER* (*type)() = kCiphers[static_cast<std::size_t>(code)];
  compare(
      state, data.size,
      [&] {
        wzlb_do_crypt(nullptr, 0, code, 0, data.key, data.iv, data.output.data(), data.length(), 0,
                      nullptr);
      },
      [&] { bare_decrypt(type(), data, data.length()); });
}

void Digest(benchmark::State& state, int algo) {
  Data data(state);
  const EVP_MD* (*type)() = algo == WZLB_DIGEST_SHA1 ? EVP_sha1 : EVP_sha256;
  auto* bytes = reinterpret_cast<char*>(data.input.data());
  compare(
      state, data.size, [&] { wzlb_evp_digest(bytes, data.length(), algo, data.output.data()); },
      [&] {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned length = 0;
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        EVP_DigestInit_ex(context, type(), nullptr);
        EVP_DigestUpdate(context, bytes, data.size);
        EVP_DigestFinal_ex(context, digest, &length);
        EVP_MD_CTX_free(context);
        EVP_EncodeBlock(data.output.data(), digest, static_cast<int>(length));
      });
}

std::string new_private_key() {
  EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr);
  EVP_PKEY* key = nullptr;
  EVP_PKEY_keygen_init(context);
  EVP_PKEY_CTX_set_rsa_keygen_bits(context, 2048);
  EVP_PKEY_keygen(context, &key);
  const wz::PrivateKey owner(key);
  EVP_PKEY_CTX_free(context);
  const wz::BioChain memory(BIO_new(BIO_s_mem()));
  PEM_write_bio_PrivateKey(memory.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

void Sign(benchmark::State& state) {
  Data data(state);
  static std::string pem = new_private_key();
  auto* bytes = reinterpret_cast<char*>(data.input.data());
  std::vector<unsigned char> text(400);
  compare(
      state, std::size_t{65536},  // one call a turn
      [&] {
        wzlb_evp_sign(bytes, data.length(), WZLB_DIGEST_SHA256, pem.data(), text.data(), 400);
      },
      [&] {
        unsigned char signature[256];
        unsigned length = 0;
        BIO* memory = BIO_new_mem_buf(pem.data(), -1);
        EVP_PKEY* key = PEM_read_bio_PrivateKey(memory, nullptr, nullptr, nullptr);
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        EVP_SignInit_ex(context, EVP_sha256(), nullptr);
        EVP_SignUpdate(context, bytes, data.size);
        EVP_SignFinal(context, signature, &length, key);
        EVP_MD_CTX_free(context);
        EVP_PKEY_free(key);
        BIO_free(memory);
        EVP_EncodeBlock(text.data(), signature, static_cast<int>(length));
      });
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(64)->Arg(1024)->Arg(1 << 20)->MinTime(0.1);
}

BENCHMARK_CAPTURE(Encrypt, aes_128_cbc, WZLB_AES_128_CBC)->Apply(sizes);
BENCHMARK_CAPTURE(Encrypt, aes_256_ctr, WZLB_AES_256_CTR)->Apply(sizes);
BENCHMARK_CAPTURE(EncryptToBase64, aes_128_cbc, WZLB_AES_128_CBC)->Apply(sizes);
BENCHMARK_CAPTURE(EncryptToBase64, aes_256_ctr, WZLB_AES_256_CTR)->Apply(sizes);
BENCHMARK_CAPTURE(Decrypt, aes_256_ctr, WZLB_AES_256_CTR)->Apply(sizes);
BENCHMARK_CAPTURE(Digest, sha1, WZLB_DIGEST_SHA1)->Apply(sizes);
BENCHMARK_CAPTURE(Digest, sha256, WZLB_DIGEST_SHA256)->Apply(sizes);
BENCHMARK(Sign)->Apply(sizes);

}  // namespace
