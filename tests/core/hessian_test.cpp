#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "libwzcore/internal/trace.h"
#include "tests/support/hex.h"

namespace {

using wz::mutable_text;
using wz::test::bytes_of;
using wz::test::hex_of;
using namespace std::string_literals;

class Hessian : public testing::Test {
 protected:
  Hessian() {
    setenv("TZ", "UTC", 1);
    tzset();
  }
  ~Hessian() override { hessian_set_version(1); }

  // The text; `position_` is the length, or where decoding stopped.
  std::string decode(int version, std::string message) {
    hessian_set_version(version);
    position_ = static_cast<int>(message.size());
    const int length = wz_hessian_to_xml(message.data(), &position_);
    EXPECT_EQ(static_cast<std::size_t>(length), std::strlen(hessian_asc_ptr));
    return {hessian_asc_ptr, static_cast<std::size_t>(length)};
  }
  // Hexadecimal digits, or "refused".
  std::string encode(int version, std::string xml) {
    hessian_set_version(version);
    std::string out(xml.size() + 16, '\0');
    int length = 0;
    const char* done =
        hessian_encode(1, xml.data(), static_cast<int>(xml.size()), out.data(), &length);
    return done == nullptr ? "refused" : hex_of(out.substr(0, static_cast<std::size_t>(length)));
  }
  static std::string document(const std::string& body) {
    return "<hessian>" + body + "\n</hessian>";
  }

