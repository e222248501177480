#include <cstdlib>
#include <cstring>
#include <memory>

#include "tests/script/script_test.h"
#include "tests/support/openssl_command.h"

namespace {

using wz::test::arg;
using wz::test::expect_in_order;
using wz::test::OpensslCommand;

std::string data(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    text[i] = static_cast<char>(i * 7 + (i >> 8));
  }
  return text;
}

struct Result {
  int code;
  std::string bytes;  // of a success
};

class RsaTest : public wz::test::ScriptTest {
 protected:
  static Result encrypt(const std::string& key, const std::string& text, int base64) {
    char* out = nullptr;
    std::size_t length = 12345;
    const int code = wz_rsa_encrypt(arg(key.c_str()), arg(text.data()),
                                    static_cast<int>(text.size()), base64, &out, &length);
    const std::unique_ptr<char, decltype(&std::free)> owner(out, std::free);
    if (code == 0 && base64 != 0) {
      EXPECT_EQ(std::strlen(out), (length + 2) / 3 * 4) << "the length is the raw one";
      return {code, out};
    }
    return {code, code == 0 ? std::string(out, length) : ""};
  }
  static Result decrypt(const std::string& key, const std::string& text, int base64) {
    char* out = nullptr;
    std::size_t length = 0;
    testing::internal::CaptureStderr();
    char* const input = base64 == 2 ? strdup(text.c_str()) : arg(text.data());  // becomes `out`
    const int code = wz_rsa_dcrypt(arg(key.c_str()), input, static_cast<int>(text.size()), base64,
                                   &out, &length);
    EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), base64 != 1 || text.empty());
    const std::unique_ptr<char, decltype(&std::free)> owner(out, std::free);
    return {code, code == 0 ? std::string(out, length) : ""};
  }
  // What a call puts on standard output, into the error log and into the debug log.
  template <typename Call>
  std::string told_by(Call call, int expected) {
    start_logs();
    testing::internal::CaptureStdout();
    EXPECT_EQ(call().code, expected);
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::string errors = error_log();
    return printed + '|' + errors.substr(std::min(errors.size(), errors.rfind('|') + 1));
  }

  OpensslCommand openssl_;
};

TEST_F(RsaTest, RoundTripsAndTheOpensslCommand) {
  for (const int bits : {2048, 1024}) {
    const auto key = openssl_.new_key(bits);
    const std::size_t chunk = static_cast<std::size_t>(bits) / 8 - 11;
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, chunk, chunk + 1, std::size_t{4096}}) {
      const std::string text = data(size);
      const Result raw = encrypt(key.public_key, text, 0);
      EXPECT_EQ(raw.bytes.size(), (size + chunk - 1) / chunk * (chunk + 11));
      EXPECT_EQ(decrypt(key.private_key, raw.bytes, 0).bytes, text) << bits << ' ' << size;
      if (size > 0) {
        const std::string coded = encrypt(key.public_key, text, 1).bytes;
        std::string wrapped = "\n" + coded + "\\\n";
        wrapped.insert(40, "\\\n");
        EXPECT_EQ(decrypt(key.private_key, wrapped, 1).bytes, text) << bits << ' ' << size;
        EXPECT_EQ(decrypt(key.private_key, coded, 2).bytes, text) << "decoded in place";
      }
    }
    EXPECT_EQ(openssl_.run("pkeyutl -decrypt -inkey private.pem",
                           encrypt(key.public_key, "from us", 0).bytes),
              "from us");
    const std::string theirs = openssl_.run("pkeyutl -encrypt -pubin -inkey public.pem", "to us");
    EXPECT_EQ(decrypt(openssl_.run("pkcs8 -topk8 -nocrypt", key.private_key), theirs, 0).bytes,
              "to us");
    std::size_t measure = 7;
    Calc_block_set_block_size(reinterpret_cast<unsigned char*>(arg(key.public_key.c_str())),
                              &measure, 1);
    EXPECT_EQ(measure, bits == 2048 ? 617U : 309U);
    if (bits == 1024) {
      const std::string text = data(1000000);
      EXPECT_EQ(decrypt(key.private_key, encrypt(key.public_key, text, 0).bytes, 0).bytes, text);
    }
  }
}

