// AES both ways on buffers without slack. The first bytes choose the cipher, the way and the size
// of the output; the rest is the input. What was encrypted must decrypt to itself, and arbitrary
// bytes and base64 must give a length within the buffer or a failure that says so. Digests and the
// text form are compared with bare OpenSSL calls.
#include <openssl/evp.h>
#include <wz/wzlb_crypt.h>
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz/codec_fuzz.h"
#include "fuzz/fuzz_support.h"

namespace {

using Bytes = codec_fuzz::Exact<unsigned char>;

struct Choice {
  char code;
  bool base64;
  int output_size;
};

std::size_t encrypted_size(char code, std::size_t length) {
  const bool counter =
      code == WZLB_AES_128_CTR || code == WZLB_AES_192_CTR || code == WZLB_AES_256_CTR;
  return counter ? length : (length / 16 + 1) * 16;
}

class Crypt {
 public:
  int call(const Choice& choice, bool encrypt, Bytes& buffer, int length, Bytes& output) {
    message_[0] = '\0';
    return wzlb_do_crypt(buffer.data(), length, choice.code, choice.base64 ? 1 : 0, key_, iv_,
                         output.data(), output.size(), encrypt ? 1 : 0, message_.data());
  }
  std::string_view message() const { return message_.c_str(); }
  explicit Crypt(std::size_t input) : message_(input + 256, '\0') {}

 private:
  unsigned char key_[32] = {1, 2, 3};
  unsigned char iv_[16] = {4, 5, 6};
  std::string message_;
};

void check_round_trip(const Choice& choice, std::string_view text) {
  Crypt crypt(text.size());
  const std::size_t size = encrypted_size(choice.code, text.size());
  const std::size_t needed = choice.base64 ? (size + 2) / 3 * 4 : size;
  Bytes buffer(choice.base64 ? size : text.size());
  text.copy(reinterpret_cast<char*>(buffer.data()), text.size());
  Bytes ciphertext(needed);
  const int length = static_cast<int>(text.size());
  CHECK(crypt.call(choice, true, buffer, length, ciphertext) == ciphertext.size());
  Bytes plain(choice.base64 ? needed / 4 * 3 : size);
  if (!choice.base64) {
    std::memcpy(plain.data(), ciphertext.data(), size);
  }
  CHECK(crypt.call(choice, false, ciphertext, ciphertext.size(), plain) == length);
  CHECK(plain.text(text.size()) == text);
}

void check_bounds(const Choice& choice, std::string_view data) {
  Crypt crypt(data.size());
  Bytes output(static_cast<std::size_t>(choice.output_size));
  std::memset(output.data(), 'c', static_cast<std::size_t>(output.size()));
  Bytes input(data);
  const int length = crypt.call(choice, false, input, input.size(), output);
  CHECK(length <= output.size());
  CHECK((length >= 0) == crypt.message().empty());
  CHECK(length >= 0 || crypt.message().starts_with("Error in wz_aes_decrypt() API, EVP_Decrypt"));
  if (!choice.base64) {
    Bytes plain(data);
    CHECK(crypt.call(choice, true, plain, plain.size(), output) == output.size());
  }
}

// Calls with one argument missing or negative are refused, whichever way and form.
void check_refusals() {
  unsigned char a[64] = {};
  char message[256];
  const EVP_CIPHER* type = EVP_aes_128_cbc();
  const struct {
    unsigned char* buffer;
    int length;
    const EVP_CIPHER* type;
    unsigned char* key;
    unsigned char* iv;
    unsigned char* out;
    int size;
  } calls[] = {{nullptr, 4, type, a, a, a, 64}, {a, -4, type, a, a, a, 64},
               {a, 4, nullptr, a, a, a, 64},    {a, 4, type, nullptr, a, a, 64},
               {a, 4, type, a, nullptr, a, 64}, {a, 4, type, a, a, nullptr, 64},
               {a, 4, type, a, a, a, -64}};
  for (const auto& c : calls) {
    for (const int form : {0, 1, 2, 3}) {
      const auto call = form < 2 ? wzlb_encrypt_with_aes : wzlb_decrypt_with_aes;
      char* told = form % 2 == 0 ? message : nullptr;
      CHECK(call(c.buffer, c.length, c.type, c.key, c.iv, static_cast<char>(form % 2), c.out,
                 c.size, told) == -1);
    }
  }
  CHECK(wzlb_encrypt_with_aes_128_cbc(nullptr, a, a, a) == 0);
  CHECK(wzlb_encrypt_with_aes_128_cbc(a, a, a, nullptr) == 0);
  char text[] = "text";
  CHECK(wzlb_evp_digest(text, 4, 0, a) == -1);
  CHECK(wzlb_evp_digest(text, 4, 3, a) == -1);
  CHECK(wzlb_evp_digest(text, -4, 1, a) == -1);
  CHECK(wzlb_evp_digest(nullptr, 4, 1, a) == -1);
  CHECK(wzlb_evp_digest(text, 4, 1, nullptr) == -1);
}

// The result is cut to the length of the input.
void check_digest(std::string_view data) {
  for (const int algo : {WZLB_DIGEST_SHA1, WZLB_DIGEST_SHA256}) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(data.data(), data.size(), digest, &length,
               algo == WZLB_DIGEST_SHA1 ? EVP_sha1() : EVP_sha256(), nullptr);
    unsigned char expected[2 * EVP_MAX_MD_SIZE];
    const auto size = static_cast<std::size_t>(
        EVP_EncodeBlock(expected, digest, static_cast<int>(length)) + 1);  // the NUL too
    Bytes input(data);
    Bytes hash(data.size());
    CHECK(wzlb_evp_digest(reinterpret_cast<char*>(input.data()), input.size(), algo, hash.data()) ==
          0);
    CHECK(std::memcmp(hash.data(), expected, std::min(size, data.size())) == 0);
  }
}

// The text encoder ends at a zero byte of the ciphertext, and finds no text when it is the first.
void check_text_form(std::string_view data) {
  std::string text = codec_fuzz::up_to_zero(data);
  auto* input = reinterpret_cast<unsigned char*>(text.data());
  unsigned char key[16] = {7, 8, 9};
  const std::size_t size = encrypted_size(WZLB_AES_128_CBC, text.size());
  Bytes raw(size);
  CHECK(wzlb_do_crypt(input, static_cast<int>(text.size()), WZLB_AES_128_CBC, 0, key, key,
                      raw.data(), raw.size(), 1, nullptr) == raw.size());
  Bytes cipher((size + 2) / 3 * 4 + 1);
  const int result = wzlb_encrypt_with_aes_128_cbc(key, key, input, cipher.data());
  CHECK(result == (raw.data()[0] != 0 ? 1 : 0));
  if (result == 1) {
    const std::string expected = codec_fuzz::take(
        wzlb_encode_base64(reinterpret_cast<char*>(raw.data()), raw.size(), nullptr));
    CHECK(expected == reinterpret_cast<char*>(cipher.data()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) {
    return 0;
  }
  const wz::fuzz::QuietStream quiet;
  const wz::fuzz::QuietStream quiet_output(stdout);
  const Choice choice{static_cast<char>(1 + data[0] % 7), data[1] % 2 == 1, data[2]};
  const std::string_view rest = codec_fuzz::as_text(data + 3, size - 3);
  check_round_trip(choice, rest);
  check_bounds(choice, rest);
  check_refusals();
  check_digest(rest);
  check_text_form(rest);
  return 0;
}
