#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/core_log.h"
#include "tests/support/openssl_command.h"

namespace {

using wz::test::core_log_of;
using wz::test::OpensslCommand;
using Bytes = std::vector<unsigned char>;  // without slack: the sanitizer sees a byte too many

Bytes unhex(std::string text) {
  int length = 0;
  const std::unique_ptr<char, decltype(&std::free)> bytes(
      wzlb_decode_hex_to_text(text.data(), static_cast<int>(text.size()), &length), std::free);
  return {bytes.get(), bytes.get() + length};
}

// The first two blocks of the examples of NIST SP 800-38A, by code.
const std::tuple<char, std::string, const char*> kModes[] = {
    {1, "aes-128-cbc", "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"},
    {2, "aes-128-ctr", "874d6191b620e3261bef6864990db6ce9806f66b7970fdff8617187bb9fffdff"},
    {3, "aes-192-cbc", "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a"},
    {4, "aes-192-ctr", "1abc932417521ca24f2b0459fe7e6e0b090339ec0aa6faefd5ccc2c6f4ce8e94"},
    {5, "aes-192-ecb", "bd334f1d6e45f25ff712a214571fa5cc974104846d0ad3ad7734ecb3ecee4eef"},
    {6, "aes-256-cbc", "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"},
    {7, "aes-256-ctr", "601ec313775789a5b7a7f504bbf3d228f443e3ca4d62b59aca84e990cacaf5c5"}};

const std::map<std::string, std::string> kKeys = {
    {"128", "2b7e151628aed2a6abf7158809cf4f3c"},
    {"192", "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b"},
    {"256", "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4"}};

class Aes : public testing::TestWithParam<std::tuple<char, std::string, const char*>> {
 protected:
  int crypt(bool encrypt, Bytes& in, std::size_t length, bool base64, Bytes& out) {
    return wzlb_do_crypt(in.data(), static_cast<int>(length), std::get<0>(GetParam()), base64,
                         key.data(), iv.data(), out.data(), static_cast<int>(out.size()), encrypt,
                         message.data());
  }
  Bytes encrypt(Bytes text, bool base64) {
    const std::size_t length = text.size();
    const std::size_t size = counter ? length : (length / 16 + 1) * 16;
    text.resize(base64 ? size : length);
    Bytes out(base64 ? (size + 2) / 3 * 4 : size);
    EXPECT_EQ(crypt(true, text, length, base64, out), static_cast<int>(out.size()));
    return out;
  }
  Bytes decrypt(Bytes text, bool base64) {
    Bytes out = base64 ? Bytes(text.size() / 4 * 3) : text;
    const int length = crypt(false, text, text.size(), base64, out);
    return length < 0 ? unhex("dead") : Bytes(out.begin(), out.begin() + length);
  }

