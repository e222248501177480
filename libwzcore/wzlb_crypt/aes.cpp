// AES in one call: a fresh context, one update, one final. What may go wrong on the way has the
// same few texts everywhere, so a run of the cipher names the OpenSSL call that refused and the
// exported functions put that into their words.
#include <openssl/err.h>
#include <wz/wzlb_crypt.h>
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "libwzcore/internal/openssl_handles.h"
#include "libwzcore/internal/trace.h"
#include "libwzcore/wzlb_encode_decode/base64_core.h"

namespace wz {
namespace {

enum class Direction { kDecrypt = 0, kEncrypt = 1 };  // as EVP_CipherInit_ex counts them

struct Cipher {
  const EVP_CIPHER* type;
  const unsigned char* key;
  const unsigned char* iv;
};

// The bytes that a failure message shows: as far as the input was said to go, or to a zero byte.
struct Echo {
  Echo(const unsigned char* input, int input_length) noexcept
      : length(input != nullptr ? std::max(input_length, 0) : 0),
        text(input != nullptr ? reinterpret_cast<const char*>(input) : "") {}
  int length;
  const char* text;
};

enum class Step { kUpdate, kFinal, kNone };

struct CipherRun {
  int length;   // bytes written
  Step failed;  // kNone when all went well
};

// Whether OpenSSL can be called with these at all. It does not check them itself: a null key would
// leave a context of some versions with whatever key the memory holds.
bool complete(const Cipher& cipher) noexcept {
  return cipher.type != nullptr && cipher.key != nullptr &&
         (cipher.iv != nullptr || EVP_CIPHER_iv_length(cipher.type) == 0);
}

// Runs the cipher over `length` bytes. `output` may be `input` and has room for whole blocks.
CipherRun run(const Cipher& cipher, Direction direction, const unsigned char* input, int length,
              unsigned char* output) noexcept {
  const CipherContext context(EVP_CIPHER_CTX_new());
  int updated = 0;
  if (!context ||
      EVP_CipherInit_ex(context.get(), cipher.type, nullptr, cipher.key, cipher.iv,
                        static_cast<int>(direction)) != 1 ||
      EVP_CipherUpdate(context.get(), output, &updated, input, length) != 1) {
    return {0, Step::kUpdate};
  }
  int finished = 0;
  if (EVP_CipherFinal_ex(context.get(), output + updated, &finished) != 1) {
    return {0, Step::kFinal};
  }
  return {updated + finished, Step::kNone};
}

// Bytes of ciphertext, padding included; -1 when OpenSSL must not be called with these arguments.
long ciphertext_size(const Cipher& cipher, const unsigned char* input, int length) noexcept {
  if (!complete(cipher) || length < 0 || (input == nullptr && length > 0)) {
    return -1;
  }
  const long block = EVP_CIPHER_block_size(cipher.type);
  const long size = block > 1 ? (length / block + 1) * block : length;
  return size <= INT_MAX ? size : -1;
}

// Encrypts into `output`, or as much of the ciphertext as fits its `size` bytes.
CipherRun encrypt(const Cipher& cipher, const unsigned char* input, int length,
                  unsigned char* output, int size) noexcept {
  constexpr CipherRun kRefused{0, Step::kUpdate};
  const long needed = ciphertext_size(cipher, input, length);
  if (needed < 0 || size < 0 || (output == nullptr && size > 0)) {
    return kRefused;
  }
  if (needed <= size) {
    return run(cipher, Direction::kEncrypt, input, length, output);
  }
  const CleansedBlock whole(static_cast<std::size_t>(needed));
  if (whole.get() == nullptr) {
    return kRefused;
  }
  const CipherRun result = run(cipher, Direction::kEncrypt, input, length, whole.get());
  if (result.failed == Step::kNone && size > 0) {
    std::memcpy(output, whole.get(), static_cast<std::size_t>(std::min(size, result.length)));
  }
  return result;
}

CipherRun decrypt_in_place(const Cipher& cipher, unsigned char* text, int length) noexcept {
  if (!complete(cipher) || length < 0 || (text == nullptr && length > 0)) {
    return {0, Step::kUpdate};
  }
  return run(cipher, Direction::kDecrypt, text, length, text);
}

constexpr const char* openssl_call(Direction direction, Step step) noexcept {
  if (direction == Direction::kEncrypt) {
    return step == Step::kUpdate ? "EVP_EncryptUpdate" : "EVP_EncryptFinal_ex";
  }
  return step == Step::kUpdate ? "EVP_DecryptUpdate" : "EVP_DecryptFinal_ex";
}

// The text in `enc_err_msg` is the same for every failure of an encryption; `line` is where it was
// noticed.
void describe_failed_encryption(char* enc_err_msg, const Echo& input, int line) noexcept {
  if (enc_err_msg != nullptr) {
    std::sprintf(enc_err_msg, "Error in %s[%d], Unable to encrypt input buffer = [%.*s]\n",
                 "wzlb_encrypt_with_aes", line, input.length, input.text);
  }
}

// Reports the OpenSSL call that refused and returns -1.
int encryption_failed(Step step, char* enc_err_msg, const Echo& input, int line) noexcept {
  WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC,
             "Error in wz_aes_encrypt() API, %s: Unable to encrypt input buffer = [%.*s]",
             openssl_call(Direction::kEncrypt, step), input.length, input.text);
  describe_failed_encryption(enc_err_msg, input, line);
  ERR_print_errors_fp(stderr);
  return -1;
}

// Traces a failed decryption, puts the same text into `enc_err_msg` and returns -1.
int decryption_failed(Step step, char* enc_err_msg, const Echo& input) noexcept {
  // Deliberate: the texts speak of encrypting; people search their logs for these very words.
  const char* what = step == Step::kUpdate ? "decrypted_buffer" : "buffer";
  WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC,
             "Error in wz_aes_decrypt() API, %s: Unable to encrypt input %s = [%.*s]",
             openssl_call(Direction::kDecrypt, step), what, input.length, input.text);
  if (enc_err_msg != nullptr) {
    std::sprintf(enc_err_msg,
                 "Error in wz_aes_decrypt() API, %s: Unable to encrypt input %s = [%.*s]\n",
                 openssl_call(Direction::kDecrypt, step), what, input.length, input.text);
  }
  ERR_print_errors_fp(stderr);
  return -1;
}

