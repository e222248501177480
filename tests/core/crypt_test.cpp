#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <wz/wzlb.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/core_log.h"
#include "tests/support/openssl_command.h"

namespace {

using wz::test::core_log_of;
using wz::test::OpensslCommand;
using wz::test::stderr_of;

using Bytes = std::vector<unsigned char>;  // without slack: the sanitizer sees a byte too many

std::string hex(const std::string& bytes) {
  std::string text(2 * bytes.size() + 1, '\0');
  bin2hex(reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())),
          static_cast<int>(bytes.size()), text.data());
  return text.substr(0, 2 * bytes.size());
}

std::string unhex(std::string text) {
  int length = 0;
  char* bytes = wzlb_decode_hex_to_text(text.data(), static_cast<int>(text.size()), &length);
  std::string result(bytes, length);
  WZLB_FREE(bytes, "test", -1);
  return result;
}

std::string filler(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    text[i] = static_cast<char>(i * 131 + (i >> 8));
  }
  return text;
}

constexpr const char* kCounter = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";
constexpr const char* kIv = "000102030405060708090a0b0c0d0e0f";
constexpr const char* kKeys[] = {
    "2b7e151628aed2a6abf7158809cf4f3c", "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
    "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4"};

// The modes by code, with the examples of NIST SP 800-38A.
const struct {
  char code;
  const char* name;
  const char* key;
  const char* iv;
  const char* ciphertext;
} kModes[] = {
    {1, "aes-128-cbc", kKeys[0], kIv,
     "7649ABAC8119B246CEE98E9B12E9197D5086CB9B507219EE95DB113A917678B2"
     "73BED6B8E3C1743B7116E69E222295163FF1CAA1681FAC09120ECA307586E1A7"},
    {2, "aes-128-ctr", kKeys[0], kCounter,
     "874D6191B620E3261BEF6864990DB6CE9806F66B7970FDFF8617187BB9FFFDFF"
     "5AE4DF3EDBD5D35E5B4F09020DB03EAB1E031DDA2FBE03D1792170A0F3009CEE"},
    {3, "aes-192-cbc", kKeys[1], kIv,
     "4F021DB243BC633D7178183A9FA071E8B4D9ADA9AD7DEDF4E5E738763F69145A"
     "571B242012FB7AE07FA9BAAC3DF102E008B0E27988598881D920A9E64F5615CD"},
    {4, "aes-192-ctr", kKeys[1], kCounter,
     "1ABC932417521CA24F2B0459FE7E6E0B090339EC0AA6FAEFD5CCC2C6F4CE8E94"
     "1E36B26BD1EBC670D1BD1D665620ABF74F78A7F6D29809585A97DAEC58C6B050"},
    {5, "aes-192-ecb", kKeys[1], "",
     "BD334F1D6E45F25FF712A214571FA5CC974104846D0AD3AD7734ECB3ECEE4EEF"
     "EF7AFD2270E2E60ADCE0BA2FACE6444E9A4B41BA738D6C72FB16691603C18E0E"},
    {6, "aes-256-cbc", kKeys[2], kIv,
     "F58C4C04D6E5F1BA779EABFB5F7BFBD69CFC4E967EDB808D679F777BC6702C7D"
     "39F23369A9D9BACFA530E26304231461B2EB05E2C39BE9FCDA6C19078C6A9D1B"},
    {7, "aes-256-ctr", kKeys[2], kCounter,
     "601EC313775789A5B7A7F504BBF3D228F443E3CA4D62B59ACA84E990CACAF5C5"
     "2B0930DAA23DE94CE87017BA2D84988DDFC9C58DB67AADA613C2DD08457941A6"},
};