  const std::string mode = std::get<1>(GetParam());
  const bool counter = mode.ends_with("ctr");
  const std::string key_text = kKeys.at(mode.substr(4, 3));
  const std::string iv_text =
      counter ? "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff" : "000102030405060708090a0b0c0d0e0f";
  Bytes key = unhex(key_text), iv = unhex(mode.ends_with("ecb") ? "" : iv_text);
  std::string message = std::string(4096, '\0');
};
INSTANTIATE_TEST_SUITE_P(Modes, Aes, testing::ValuesIn(kModes));

TEST_P(Aes, KnownAnswersRoundTripsAndTheOpensslCommand) {
  Bytes known =
      encrypt(unhex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"), false);
  known.resize(32);
  EXPECT_EQ(known, unhex(std::get<2>(GetParam())));
  Bytes text;
  for (const std::size_t size : {1000000U, 4096U, 4095U, 17U, 16U, 15U, 1U, 0U}) {
    text.resize(size, static_cast<unsigned char>(size));
    for (const bool base64 : {false, true}) {
      EXPECT_EQ(decrypt(encrypt(text, base64), base64), text) << size;
    }
  }
  const OpensslCommand openssl;
  const std::string arguments =
      "enc -" + mode + " -K " + key_text + (iv.empty() ? "" : " -iv " + iv_text);
  const std::string ours(500, 'o');
  const auto theirs = openssl.run(arguments + " -a -A", ours);
  EXPECT_EQ(decrypt({theirs.begin(), theirs.end()}, true), Bytes(ours.begin(), ours.end()));
  const Bytes raw = encrypt({ours.begin(), ours.end()}, false);
  EXPECT_EQ(openssl.run(arguments + " -d", {raw.begin(), raw.end()}), ours);
}

TEST_P(Aes, DamageAndSizesOneShort) {
  const Bytes text(40, 't');
  Bytes ciphertext = encrypt(text, false);
  Bytes cut(7);
  EXPECT_EQ(crypt(true, ciphertext, 40, false, cut), 7) << "cut to its size";
  const std::string failure = "Error in wz_aes_decrypt() API, EVP_Decrypt";
  if (!counter) {
    ciphertext[47] = static_cast<unsigned char>(ciphertext[47] ^ 1);
    EXPECT_EQ(decrypt(ciphertext, false), unhex("dead"));
    EXPECT_STREQ(message.c_str(),
                 (failure + "Final_ex: Unable to encrypt input buffer = []\n").c_str());
    ciphertext.resize(47);
    EXPECT_EQ(decrypt(ciphertext, false), unhex("dead"));
  }
  EXPECT_EQ(decrypt({'Y', 'Q', '='}, true), unhex("dead"));
  EXPECT_STREQ(message.c_str(),
               (failure + "Update: Unable to encrypt input decrypted_buffer = [YQ=]\n").c_str());
  Bytes input(48, 'p');
  Bytes out(counter ? 55 : 63, '#');
  const std::string log =
      core_log_of(-1, ~0ULL, [&] { EXPECT_EQ(crypt(true, input, 40, true, out), -1); });
  EXPECT_EQ(out, Bytes(out.size(), '#'));
  EXPECT_TRUE(message.starts_with("Error in wzlb_encrypt_with_aes["));
  EXPECT_STREQ(message.c_str() + message.find("], "),
               ("], Unable to encrypt input buffer = [" + std::string(40, 'p') + "]\n").c_str());
  EXPECT_TRUE(
      log.ends_with("|Error in wz_aes_encrypt() API, wzlb_encode_base64_ex failed because "
                    "of insufficient size of output buffer"));
}

// The examples of FIPS 180, in base64.
TEST(Digest, KnownAnswersAndTheBoundOfTheText) {
  std::string words = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  std::string million(1000000, 'a');
  const std::tuple<char*, int, int, const char*> cases[] = {
      {words.data(), 56, 1, "hJg+RBw70m66rkqh+VEp5eVGcPE="},
      {words.data(), 56, 2, "JI1qYdIGOLjlwCaTDD5gOaM85Flk/yFn9uzt1BnbBsE="},
      {million.data(), 1000000, 1, "NKqXPNTE2qT2Husr260nMWU0AW8="},
      {million.data(), 1000000, 2, "zcduXJkU+5KBocfihNc+Z/GAmkiklyAOBG05zMcRLNA="},
      {million.data(), 10, 1, "NJX/adNGcd"}};
  for (const auto& [text, length, algo, expected] : cases) {
    std::string hash(1000001, '\0');
    EXPECT_EQ(wzlb_evp_digest(text, length, algo, reinterpret_cast<unsigned char*>(hash.data())),
              0);
    EXPECT_STREQ(hash.c_str(), expected);
  }
}

TEST(Sign, AsTheOpensslCommandDoes) {
  const OpensslCommand openssl;
  std::string key = openssl.new_key(1024).first;
  std::string text(1000, 's');
  Bytes out(173), cut(100);
  for (const int algo : {1, 2}) {
    const std::string digest = algo == 1 ? "dgst -sha1" : "dgst -sha256";
    const std::string expected =
        openssl.run("base64 -A", openssl.run(digest + " -sign private.pem", text));
    EXPECT_EQ(wzlb_evp_sign(text.data(), 1000, algo, key.data(), out.data(), 173), 0);
    EXPECT_EQ(reinterpret_cast<char*>(out.data()), expected);
    EXPECT_EQ(wzlb_evp_sign(text.data(), 1000, algo, key.data(), cut.data(), 100), 0);
    EXPECT_EQ(std::string(cut.begin(), cut.end()), expected.substr(0, 100));
  }
  for (std::string pem : {openssl.run("rsa -aes128 -passout pass:", key),
                          openssl.run("pkcs8 -topk8 -passout pass:", key), key.substr(0, 400)}) {
    const auto told = wz::test::stderr_of(
        [&] { EXPECT_EQ(wzlb_evp_sign(text.data(), 9, 2, pem.data(), out.data(), 173), -1); });
    EXPECT_NE(told.find(":error:"), std::string::npos) << pem;
  }
  EXPECT_EQ(wzlb_evp_sign(text.data(), 9, 2, nullptr, out.data(), 173), -1);
  const std::string log = core_log_of(-1, ~0ULL, [&] {
    EXPECT_EQ(wzlb_evp_sign(text.data(), 9, 3, key.data(), out.data(), 173), -1);
  });
  EXPECT_TRUE(log.ends_with("|enc_err_msg")) << log;
}

}  // namespace
