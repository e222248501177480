// RSA for data of any length: the data is cut into chunks that fit a block, each block stands on
// its own. Only 2048- and 1024-bit keys are taken; they are told by the digits of their modulus.
#include <wz/wz_script.h>
#include <wz/wzlb_alloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>

#include "vsd/rsa_key.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr const char* kEncryptFailed = "Public encrypt failed";
constexpr const char* kDecryptFailed = "Private decrypt failed";

const char* as_text(const unsigned char* bytes) noexcept {
  return reinterpret_cast<const char*>(bytes);
}

unsigned char* as_bytes(char* text) noexcept {
  return reinterpret_cast<unsigned char*>(text);
}

// The argument bytes; nothing for a negative length or bytes that are missing.
std::optional<Bytes> bytes_of(const void* bytes, int length) noexcept {
  if (length < 0 || (bytes == nullptr && length > 0)) {
    return std::nullopt;
  }
  return Bytes(static_cast<const unsigned char*>(bytes), static_cast<std::size_t>(length));
}

constexpr KeyKind kind_of(int is_public) noexcept {
  return is_public != 0 ? KeyKind::kPublic : KeyKind::kPrivate;
}

// A key that is needed for more than its object.
RsaKey usable_key(const char* pem, KeyKind kind) noexcept {
  RsaKey key = RsaKey::read(pem, kind);
  if (!key) {
    VSD_ERROR_AS("Calc_block_set_block_size", WZLB_LEVEL_2, "Unable to create RSA");
  }
  return key;
}

// Whether the key has one of the two sizes. The digits alone would let in moduli of a bit more.
bool has_known_size(const RsaKey& key) noexcept {
  if (!key) {
    return false;
  }
  const std::size_t digits = key.digits();
  return (digits == 617 && key.size() == 256) || (digits == 309 && key.size() == 128);
}

// Says in both logs what failed in `function` and returns -1.
int failed(const char* function, const char* what) noexcept {
  VSD_TRACE_AS(function, WZLB_LEVEL_1, kModuleApi, "%s", what);
  VSD_ERROR_AS(function, WZLB_LEVEL_2, "%s", what);
  return -1;
}

struct FreeBytes {
  void operator()(unsigned char* bytes) const noexcept { std::free(bytes); }
};
struct FreeTrackedText {
  void operator()(char* text) const noexcept { WZLB_FREE(text, "encode_hmac_buffer", -1); }
};

// Encrypts `data` in chunks; `output` has room for a block for each. The length of the ciphertext,
// or nothing when a chunk was refused.
std::optional<std::size_t> encrypt_chunks(const RsaKey& key, Bytes data,
                                          unsigned char* output) noexcept {
  const std::size_t chunk_size = key.size() - RsaKey::kPaddingSize;
  std::size_t total_encrypted = 0;
  for (std::size_t handled = 0; handled < data.size();) {
    const Bytes chunk = data.subspan(handled, std::min(chunk_size, data.size() - handled));
    const int length = key.encrypt(chunk, output + total_encrypted);
    if (length < 0) {
      return std::nullopt;
    }
    handled += chunk.size();
    total_encrypted += static_cast<std::size_t>(length);
    if (chunk.size() == chunk_size) {
      VSD_TRACE_AS("encrypt_with_rsa", WZLB_LEVEL_3, kModuleApi,
                   "total_handled = [%d] and total encrypted = [%d] \n ", static_cast<int>(handled),
                   static_cast<int>(total_encrypted));
    }
  }
  return total_encrypted;
}

// Replaces the ciphertext in `*buffer` by its base64. False, with the ciphertext still there, when
// that fails.
bool replace_by_base64(char** buffer, std::size_t length) noexcept {
  char* encoded = nullptr;
  if (Base64Encode(as_bytes(*buffer), length, &encoded) != 0) {
    return false;
  }
  const std::unique_ptr<char, FreeTrackedText> text(encoded);
  VSD_TRACE_AS("encrypt_with_rsa", WZLB_LEVEL_3, kModuleApi, "Output (base64): %s\n", text.get());
  const std::size_t size = std::strlen(text.get()) + 1;
  auto* resized = static_cast<char*>(std::realloc(*buffer, size));
  if (resized == nullptr) {
    return false;
  }
  std::memcpy(resized, text.get(), size);
  *buffer = resized;
  return true;
}