  int position_ = 0;
};

struct DecodeCase {
  std::string hex;
  std::string body;
};

TEST_F(Hessian, Version1Decodes) {
  const DecodeCase cases[] = {
      {"4900000100", "<int>256</int>\n"},
      {"49ffffffff5200000001", "<int>-1</int>\n<ref>1</ref>\n"},
      {"4e5446", "<null></null>\n<boolean>1</boolean>\n<boolean>0</boolean>\n"},
      {"4c8000000000000000", "<long>-9223372036854775808</long>\n"},
      {"444028800000000000", "<double>12.250000</double>\n"},
      {"64000000d04b9284b8", "<date>1998-05-08 09:51:31.000</date>\n"},
      {"64ffffffffffffffff", "<date>1969-12-31 23:59:59.999</date>\n"},
      {"630100480001686d0003616464490000000249000000037a",
       "<call>\n<ver>1.0</ver>\n<header>\nh</header>\n<method>add</method>\n<int>2</int>\n"
       "<int>3</int>\n\n</call>\n"},
      {"72010066530001615300013c7a7a",
       "<reply>\n<ver>1.0</ver>\n<fault>\n<string>a</string>\n<string><</string>\n\n</fault>\n\n"
       "</reply>\n"},
      {"566c000000014e7a", "<list>\n<length>1</length>\n<null></null>\n\n</list>\n"},
      {"4d740000530001614e7a",
       "<map>\n<type></type>\n<string>a</string>\n<null></null>\n\n</map>\n"},
      // Each chunk opens an element; one that more follow stays open.
      {"7300016153000162", "<string>a<string>b</string>\n"},
      {"7800016158000162", "<xml>\na<xml>\nb\n</xml>\n"},
      {"4200036100624e", "<base64>\na\n</base64>\n<null></null>\n"},
      // A remote is not closed by its type.
      {"72740001615300016a", "<remote>\n<type>a</type>\n<string>j</string>\n"},
      {"4d730001617a7a", "<map>\n<string>a\n</string>\n\n</map>\n"},
  };
  for (const DecodeCase& c : cases) {
    EXPECT_EQ(decode(1, bytes_of(c.hex)), document(c.body)) << c.hex;
  }
}

struct FailureCase {
  int version;
  std::string hex;
  int position;
};

TEST_F(Hessian, FailuresTellThePosition) {
  const std::string long_chunk = "534001" + std::string(2 * 0x4001, '6');
  const FailureCase cases[] = {
      {1, "41", 0},         {1, "7b", 0},       {1, "4e43", 1},       {1, "7a", 0},
      {1, "7201007a4e", 4}, {1, long_chunk, 0}, {2, "40", 0},         {2, "45", 0},
      {2, "47", 0},         {2, "50", 0},       {2, "5a", 0},         {2, "60", 0},
      {2, "4f90", 0},       {2, "5190", 0},     {2, "7190", 1},       {2, "520001614e", 4},
      {2, "48915a", 2},     {2, "7a90", 2},     {2, "7a909190", 3},   {2, "480200529090", 5},
      {2, "01ff", 1},       {2, "02c080", 1},   {2, "01f09f9880", 1}, {3, "4e", 1},
  };
  for (const FailureCase& c : cases) {
    const std::string message = bytes_of(c.hex);
    const std::string text = decode(c.version, message);
    EXPECT_EQ(position_, c.position) << c.hex.substr(0, 40);
    const std::string line = "Hessian Hex to Asc failed at byte =" + std::to_string(c.position) +
                             " (total=" + std::to_string(message.size()) + ")\n<debug>\n";
    EXPECT_NE(text.find(line), std::string::npos) << text.substr(0, 200);
    EXPECT_TRUE(text.ends_with("</debug>\n"));
  }
  EXPECT_TRUE(decode(1, bytes_of(long_chunk)).starts_with("<hessian><string>Hessian Hex"));
  const std::string dump = decode(1, "A" + std::string(16, '\x1f'));
  EXPECT_EQ(dump,
            "<hessian>Hessian Hex to Asc failed at byte =0 (total=17)\n<debug>\n"
            "41 1F 1F 1F 1F 1F 1F 1F 1F 1F 1F 1F 1F 1F 1F 1F\n1F</debug>\n");
  // Values inside each other are bounded, however long the message.
  decode(2, std::string(100000, '\x79'));
  EXPECT_EQ(position_, 500);
}

struct EncodeCase {
  int version;
  std::string xml;
  std::string hex;
};

TEST_F(Hessian, Version1Encodes) {
  const std::string call = "<call><ver>1.0</ver><method>add</method><int>2</int></call>";
  const EncodeCase cases[] = {
      // The end byte comes from the node behind the call, and again from each one after it.
      {1, "<hessian>" + call + "\n</hessian>", "6301006d000361646449000000027a"},
      {1, "<hessian>" + call + "</hessian>", "6301006d00036164644900000002"},
      {1, "<hessian><map></map><null></null><null></null></hessian>", "4d7a4e7a4e"},
      {1, "<hessian><call><method>m</method></call></hessian>", "6301006d00016d"},
      {1, "<hessian><boolean>2</boolean><boolean>1</boolean></hessian>", "4654"},
      {1, "<hessian><length>7</length><ref>3</ref></hessian>", "6c000000075200000007"},
      {1, "<hessian><list><int>x</int></list><fault/><zzz/></hessian>", "4900000000"},
      {1, "<hessian><remote/><type>t</type><string>&lt;</string></hessian>", "72740001745300013c"},
      {1, "<hessian><date>1</date><long>-1</long><double>1</double></hessian>",
       "6400000000000000014cffffffffffffffff443ff0000000000000"},
      {1, "<hessian><reply><ver>2</ver></reply></hessian>", "720200"},
      {1, "<other/>", "refused"},
      {1, "<hessian>", "refused"},
      {1, "<!DOCTYPE hessian SYSTEM 'h.dtd'><hessian><null/></hessian>", "4e"},
      {1, "<!DOCTYPE hessian [<!ENTITY e 'x'>]><hessian><string>&e;</string></hessian>", "refused"},
      {1, "<!DOCTYPE hessian [<!ATTLIST null a (b|c) 'b'>]><hessian><null/></hessian>", "refused"},
  };
  for (const EncodeCase& c : cases) {
    EXPECT_EQ(encode(c.version, c.xml), c.hex) << c.xml;
  }
  // What a length of two bytes cannot say goes into chunks.
  const auto letters = [this](std::size_t count) {
    return encode(1, "<hessian><string>" + std::string(count, 'a') + "</string></hessian>");
  };
  EXPECT_EQ(letters(0xFFFF).substr(0, 8), "53ffff61");
  EXPECT_EQ(letters(0x10000).substr(0, 8), "73800061");
  EXPECT_EQ(letters(0x10001).substr(2 * 0x8003, 8), "53800161");
}

TEST_F(Hessian, Version2EncodesWhatPeopleWrite) {
  const EncodeCase cases[] = {
      {2, "<hessian><call><method>f</method><string>a</string></call></hessian>",
       "480200430166910161"},
      {2,
       "<hessian>\n <reply_2.0>\n <map> <int>1</int> <zzz><null/></zzz> "
       "</map>\n</reply_2.0></hessian>",
       "4802005248914e5a"},
      {2, "<hessian><reply><fault><string>code</string><null/></fault></reply></hessian>",
       "480200464804636f64654e5a"},
      {2, "<hessian><date>60000</date><date>1970-01-01 00:00:01.5</date></hessian>",
       "4b000000014a00000000000003ed"},
      {2, "<hessian><int>x</int><base64>A Q\nID</base64></hessian>", "9023010203"},
      {2,
       "<?xml version=\"1.0\"?>\n<hessian ><date ms='60000'/><string >]&#x41;&gt;</string "
       "></hessian>",
       "4b00000001035d413e"},
      {2, "<hessian><!-- --><string><![CDATA[<]]>b</string><?p?><int>&#49;<b>2</b></int></hessian>",
       "023c629c"},
      {2, "<?xml version='1.0' encoding='ISO-8859-1'?><hessian><string>\xe9\r\n</string></hessian>",
       "02c3a90a"},
      {2, "<hessian xmlns:a='b'><a:int a:b='c' d='e'>1</a:int></hessian>", "91"},
      {2, "<hessian><int ms=\"1\" ms=\"1\">1</int></hessian>", "refused"},
      {2, "<hessian><string>]]></string></hessian>", "refused"},
      {2, "<hessian><string>&#1;</string></hessian>", "refused"},
      {2, "<hessian><string>\xc0\x80</string></hessian>", "refused"},
      {2, "<hessian></hessian><hessian/>", "refused"},
      {2, "<hessian><fixed_untyped_list><int>1</int></fixed_untyped_list></hessian>", "7991"},
      {2, "<hessian><map><int>1</int></map></hessian>", "refused"},
      {2, "<hessian><ref>0</ref></hessian>", "refused"},
      {2, "<hessian><var_typed_list><type_ref>0</type_ref></var_typed_list></hessian>", "refused"},
      {2, "<hessian><obj_instance><obj_ref>0</obj_ref></obj_instance></hessian>", "refused"},
      {2, "<hessian><reply_2.0></reply_2.0></hessian>", "refused"},
  };
  for (const EncodeCase& c : cases) {
    EXPECT_EQ(encode(c.version, c.xml), c.hex) << c.xml;
  }
}

// Reads a vector file: bytes | XML | bytes back.
std::vector<std::vector<std::string>> read_vectors(const std::filesystem::path& path) {
  std::vector<std::vector<std::string>> rows;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') {
      continue;
    }
    std::vector<std::string> row;
    for (std::size_t at = 0; at != std::string::npos;) {
      const std::size_t bar = line.find(" | ", at);
      row.push_back(line.substr(at, bar - at));
      at = bar == std::string::npos ? bar : bar + 3;
    }
    rows.push_back(row);
  }
  return rows;
}