TEST_F(RsaTest, TellsWhyItRefuses) {
  serve("");
  for (const int bits : {1026, 2056}) {  // 1026 bits have 309 digits too
    const auto other = openssl_.new_key(bits);
    EXPECT_EQ(told_by([&] { return encrypt(other.public_key, "x", 0); }, -1), "|Unknown Key size");
    EXPECT_EQ(told_by([&] { return decrypt(other.private_key, "x", 0); }, -1), "|wrong key size");
  }
  const auto key = openssl_.new_key(1024);
  EXPECT_EQ(told_by([&] { return encrypt(key.private_key, "x", 1); }, -1),
            "Failed to create RSA|Unknown Key size");
  for (const char* form : {"rsa -aes128 -passout pass:", "pkcs8 -topk8 -passout pass:"}) {
    const std::string encrypted = openssl_.run(form, key.private_key);
    EXPECT_EQ(told_by([&] { return decrypt(encrypted, "YQ==", 1); }, -1),
              "Failed to create RSA|wrong key size");
  }
  EXPECT_EQ(createRSA(nullptr, 1), nullptr);
  const std::string coded = encrypt(key.public_key, data(200), 1).bytes;
  std::string raw = encrypt(key.public_key, data(200), 0).bytes;
  const std::pair<std::string, int> damaged[] = {
      {raw.substr(0, 255), 0}, {raw + "x", 0}, {coded.substr(0, 340), 1}, {"!!!!", 1}, {"YQ==", 1}};
  for (const auto& [text, base64] : damaged) {
    EXPECT_EQ(told_by([&] { return decrypt(key.private_key, text, base64); }, -1),
              "|Private decrypt failed")
        << text.size();
  }
  for (const char* nothing : {"", "\n\\\n"}) {
    EXPECT_EQ(wz_rsa_dcrypt(arg(key.private_key.c_str()), arg(nothing),
                            static_cast<int>(std::strlen(nothing)), 1, nullptr, nullptr),
              -1);
  }
  char* out = nullptr;
  std::size_t length = 0;
  EXPECT_EQ(wz_rsa_encrypt(arg(key.public_key.c_str()), nullptr, 5, 0, &out, &length), -1);
  EXPECT_EQ(wz_rsa_encrypt(arg(key.public_key.c_str()), arg("x"), -5, 0, &out, &length), -1);
  EXPECT_EQ(wz_rsa_encrypt(arg(key.public_key.c_str()), arg("x"), 1, 0, nullptr, &length), -1);
  EXPECT_EQ(wz_rsa_dcrypt(arg(key.private_key.c_str()), nullptr, 5, 0, &out, &length), -1);
  EXPECT_EQ(wz_rsa_dcrypt(arg(key.private_key.c_str()), arg("YQ=="), 4, 1, nullptr, &length), -1);
}

TEST_F(RsaTest, TracesInOrder) {
  serve("");
  const auto key = openssl_.new_key(1024);
  start_logs();
  const std::string text(120, 't');
  const Result coded = encrypt(key.public_key, text, 1);
  decrypt(key.private_key, coded.bytes, 1);
  encrypt(key.public_key, "x", 0);
  decrypt(key.private_key, "x", 0);
  expect_in_order(
      debug_log(),
      {"|Method called input buffer size is [120]", ("|Method Called. Text is [" + text).c_str(),
       "|chunks_length [1] and remaing_chunk_length [3] \n ",
       "|total_handled = [117] and total encrypted = [128] \n ",
       ("|Output (base64): " + coded.bytes + "\n").c_str(), "|method called ",
       ("|Method Called. Decrypted_text is [" + text +
        "] and Decrypted_Length is [120] decr_len=[3]")
           .c_str(),
       "|Method called  encoded_length is [1]", "|Private decrypt failed"});
}

TEST_F(RsaTest, BlocksNeedNoMoreRoomThanTheyFill) {
  const auto key = openssl_.new_key(1024);
  auto* const public_key = reinterpret_cast<unsigned char*>(arg(key.public_key.c_str()));
  auto* const private_key = reinterpret_cast<unsigned char*>(arg(key.private_key.c_str()));
  std::vector<unsigned char> plain(117, 'p');
  std::vector<unsigned char> block(128);
  std::vector<unsigned char> back(117);
  EXPECT_EQ(public_encrypt(plain.data(), 117, public_key, block.data()), 128);
  EXPECT_EQ(private_decrypt(block.data(), 128, private_key, back.data()), 117);
  EXPECT_EQ(back, plain);
  EXPECT_EQ(public_encrypt(block.data(), 118, public_key, block.data()), -1);
  EXPECT_EQ(private_decrypt(block.data(), -1, private_key, back.data()), -1);
}

TEST_F(RsaTest, TheAesWrapperDropsTheResult) {
  unsigned char key[16] = {};
  unsigned char cipher[25] = {};
  EXPECT_EQ(wz_encrypt_with_aes_128_cbc(key, key, key, nullptr), 0);
  EXPECT_EQ(wz_encrypt_with_aes_128_cbc(key, key, key, cipher), 0);
  EXPECT_STREQ(reinterpret_cast<char*>(cipher), "AUPbY+5msM3/n2mRdoAVHg==");
}

}  // namespace