// Decrypts block by block into `output`; a short block at the end is tried as one more. The length
// of the plaintext, or nothing when a block was refused. `last_length` gets that of the last block.
std::optional<std::size_t> decrypt_blocks(const RsaKey& key, Bytes data, unsigned char* output,
                                          int& last_length) noexcept {
  std::size_t total_decrypted = 0;
  while (!data.empty()) {
    const std::size_t size = std::min(key.size(), data.size());
    last_length = key.decrypt(data.first(size), output + total_decrypted);
    if (last_length < 0) {
      return std::nullopt;
    }
    total_decrypted += static_cast<std::size_t>(last_length);
    data = data.subspan(size);
  }
  return total_decrypted;
}

// The ciphertext of a decryption; the decoded bytes live in `decoded`.
struct Ciphertext {
  std::unique_ptr<unsigned char, FreeBytes> decoded;
  std::optional<Bytes> bytes;  // nothing: no ciphertext
  unsigned char* output;       // where the plaintext goes; null: no memory
};

Ciphertext raw_ciphertext(const unsigned char* input, int length) noexcept {
  Ciphertext result{nullptr, bytes_of(input, length), nullptr};
  if (result.bytes) {
    const std::size_t size = std::max<std::size_t>(result.bytes->size(), 1);
    result.output = static_cast<unsigned char*>(std::malloc(size));
  }
  return result;
}

// Decodes the text and makes room for the plaintext in its place.
Ciphertext base64_ciphertext(unsigned char* input) noexcept {
  Ciphertext result{nullptr, std::nullopt, input};
  if (input == nullptr) {
    return result;
  }
  const bool empty = *input == '\0';
  unsigned char* decoded = nullptr;
  int length = 0;
  Base64Decode(reinterpret_cast<char*>(input), &decoded, &length);
  result.decoded.reset(decoded);
  std::memset(input, 0, static_cast<std::size_t>(length));
  if (empty || length > 0) {  // else it is no base64
    result.bytes = bytes_of(decoded, length);
  }
  return result;
}

// The characters of base64 in the first `length` of `text`, without line feeds and backslashes, as
// a new NUL-terminated block for free(); null when there are none.
char* trim_string(const char* text, int length) noexcept {
  if (text == nullptr || length <= 0) {
    return nullptr;
  }
  const std::size_t count = strnlen(text, static_cast<std::size_t>(length));
  auto* trimmed = static_cast<char*>(std::malloc(count + 1));
  if (trimmed == nullptr) {
    return nullptr;
  }
  char* const end =
      std::copy_if(text, text + count, trimmed, [](char c) { return c != '\n' && c != '\\'; });
  *end = '\0';
  if (end == trimmed) {
    std::free(trimmed);
    return nullptr;
  }
  return trimmed;
}

}  // namespace
}  // namespace wz::script

RSA* createRSA(unsigned char* key, int is_public) {
  using namespace wz::script;
  return RsaKey::read(as_text(key), kind_of(is_public)).release();
}

void Calc_block_set_block_size(unsigned char* key, size_t* key_len, int argument) {
  using namespace wz::script;
  const RsaKey rsa = usable_key(as_text(key), kind_of(argument));
  if (rsa && key_len != nullptr) {
    *key_len = rsa.digits();
  }
}

int public_encrypt(unsigned char* data, int data_len, unsigned char* key,
                   unsigned char* encrypted) {
  using namespace wz::script;
  const auto block = bytes_of(data, data_len);
  const RsaKey rsa = RsaKey::read(as_text(key), KeyKind::kPublic);
  return rsa && block && encrypted != nullptr ? rsa.encrypt(*block, encrypted) : -1;
}

int private_decrypt(unsigned char* enc_data, int data_len, unsigned char* key,
                    unsigned char* decrypted) {
  using namespace wz::script;
  const auto block = bytes_of(enc_data, data_len);
  const RsaKey rsa = RsaKey::read(as_text(key), KeyKind::kPrivate);
  return rsa && block && decrypted != nullptr ? rsa.decrypt(*block, decrypted) : -1;
}