TEST_F(Hessian, VectorsBothWays) {
  const auto rows = read_vectors(TEST_DATA_FOLDER "/hessian2_vectors.txt");
  ASSERT_GT(rows.size(), 116U);
  for (const auto& row : rows) {
    const std::string xml = decode(2, bytes_of(row[0]));
    std::string joined = xml;
    std::erase(joined, '\n');
    EXPECT_EQ(joined, "<hessian>" + row[1] + "</hessian>") << row[0];
    EXPECT_EQ(encode(2, xml), row.size() > 2 ? row[2] : row[0]) << row[1];
    // However it is cut, a message fails or gives a document that can be encoded.
    for (std::size_t size = 0; size < row[0].size() / 2; ++size) {
      const std::string cut = bytes_of(row[0]).substr(0, size);
      const std::string text = decode(2, cut);
      const bool failed = text.find("Hessian Hex to Asc failed") != std::string::npos;
      EXPECT_EQ(encode(2, text) == "refused", failed) << row[0] << " cut at " << size;
    }
  }
}

TEST_F(Hessian, LongValuesComeInChunks) {
  const std::string text = std::string(0x7FFF, 'a') + "\xF0\x9F\x98\x80" + std::string(1000, 'b');
  const std::string hex = encode(2, document("<string>" + text + "</string>"));
  EXPECT_EQ(hex.substr(0, 6), "527fff") << "a pair is not cut";
  EXPECT_EQ(decode(2, bytes_of(hex)), document("<string>" + text + "</string>\n"));
  const std::string message =
      bytes_of("410ffd") + std::string(4093, 1) + bytes_of("429000") + std::string(0x9000, 2);
  const std::string xml = decode(2, message);
  EXPECT_EQ(decode(2, bytes_of(encode(2, xml))), xml);
}

