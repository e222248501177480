#include <cstdlib>
#include <cstring>
#include <memory>

#include "tests/script/script_test.h"
#include "tests/support/openssl_command.h"

namespace {

using wz::test::arg;

constexpr const char* kRefused = "(refused)";

class RsaTest : public wz::test::ScriptTest {
 protected:
  using Block = std::unique_ptr<char, decltype(&std::free)>;

  static std::string encrypt(const std::string& key, const std::string& text, int base64) {
    char* out = nullptr;
    std::size_t length = 0;
    const int code = wz_rsa_encrypt(arg(key.c_str()), arg(text.data()),
                                    static_cast<int>(text.size()), base64, &out, &length);
    const Block owner(out, std::free);
    if (code == 0 && base64 != 0) {
      EXPECT_EQ(std::strlen(out), (length + 2) / 3 * 4) << "the length is the raw one";
      return out;
    }
    return code == 0 ? std::string(out, length) : kRefused;
  }
  static std::string decrypt(const std::string& key, const std::string& text, int base64) {
    char* out = nullptr;
    std::size_t length = 0;
    char* const input = base64 == 2 ? strdup(text.c_str()) : arg(text.data());  // becomes `out`
    const int code = wz_rsa_dcrypt(arg(key.c_str()), input, static_cast<int>(text.size()), base64,
                                   &out, &length);
    const Block owner(out, std::free);
    return code == 0 ? std::string(out, length) : kRefused;
  }
  // What a refused call puts on standard output and into the error log.
  template <typename Call>
  std::string told_by(Call call) {
    start_logs();
    testing::internal::CaptureStdout();
    const std::string result = call();
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::string errors = error_log();
    return result == kRefused ? printed + errors.substr(errors.rfind('|')) : result;
  }

  wz::test::OpensslCommand openssl_;
};

TEST_F(RsaTest, RoundTripsAndTheOpensslCommand) {
  for (const std::size_t block : {256U, 128U}) {
    const auto [own_key, open_key] = openssl_.new_key(static_cast<int>(block) * 8);
    for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 117U, 246U, 4095U, 4096U, 1000000U}) {
      if (size == 1000000 && block == 256) {
        continue;  // takes seconds
      }
      const std::string text(size, static_cast<char>(size));
      const std::string raw = encrypt(open_key, text, 0);
      EXPECT_EQ(raw.size(), (size + block - 12) / (block - 11) * block);
      EXPECT_EQ(decrypt(own_key, raw, 0), text) << block << ' ' << size;
      if (size > 0 && size < 1000) {
        std::string coded = encrypt(open_key, text, 1);
        EXPECT_EQ(decrypt(own_key, coded, 2), text) << "in place";
        EXPECT_EQ(decrypt(own_key, "\n" + coded.insert(40, "\\\n"), 1), text) << size;
      }
    }
    EXPECT_EQ(openssl_.run("pkeyutl -decrypt -inkey private.pem", encrypt(open_key, "us", 0)),
              "us");
    const std::string theirs = openssl_.run("pkeyutl -encrypt -pubin -inkey public.pem", "they");
    EXPECT_EQ(decrypt(openssl_.run("pkcs8 -topk8 -nocrypt", own_key), theirs, 0), "they");
  }
}

TEST_F(RsaTest, TellsWhyItRefuses) {
  for (const int bits : {1026, 2056}) {  // 1026 bits have 309 digits too
    const auto other = openssl_.new_key(bits);
    EXPECT_EQ(told_by([&] { return encrypt(other.second, "x", 0); }), "|Unknown Key size");
    EXPECT_EQ(told_by([&] { return decrypt(other.first, "x", 0); }), "|wrong key size");
  }
  const auto key = openssl_.new_key(1024);
  EXPECT_EQ(told_by([&] { return encrypt(key.first, "x", 1); }),
            "Failed to create RSA|Unknown Key size");
  for (const char* form : {"rsa -aes128 -passout pass:", "pkcs8 -topk8 -passout pass:"}) {
    const std::string encrypted = openssl_.run(form, key.first);
    EXPECT_EQ(told_by([&] { return decrypt(encrypted, "YQ==", 1); }),
              "Failed to create RSA|wrong key size");
  }
  const std::string raw = encrypt(key.second, std::string(200, 'x'), 0);
  const std::pair<std::string, int> damaged[] = {
      {raw.substr(0, 255), 0}, {raw + "x", 0}, {raw.substr(1) + "x", 0}, {"!!!!", 1}, {"YQ==", 1}};
  for (const auto& wrong : damaged) {
    EXPECT_EQ(told_by([&] { return decrypt(key.first, wrong.first, wrong.second); }),
              "|Private decrypt failed");
  }
  for (const char* nothing : {"", "\n\\\n"}) {
    EXPECT_EQ(told_by([&] { return decrypt(key.first, nothing, 1); }), "|Encoded buffer NULL");
  }
}

TEST_F(RsaTest, TracesInOrder) {
  const auto [own_key, open_key] = openssl_.new_key(1024);
  start_logs();
  const std::string text(120, 't');
  const std::string coded = encrypt(open_key, text, 1);
  decrypt(own_key, coded, 1);
  decrypt(own_key, "x", 0);
  wz::test::expect_in_order(
      debug_log(),
      {"|Method called input buffer size is [120]", ("|Method Called. Text is [" + text).c_str(),
       "|chunks_length [1] and remaing_chunk_length [3] \n ",
       "|total_handled = [117] and total encrypted = [128] \n ",
       ("|Output (base64): " + coded + "\n").c_str(), "|method called ",
       ("|Method Called. Decrypted_text is [" + text + "] and Decrypted_Length is [120] decr_len=[")
           .c_str(),
       "|Method called  encoded_length is [1]", "|Private decrypt failed"});
}

}  // namespace