class Aes : public testing::TestWithParam<std::size_t> {
 protected:
  int crypt(bool do_encrypt, unsigned char* buffer, int length, bool base64, Bytes& out) {
    return wzlb_do_crypt(buffer, length, mode.code, base64 ? 1 : 0, key.data(),
                         iv.empty() ? nullptr : iv.data(), out.data(), static_cast<int>(out.size()),
                         do_encrypt ? 1 : 0, message.data());
  }
  bool padded() const { return std::strstr(mode.name, "ctr") == nullptr; }
  std::size_t encrypted_size(std::size_t length) const {
    return padded() ? (length / 16 + 1) * 16 : length;
  }
  std::string encrypt(const std::string& text, bool base64) {
    const std::size_t size = encrypted_size(text.size());
    Bytes buffer(text.begin(), text.end());
    buffer.resize(base64 ? size : text.size());
    Bytes out(base64 ? (size + 2) / 3 * 4 : size);
    EXPECT_EQ(crypt(true, buffer.data(), static_cast<int>(text.size()), base64, out), out.size());
    return {out.begin(), out.end()};
  }
  std::string decrypt(const std::string& ciphertext, bool base64) {
    Bytes text(ciphertext.begin(), ciphertext.end());
    Bytes out = base64 ? Bytes(text.size() / 4 * 3) : text;
    const int length = crypt(false, base64 ? text.data() : nullptr,
                             base64 ? static_cast<int>(text.size()) : -1, base64, out);
    return length < 0 ? "failed" : std::string(out.begin(), out.begin() + length);
  }

  const decltype(kModes[0])& mode = kModes[GetParam()];
  std::string key_bytes = unhex(mode.key), iv_bytes = unhex(mode.iv);
  Bytes key{key_bytes.begin(), key_bytes.end()}, iv{iv_bytes.begin(), iv_bytes.end()};
  std::string message = std::string(4096, '\0');
};
INSTANTIATE_TEST_SUITE_P(Modes, Aes, testing::Range<std::size_t>(0, std::size(kModes)));