TEST_F(Hessian, DatesKeepTheirInstant) {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  // An hour that this zone has twice.
  const std::string xml = decode(2, bytes_of("4a00000181e4fb1e40"));
  setenv("TZ", "America/New_York", 1);
  tzset();
  EXPECT_EQ(encode(2, xml), "4a00000181e4fb1e40");
}

TEST_F(Hessian, OutputThatDoesNotFitIsDropped) {
  char small[20];
  std::memset(small, '#', sizeof small);
  std::string in = bytes_of("4e4e");
  int length = 2;
  EXPECT_NE(hessian_decode(12, small, 0, in.data(), &length), nullptr);
  EXPECT_EQ(std::string(small, sizeof small), "<hessian><n\0########"s);
  hessian_append_to_xml(const_cast<char*>("%s"), "more");
  EXPECT_STREQ(small, "<hessian><n");
  // 8 MiB hold neither the text nor the failure behind it.
  const std::string many(1000000, 'N');
  EXPECT_EQ(decode(1, many + "A").size(), 0x7FFFFFU);
  EXPECT_EQ(position_, 1000000);
}

TEST_F(Hessian, FilesBothWays) {
  const std::string path = testing::TempDir() + "/hessian_document.xml";
  std::FILE* file = std::fopen(path.c_str(), "w");
  std::string in = bytes_of("4900000100");
  int length = static_cast<int>(in.size());
  EXPECT_EQ(hessian_decode(0, file, 0, in.data(), &length), in.data());
  std::fclose(file);
  hessian_set_version(2);
  char out[16];
  ASSERT_EQ(hessian_encode(0, mutable_text(path.c_str()), 0, out, &length), out);
  EXPECT_EQ(hex_of({out, static_cast<std::size_t>(length)}), "c900");
  std::filesystem::remove(path);
}

TEST_F(Hessian, WritersReturnTheirBytes) {
  char out[32];
  EXPECT_EQ(write_integer(out, -2, 0), 5);
  EXPECT_EQ(write_integer(out + 5, 1, 1), 4);
  EXPECT_EQ(hex_of({out, 9}), "49fffffffe00000001");
  EXPECT_EQ(write_long64(out, -2, 1), 8);
  EXPECT_EQ(write_string(out, "ab", 0), 5);
  EXPECT_EQ(hex_of({out, 5}), "5300026162");
  EXPECT_EQ(write_string(out, nullptr, 1), 2);
  EXPECT_EQ(hessian_make_method("m", out), 4);
  EXPECT_EQ(hessian_make_ver(2, 1, out + 4), 2);
  EXPECT_EQ(hessian_complete(out + 6), 1);
  EXPECT_EQ(hex_of({out, 7}), "6d00016d02017a");
}

}  // namespace