// Encrypts `buffer` where it lies, which is where callers expect the ciphertext, and writes its
// base64.
int encrypt_to_base64(const Cipher& cipher, unsigned char* buffer, int length,
                      unsigned char* output, int size, char* enc_err_msg) noexcept {
  const Echo input(buffer, length);
  const long needed = ciphertext_size(cipher, buffer, length);
  if (needed < 0 || (buffer == nullptr && needed > 0) || (output == nullptr && size > 0)) {
    return encryption_failed(Step::kUpdate, enc_err_msg, input, __LINE__);
  }
  const bool fits =
      static_cast<long>(base64::encoded_size(static_cast<std::size_t>(needed))) <= size;
  if (!fits) {
    describe_failed_encryption(enc_err_msg, input, __LINE__);  // while the input is still there
  }
  const CipherRun result = run(cipher, Direction::kEncrypt, buffer, length, buffer);
  if (result.failed != Step::kNone) {
    return encryption_failed(result.failed, enc_err_msg, input, __LINE__);
  }
  if (!fits) {
    WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC,
               "Error in wz_aes_encrypt() API, wzlb_encode_base64_ex failed because of "
               "insufficient size of output buffer");
    return -1;
  }
  return wzlb_encode_base64_ex(buffer, result.length, output, size);
}

using CipherDescription = const EVP_CIPHER* (*)();

// The ciphers of wzlb_do_crypt by code; 0 is none.
constexpr std::array<CipherDescription, 8> kCiphers = {
    nullptr,         EVP_aes_128_cbc, EVP_aes_128_ctr, EVP_aes_192_cbc,
    EVP_aes_192_ctr, EVP_aes_192_ecb, EVP_aes_256_cbc, EVP_aes_256_ctr};

