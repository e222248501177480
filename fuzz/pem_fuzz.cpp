// PEM texts where keys are expected, and arbitrary ciphertext for a good key. The first byte says
// which. A key that can be read has a measure and can be freed, any other is refused without a
// question; a ciphertext gives a plaintext that is shorter than it or a failure.
#define OPENSSL_SUPPRESS_DEPRECATED  // RSA_free, for what createRSA returns
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <wz/wz_script.h>

#include <cstring>
#include <string>

#include "fuzz/codec_fuzz.h"
#include "fuzz/fuzz_support.h"
#include "libwzcore/internal/openssl_handles.h"

namespace {

template <typename Write>
std::string pem_text(Write write) {
  const wz::BioChain memory(BIO_new(BIO_s_mem()));
  CHECK(write(memory.get()) == 1);
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

// A key of the process's own.
struct Keys {
  Keys() {
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr);
    EVP_PKEY* key = nullptr;
    CHECK(EVP_PKEY_keygen_init(context) == 1);
    CHECK(EVP_PKEY_CTX_set_rsa_keygen_bits(context, 1024) == 1);
    CHECK(EVP_PKEY_keygen(context, &key) == 1);
    const wz::PrivateKey owner(key);
    EVP_PKEY_CTX_free(context);
    private_key = pem_text([&](BIO* bio) {
      return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
    public_key = pem_text([&](BIO* bio) { return PEM_write_bio_PUBKEY(bio, key); });
  }
  std::string private_key;
  std::string public_key;
};

void check_pem(std::string text) {
  auto* pem = reinterpret_cast<unsigned char*>(text.data());
  for (const int is_public : {0, 1}) {
    RSA* key = createRSA(pem, is_public);
    std::size_t measure = 0;
    Calc_block_set_block_size(pem, &measure, is_public);
    CHECK((key != nullptr) == (measure != 0));
    RSA_free(key);
  }
  unsigned char signature[64];
  const int result =
      wzlb_evp_sign(text.data(), 1, WZLB_DIGEST_SHA256, text.data(), signature, sizeof signature);
  CHECK(result == 0 || result == -1);
}

void check_ciphertext(Keys& keys, std::string_view data, int base64) {
  codec_fuzz::Exact<char> input(data);
  char* plain = nullptr;
  std::size_t length = 0;
  if (wz_rsa_dcrypt(keys.private_key.data(), input.data(), input.size(), base64, &plain, &length) ==
      0) {
    CHECK(length <= data.size());
  }
  std::free(plain);
}

// One block in exactly the room that it needs.
void check_block(Keys& keys, std::string_view data) {
  auto* public_key = reinterpret_cast<unsigned char*>(keys.public_key.data());
  auto* private_key = reinterpret_cast<unsigned char*>(keys.private_key.data());
  codec_fuzz::Exact<unsigned char> input(data);
  codec_fuzz::Exact<unsigned char> block(128);
  const int length = public_encrypt(input.data(), input.size(), public_key, block.data());
  CHECK(length == (data.size() <= 117 ? 128 : -1));
  if (length > 0) {
    codec_fuzz::Exact<unsigned char> plain(data.size());
    CHECK(private_decrypt(block.data(), 128, private_key, plain.data()) == plain.size());
    CHECK(plain.text(data.size()) == data);
  }
}

void check_refusals(Keys& keys) {
  char* out = nullptr;
  std::size_t length = 0;
  char text[] = "YQ==";
  auto* bytes = reinterpret_cast<unsigned char*>(text);
  char* public_key = keys.public_key.data();
  char* private_key = keys.private_key.data();
  auto* private_bytes = reinterpret_cast<unsigned char*>(private_key);
  CHECK(wz_rsa_encrypt(public_key, nullptr, 5, 0, &out, &length) == -1);
  CHECK(wz_rsa_encrypt(public_key, text, -4, 0, &out, &length) == -1);
  CHECK(wz_rsa_encrypt(nullptr, text, 4, 0, &out, &length) == -1);
  CHECK(wz_rsa_encrypt(public_key, text, 4, 0, nullptr, &length) == -1);
  CHECK(wz_rsa_dcrypt(private_key, nullptr, 4, 0, &out, &length) == -1);
  CHECK(wz_rsa_dcrypt(private_key, nullptr, 4, 1, &out, &length) == -1);
  CHECK(wz_rsa_dcrypt(private_key, text, -4, 0, &out, &length) == -1);
  CHECK(wz_rsa_dcrypt(private_key, text, 4, 1, &out, nullptr) == -1);
  CHECK(private_decrypt(bytes, -4, private_bytes, bytes) == -1);
  CHECK(private_decrypt(bytes, 4, private_bytes, nullptr) == -1);
  CHECK(public_encrypt(nullptr, 4, private_bytes, bytes) == -1);
  std::size_t measure = 7;
  Calc_block_set_block_size(nullptr, &measure, 1);
  CHECK(measure == 7);
  Calc_block_set_block_size(private_bytes, &measure, 0);
  CHECK(measure == 309);
}

void check_round_trip(Keys& keys, std::string_view data, int base64) {
  codec_fuzz::Exact<char> input(data);
  char* ciphertext = nullptr;
  std::size_t length = 0;
  CHECK(wz_rsa_encrypt(keys.public_key.data(), input.data(), input.size(), base64, &ciphertext,
                       &length) == 0);
  char* plain = nullptr;
  const std::size_t size = base64 != 0 ? std::strlen(ciphertext) : length;
  const int result = wz_rsa_dcrypt(keys.private_key.data(), ciphertext, static_cast<int>(size),
                                   base64, &plain, &length);
  CHECK(result == (size == 0 && base64 != 0 ? -1 : 0));
  if (result == 0) {
    CHECK(std::string_view(plain, length) == data);
  }
  std::free(plain);
  std::free(ciphertext);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Keys keys;
  if (size == 0) {
    return 0;
  }
  const wz::fuzz::QuietStream quiet;
  const wz::fuzz::QuietStream quiet_output(stdout);
  const std::string_view rest = codec_fuzz::as_text(data + 1, size - 1);
  switch (data[0] % 4) {
    case 0:
      check_ciphertext(keys, rest.substr(0, 1024), 0);
      break;
    case 1:
      check_ciphertext(keys, rest.substr(0, 1024), 1);
      break;
    case 2:
      check_round_trip(keys, rest.substr(0, 1024), data[0] / 4 % 2);
      check_block(keys, rest);
      check_refusals(keys);
      break;
    default:
      check_pem(codec_fuzz::up_to_zero(rest));
  }
  return 0;
}