TEST_P(Aes, KnownAnswersRoundTripsAndTheOpensslCommand) {
  const std::string known = unhex(
      "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
      "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
  EXPECT_EQ(hex(encrypt(known, false).substr(0, known.size())), mode.ciphertext);
  for (const std::size_t size : {0, 1, 15, 16, 17, 4095, 4096, 1000000}) {
    const std::string text = filler(size);
    EXPECT_EQ(decrypt(encrypt(text, false), false), text) << size;
    EXPECT_EQ(decrypt(encrypt(text, true), true), text) << size;
  }
  const OpensslCommand openssl;
  const std::string arguments = std::string("enc -") + mode.name + " -K " + mode.key +
                                (iv.empty() ? "" : std::string(" -iv ") + mode.iv);
  const std::string text = filler(4095);
  EXPECT_EQ(encrypt(text, false), openssl.run(arguments, text));
  EXPECT_EQ(openssl.run(arguments + " -d -a -A", encrypt(text, true)), text);
  EXPECT_EQ(decrypt(openssl.run(arguments + " -a -A", text), true), text);
}

TEST_P(Aes, DamageIsAFailureOfThePaddedModes) {
  const std::string text = filler(40);
  const std::string ciphertext = encrypt(text, false);
  std::string flipped = ciphertext;
  flipped[ciphertext.size() - 17] = static_cast<char>(flipped[ciphertext.size() - 17] ^ 0x40);
  if (padded() && !iv.empty()) {  // in CBC mode that changes the padding
    EXPECT_EQ(decrypt(flipped, false), "failed");
    EXPECT_EQ(message.substr(0, message.find('\0')),
              "Error in wz_aes_decrypt() API, EVP_DecryptFinal_ex: Unable to encrypt input buffer "
              "= []\n");
  }
  if (padded()) {
    EXPECT_EQ(decrypt(ciphertext.substr(0, 47), false), "failed");
    EXPECT_EQ(decrypt("", false), "failed");
    key[3] = static_cast<unsigned char>(key[3] ^ 1);
    EXPECT_NE(decrypt(ciphertext, false), text);
  }
  EXPECT_EQ(decrypt("abc", true), "failed");
  EXPECT_EQ(message.substr(0, message.find('\0')),
            "Error in wz_aes_decrypt() API, EVP_DecryptUpdate: Unable to encrypt input "
            "decrypted_buffer = [abc]\n");
}

TEST_P(Aes, SizesAndNullsAreFailures) {
  const std::size_t size = encrypted_size(16);
  const int text_size = static_cast<int>((size + 2) / 3 * 4);
  Bytes buffer(size, 'p');
  Bytes out(text_size - 1, '#');
  EXPECT_EQ(crypt(true, buffer.data(), 16, true, out), -1);
  EXPECT_TRUE(message.starts_with("Error in wzlb_encrypt_with_aes[")) << message;
  EXPECT_NE(message.find("], Unable to encrypt input buffer = [pppppppppppppppp]\n"),
            std::string::npos);
  EXPECT_EQ(out, Bytes(text_size - 1, '#'));
  Bytes cut(7);
  EXPECT_EQ(crypt(true, buffer.data(), 16, false, cut), 7) << "cut to its size";
  const EVP_CIPHER* type = EVP_aes_128_cbc();
  Bytes room(64);
  const struct {
    unsigned char* buffer;
    int length;
    const EVP_CIPHER* type;
    unsigned char *key, *iv, *out;
    int size;
  } refused[] = {{nullptr, 4, type, room.data(), room.data(), room.data(), 64},
                 {buffer.data(), -4, type, room.data(), room.data(), room.data(), 64},
                 {buffer.data(), 4, nullptr, room.data(), room.data(), room.data(), 64},
                 {buffer.data(), 4, type, nullptr, room.data(), room.data(), 64},
                 {buffer.data(), 4, type, room.data(), nullptr, room.data(), 64},
                 {buffer.data(), 4, type, room.data(), room.data(), nullptr, 64},
                 {buffer.data(), 4, type, room.data(), room.data(), room.data(), -64}};
  for (const auto& call : refused) {
    for (const auto& function : {wzlb_encrypt_with_aes, wzlb_decrypt_with_aes}) {
      EXPECT_EQ(function(call.buffer, call.length, call.type, call.key, call.iv, 1, call.out,
                         call.size, message.data()),
                -1);
      EXPECT_EQ(function(call.buffer, call.length, call.type, call.key, call.iv, 1, call.out,
                         call.size, nullptr),
                -1);
    }
    EXPECT_EQ(wzlb_encrypt_with_aes(call.buffer, call.length, call.type, call.key, call.iv, 0,
                                    call.out, call.size, message.data()),
              -1);
  }
  const std::string log = core_log_of(-1, ~0ULL, [&] {
    crypt(true, buffer.data(), 16, true, out);
    crypt(true, nullptr, 16, false, out);
  });
  wz::test::expect_in_order(
      log,
      {"Error in wz_aes_encrypt() API, wzlb_encode_base64_ex failed because of insufficient "
       "size of output buffer",
       "Error in wz_aes_encrypt() API, EVP_EncryptUpdate: Unable to encrypt input buffer = []"});
}

TEST(AesCodes, UnknownOnesTouchNothing) {
  char message[] = "untouched";
  for (const int code : {0, 8, 127, 255}) {
    EXPECT_EQ(wzlb_do_crypt(nullptr, 9, static_cast<char>(code), 1, nullptr, nullptr, nullptr, 9, 1,
                            message),
              -1);
  }
  EXPECT_STREQ(message, "untouched");
}

// The text encoder ends at a zero byte of the ciphertext, and finds no text when it is the first.
TEST(Aes128CbcText, IsTheTextEncodersBase64) {
  Bytes key(16, 'k');
  int refused = 0;
  for (int i = 0; i < 2000; ++i) {
    std::string text = "text " + std::to_string(i);
    Bytes raw(16);
    Bytes cipher(25);
    auto* input = reinterpret_cast<unsigned char*>(text.data());
    wzlb_do_crypt(input, static_cast<int>(text.size()), 1, 0, key.data(), key.data(), raw.data(),
                  16, 1, nullptr);
    const int result = wzlb_encrypt_with_aes_128_cbc(key.data(), key.data(), input, cipher.data());
    char* encoded = wzlb_encode_base64(reinterpret_cast<char*>(raw.data()), 16, nullptr);
    EXPECT_EQ(result, encoded != nullptr ? 1 : 0);
    EXPECT_STREQ(reinterpret_cast<char*>(cipher.data()), encoded != nullptr ? encoded : "");
    std::free(encoded);
    refused += result == 0 ? 1 : 0;
  }
  EXPECT_TRUE(refused > 0 && refused < 100) << refused;
  EXPECT_EQ(wzlb_encrypt_with_aes_128_cbc(nullptr, key.data(), key.data(), key.data()), 0);
}

TEST(Digest, KnownAnswersAndTheBoundOfTheText) {
  const std::string million(1000000, 'a');
  const std::string words = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  const std::tuple<std::string, int, std::string> cases[] = {
      {words, 1, "84983E441C3BD26EBAAE4AA1F95129E5E54670F1"},
      {words, 2, "248D6A61D20638B8E5C026930C3E6039A33CE45964FF2167F6ECEDD419DB06C1"},
      {million, 1, "34AA973CD4C4DAA4F61EEB2BDBAD27316534016F"},
      {million, 2, "CDC76E5C9914FB9281A1C7E284D73E67F1809A48A497200E046D39CCC7112CD0"}};
  for (auto [text, algo, expected] : cases) {
    Bytes hash(text.size());
    EXPECT_EQ(wzlb_evp_digest(text.data(), static_cast<int>(text.size()), algo, hash.data()), 0);
    int length = 0;
    auto* coded = reinterpret_cast<char*>(hash.data());
    char* digest = wzlb_decode_base64_to_text(coded, static_cast<int>(std::strlen(coded)), &length);
    EXPECT_EQ(hex({digest, static_cast<std::size_t>(length)}), expected);
    WZLB_FREE(digest, "test", -1);
  }
  char text[] = "0123456789";
  Bytes hash(11, '#');
  EXPECT_EQ(wzlb_evp_digest(text, 10, 1, hash.data()), 0);
  EXPECT_EQ(std::string(hash.begin(), hash.end()), "h6zsF82dzS#");
  EXPECT_EQ(wzlb_evp_digest(nullptr, 0, 2, nullptr), 0);
  for (const int algo : {0, 3, -1}) {
    EXPECT_EQ(wzlb_evp_digest(text, 10, algo, hash.data()), -1);
  }
  EXPECT_EQ(wzlb_evp_digest(text, -1, 1, hash.data()), -1);
  EXPECT_EQ(wzlb_evp_digest(nullptr, 1, 1, hash.data()), -1);
}

TEST(Sign, AsTheOpensslCommandDoes) {
  const OpensslCommand openssl;
  std::string key = openssl.new_key(1024).private_key;
  std::string text = filler(1000);
  Bytes signature(173);
  for (const int algo : {1, 2}) {
    const std::string digest = algo == 1 ? "-sha1" : "-sha256";
    const std::string expected =
        openssl.run("base64 -A", openssl.run("dgst " + digest + " -sign private.pem", text));
    EXPECT_EQ(wzlb_evp_sign(text.data(), 1000, algo, key.data(), signature.data(), 173), 0);
    EXPECT_EQ(reinterpret_cast<char*>(signature.data()), expected);
    Bytes cut(100);
    EXPECT_EQ(wzlb_evp_sign(text.data(), 1000, algo, key.data(), cut.data(), 100), 0);
    EXPECT_EQ(std::string(cut.begin(), cut.end()), expected.substr(0, 100));
  }
  std::string encrypted = openssl.run("rsa -aes128 -passout pass:", key);
  std::string encrypted_pkcs8 = openssl.run("pkcs8 -topk8 -passout pass:", key);
  std::string malformed = key.substr(0, key.size() / 2);
  const auto sign = [&](char* pem, int length, int algo) {
    return wzlb_evp_sign(text.data(), length, algo, pem, signature.data(), 173);
  };
  for (std::string* pem : {&encrypted, &encrypted_pkcs8, &malformed}) {
    EXPECT_NE(stderr_of([&] { EXPECT_EQ(sign(pem->data(), 9, 2), -1); }), "") << *pem;
  }
  EXPECT_EQ(sign(nullptr, 9, 2), -1);
  const std::string log = core_log_of(-1, ~0ULL, [&] { EXPECT_EQ(sign(key.data(), 9, 3), -1); });
  EXPECT_TRUE(log.ends_with("|enc_err_msg")) << log;
  EXPECT_EQ(sign(key.data(), -9, 2), -1);
}

}  // namespace