struct FreeText {
  void operator()(char* text) const noexcept { std::free(text); }
};

}  // namespace
}  // namespace wz

int wzlb_encrypt_with_aes(unsigned char* buffer, int buff_length, const EVP_CIPHER* type,
                          unsigned char* key, unsigned char* iv, char do_base64_encoding,
                          unsigned char* out_buffer, int out_buffer_size, char* enc_err_msg) {
  using namespace wz;
  const Cipher cipher{type, key, iv};
  if (do_base64_encoding != 0) {
    return encrypt_to_base64(cipher, buffer, buff_length, out_buffer, out_buffer_size, enc_err_msg);
  }
  const Echo input(buffer, buff_length);
  const CipherRun result = encrypt(cipher, buffer, buff_length, out_buffer, out_buffer_size);
  if (result.failed != Step::kNone) {
    return encryption_failed(result.failed, enc_err_msg, input, __LINE__);
  }
  // Deliberate: callers size the buffer to the ciphertext and read the size back as its length.
  return out_buffer_size;
}

int wzlb_decrypt_with_aes(unsigned char* buffer, int buff_length, const EVP_CIPHER* type,
                          unsigned char* key, unsigned char* iv, char do_base64_decoding,
                          unsigned char* out_buffer, int out_buffer_size, char* enc_err_msg) {
  using namespace wz;
  const bool coded = do_base64_decoding != 0;
  int length = out_buffer_size;
  if (coded) {
    length =
        (buffer == nullptr && buff_length > 0) || (out_buffer == nullptr && out_buffer_size > 0)
            ? -1
            : wzlb_decode_base64_ex(buffer, buff_length, out_buffer, out_buffer_size);
  }
  // Raw, the ciphertext is in out_buffer and `buffer` may be anything: it is not even shown.
  const Echo input(coded ? buffer : nullptr, buff_length);
  const CipherRun result = decrypt_in_place({type, key, iv}, out_buffer, length);
  if (result.failed != Step::kNone) {
    return decryption_failed(result.failed, enc_err_msg, input);
  }
  return result.length;
}

int wzlb_do_crypt(unsigned char* buffer, int buff_length, char encryption_algo,
                  char do_base64_encoding, unsigned char* key, unsigned char* iv,
                  unsigned char* out_buffer, int out_buffer_size, char do_encrypt,
                  char* enc_err_msg) {
  WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC,
             "Method called. buff_length = %d, encryption_algo = %d, do_base64_encoding = %d, "
             "out_buffer_size = %d, do_encrypt = %d",
             buff_length, encryption_algo, do_base64_encoding, out_buffer_size, do_encrypt);
  const auto code = static_cast<unsigned char>(encryption_algo);
  if (code == 0 || code >= wz::kCiphers.size()) {
    return -1;
  }
  const auto call = do_encrypt != 0 ? wzlb_encrypt_with_aes : wzlb_decrypt_with_aes;
  return call(buffer, buff_length, wz::kCiphers[code](), key, iv, do_base64_encoding, out_buffer,
              out_buffer_size, enc_err_msg);
}

int wzlb_encrypt_with_aes_128_cbc(unsigned char* key, unsigned char* iv, unsigned char* intext,
                                  unsigned char* cipher) {
  using namespace wz;
  if (intext == nullptr || cipher == nullptr) {
    return 0;
  }
  const std::size_t length = std::strlen(reinterpret_cast<const char*>(intext));
  const CipherRun result = length > INT_MAX - EVP_MAX_BLOCK_LENGTH
                               ? CipherRun{0, Step::kUpdate}
                               : encrypt({EVP_aes_128_cbc(), key, iv}, intext,
                                         static_cast<int>(length), cipher, INT_MAX);
  if (result.failed != Step::kNone) {
    ERR_print_errors_fp(stderr);
    return 0;
  }
  auto* text = reinterpret_cast<char*>(cipher);
  const std::unique_ptr<char, FreeText> encoded(wzlb_encode_base64(text, result.length, nullptr));
  if (!encoded) {
    return 0;
  }
  std::memcpy(text, encoded.get(), std::strlen(encoded.get()) + 1);
  return 1;
}