int encrypt_with_rsa(char* public_key, char* buffer, int file_size, char** input_buffer,
                     int base64_input_flag, size_t* encoded_length) {
  using namespace wz::script;
  const auto data = bytes_of(buffer, file_size);
  VSD_TRACE(WZLB_LEVEL_4, kModuleApi, "Method Called. Text is [%.*s]", data ? file_size : 0,
            buffer);
  const RsaKey key = usable_key(public_key, KeyKind::kPublic);
  if (!has_known_size(key)) {
    VSD_ERROR(WZLB_LEVEL_2, "Unknown Key size");
    return -1;
  }
  if (!data || input_buffer == nullptr || encoded_length == nullptr) {
    return failed(__func__, kEncryptFailed);
  }
  const std::size_t block_size = key.size();
  const std::size_t chunks = data->size() / (block_size - RsaKey::kPaddingSize);
  const std::size_t remaining = data->size() % (block_size - RsaKey::kPaddingSize);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "chunks_length [%d] and remaing_chunk_length [%d] \n ",
            static_cast<int>(chunks), static_cast<int>(remaining));
  auto* output =
      static_cast<char*>(std::calloc((chunks + (remaining > 0 ? 1 : 0)) * block_size + 1, 1));
  *input_buffer = output;
  const auto total =
      output != nullptr ? encrypt_chunks(key, *data, as_bytes(output)) : std::nullopt;
  if (!total) {
    return failed(__func__, kEncryptFailed);
  }
  // Deliberately the length of the raw ciphertext also when base64 takes its place.
  *encoded_length = *total;
  if (base64_input_flag != 0 && !replace_by_base64(input_buffer, *total)) {
    return failed(__func__, kEncryptFailed);
  }
  return 0;
}

int decrypt_with_rsa(char* privateKey, unsigned char* input_buffer, int input_buffer_length,
                     int base64_input_flag, char** output_buffer, size_t* decoded_length) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "method called ");
  if (output_buffer == nullptr || decoded_length == nullptr) {
    return failed(__func__, kDecryptFailed);
  }
  const Ciphertext ciphertext = base64_input_flag != 0
                                    ? base64_ciphertext(input_buffer)
                                    : raw_ciphertext(input_buffer, input_buffer_length);
  *output_buffer = reinterpret_cast<char*>(ciphertext.output);
  const RsaKey key = usable_key(privateKey, KeyKind::kPrivate);
  if (!has_known_size(key)) {
    VSD_ERROR(WZLB_LEVEL_2, "wrong key size");
    return -1;
  }
  if (!ciphertext.bytes || ciphertext.output == nullptr) {
    return failed(__func__, kDecryptFailed);
  }
  int last_length = 0;
  const auto total = decrypt_blocks(key, *ciphertext.bytes, ciphertext.output, last_length);
  if (!total) {
    return failed(__func__, kDecryptFailed);
  }
  *decoded_length = *total;
  VSD_TRACE(WZLB_LEVEL_4, kModuleApi,
            "Method Called. Decrypted_text is [%.*s] and Decrypted_Length is [%d] decr_len=[%d]",
            static_cast<int>(*total), as_text(ciphertext.output), static_cast<int>(*total),
            last_length);
  return 0;
}

int wz_rsa_encrypt(char* public_key, char* buffer, int buffer_size, int base64_incode_decode,
                   char** encoded_buffer, size_t* encoded_length) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called input buffer size is [%d]", buffer_size);
  return encrypt_with_rsa(public_key, buffer, buffer_size, encoded_buffer, base64_incode_decode,
                          encoded_length);
}

int wz_rsa_dcrypt(char* private_key, char* encode_buffer, int encoded_length,
                  int base64_incode_decode, char** decoded_output_buffer, size_t* decoded_length) {
  using namespace wz::script;
  if (base64_incode_decode != 1) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called  encoded_length is [%d]", encoded_length);
    return decrypt_with_rsa(private_key, as_bytes(encode_buffer), encoded_length,
                            base64_incode_decode, decoded_output_buffer, decoded_length);
  }
  char* trimmed = trim_string(encode_buffer, encoded_length);
  if (trimmed == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Encoded buffer NULL");
    return -1;
  }
  std::fprintf(stderr, "string is [%s] \n ", trimmed);
  // The plaintext takes the place of the copy, which so becomes the caller's.
  const int result =
      decrypt_with_rsa(private_key, as_bytes(trimmed), static_cast<int>(std::strlen(trimmed)),
                       base64_incode_decode, decoded_output_buffer, decoded_length);
  if (decoded_output_buffer == nullptr || decoded_length == nullptr) {
    std::free(trimmed);  // it was refused at once
  }
  return result;
}
