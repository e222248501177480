// JavaScript, identifiers, checksums, generated values and the trace log.
#include <wz/wzlb_alloc.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <regex>

#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::content_of;
using wz::test::ScriptTest;

class HelpersTest : public ScriptTest {
 protected:
  void SetUp() override {
    serve("wz_scratch_var(a); wz_scratch_var(b); wz_date_var(d, format=%Y);");
  }

  // The result of a text, or the message of its failure.
  static std::string js(const std::string& program) {
    std::array<char, 256> out{};
    std::array<char, 256> message{};
    const int result = wz_exec_js(WZ_JS_TEXT, arg(program.c_str()), WZ_JS_TEXT, out.data(),
                                  out.size(), message.data(), message.size());
    EXPECT_EQ(result, message[0] == '\0' ? 0 : -1);
    return result == 0 ? out.data() : message.data();
  }
};

TEST_F(HelpersTest, RunsJavaScript) {
  const std::pair<const char*, const char*> cases[] = {
      {"1+2", "3"},
      {"[1,2].concat('x')", "1,2,x"},
      {"var leaked = 5; leaked", "5"},
      {"typeof leaked", "undefined"},  // an engine of its own
      {"({toString: function() { return 'mine'; }})", "mine"},
      {"'a\\u0000b'.length", "3"},
  };
  for (const auto& [program, result] : cases) {
    EXPECT_EQ(js(program), result) << program;
  }
  // Failures of every kind leave the process alive and say what happened.
  const std::string lead = "Error in JavaScript handling or eval. ";
  for (const char* program :
       {"1 +", "throw new Error('boom')", "({toString: function() { throw 'inner'; }})",
        "throw "
        "{toString: function() { throw 1; }}",
        "(function f() { return f() + 1; })()", "Symbol ? Symbol('s') : 0"}) {
    EXPECT_EQ(js(program).substr(0, lead.size()), lead) << program;
  }
  EXPECT_EQ(js("throw new Error('boom')"), lead + "Error: boom");
  EXPECT_EQ(js("var s = 'x'; while (s.length < 1e8) s += s; s.length"), "134217728");
}

TEST_F(HelpersTest, TakesJavaScriptFromAndToEveryPlace) {
  const std::string program = folder().path() / "program.js";
  const std::string result = folder().path() / "result";
  folder().write("program.js", "'from ' + 'file'");
  folder().write("empty.js", "");
  folder().write("result", "a longer text that was there before");
  std::array<char, 8> out{};
  std::array<char, 64> message{};
  const auto run = [&](int in_type, const char* in, int out_type, char* target) {
    return wz_exec_js(in_type, arg(in), out_type, target, out.size(), message.data(),
                      message.size());
  };
  EXPECT_EQ(run(WZ_JS_FILE, program.c_str(), WZ_JS_TEXT, out.data()), 0);
  EXPECT_STREQ(out.data(), "from fi");  // cut
  set("a", "2*21");
  EXPECT_EQ(run(WZ_JS_PARAM, "a", WZ_JS_PARAM, arg("b")), 0);
  EXPECT_EQ(value("b"), "42");
  EXPECT_EQ(run(WZ_JS_TEXT, "'x\\u0000y'", WZ_JS_FILE, arg(result.c_str())), 0);
  EXPECT_EQ(content_of(result), std::string("x\0y", 3));
  EXPECT_STREQ(message.data(), "");

  const std::string missing = (folder().path() / "none" / "file").string();
  const std::string empty = folder().path() / "empty.js";
  struct {
    int in_type;
    const char* in;
    int out_type;
    char* out;
    std::string message;
  } const cases[] = {
      {0, "", 0, out.data(), "Error: Provided input is null or empty."},
      {0, nullptr, 9, nullptr, "Error: Provided input is null or empty."},
      {3, "1", 3, nullptr, "Error: Provided input type is invalid."},
      {0, "1", -1, nullptr, "Error: Provided output type is invalid."},
      {0, "1", 0, nullptr, "Error: Provided output is null or empty."},
      {0, "1", 1, arg(""), "Error: Provided output is null or empty."},
      {1, "nobody", 0, out.data(), "Error: Invalid parameter specified."},
      {2, missing.c_str(), 0, out.data(),
       "Error: Provided file input is not available or zero size."},
      {2, empty.c_str(), 0, out.data(),
       "Error: Provided file input is not available or zero size."},
      {2, folder().path().c_str(), 0, out.data(), "Error in opening input file "},
      {0, "1", 1, arg("nobody"), "Error: Output parameter invalid or nor allowed."},
      {0, "1", 1, arg("d"), "Error: Output parameter invalid or nor allowed."},
      {0, "1", 2, arg(missing.c_str()), "Error in opening file " + missing},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(run(c.in_type, c.in, c.out_type, c.out), -1);
    EXPECT_TRUE(std::string(message.data()).starts_with(c.message.substr(0, message.size() - 1)))
        << message.data();
  }
  EXPECT_EQ(wz_exec_js(0, arg("1+"), 0, out.data(), 8, nullptr, 0), -1);
}

TEST_F(HelpersTest, MakesIdentifiersAndChecksums) {
  const std::string first = wz_get_guid();
  const std::string second = wz_get_guid();
  EXPECT_NE(first, second);
  EXPECT_TRUE(std::regex_match(first, std::regex("[0-9A-F]+-[0-9A-F]+-[0-9A-F]+"))) << first;
  std::array<unsigned char, 33> checksum{};
  const std::pair<std::string, const char*> cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {std::string("a\0c", 3), "e8f0fb27685d3a22ae089e4bdd2fbd29"}};
  for (const auto& [text, digest] : cases) {
    EXPECT_EQ(wz_gen_md5_checksum(reinterpret_cast<const unsigned char*>(text.data()),
                                  static_cast<int>(text.size()), checksum.data()),
              0);
    EXPECT_STREQ(reinterpret_cast<char*>(checksum.data()), digest);
  }
  std::array<char, 8> reversed{};
  EXPECT_STREQ(wz_strrev(arg("abcde"), reversed.data()), "edcba");
  EXPECT_STREQ(wz_strrev(reversed.data(), reversed.data()), "abcde");
  EXPECT_STREQ(wz_strrev(arg(""), reversed.data()), "");
}

TEST_F(HelpersTest, WrapsTheGenerators) {
  using Block = std::unique_ptr<char, decltype(&std::free)>;
  std::srand(5);
  for (int i = 0; i < 100; ++i) {
    const Block number(wz_get_random_num(5, 7), std::free);
    const int value = std::stoi(number.get());
    EXPECT_TRUE(value >= 5 && value <= 7) << value;
    const int drawn = wz_get_random_num_int(-2, 2);
    EXPECT_TRUE(drawn >= -2 && drawn <= 2) << drawn;
  }
  const Block letters(wz_get_random_str(20, 30), std::free);
  EXPECT_TRUE(std::regex_match(letters.get(), std::regex("[A-Z]{20,30}"))) << letters.get();
  const Block unique(wz_get_unique_number(), std::free);
  EXPECT_EQ(std::string(unique.get()).size(), 2U);
}

// Levels of host, service and response, and whether a line is written.
TEST_F(HelpersTest, TracesAsResponseServiceOrHostSay) {
  const auto log = folder().path() / "trace";
  const std::tuple<int, const char*, const char*, bool> cases[] = {
      {0, "", "", false},         {1, "", "", true},           {1, ", trace=0", "", false},
      {0, ", trace=2", "", true}, {1, "", ", trace=0", false}, {0, ", trace=0", ", trace=1", true},
  };
  folder().write("x.txt", "");
  for (const auto& [host, service_level, response_level, written] : cases) {
    std::filesystem::remove(log);
    serve(R"(wz_scratch_var(a); wz_service(test, url="/test")" + std::string(service_level) +
          R"(); wz_response(r, file="x.txt")" + response_level + ");");
    vsd::set_host_trace_log(log, host);
    current().template_id_used = 0;
    set("a", "value");
    wz_trace_log(arg("name"), arg("<{a}>"));
    EXPECT_EQ(std::filesystem::exists(log), written) << host << service_level << response_level;
    current().template_id_used = -1;  // no response yet: the service decides
    wz_trace_log(arg("name"), arg("<{a}>"));
  }
  const std::regex line("Msg\\|\\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\|name\\|<value>\n");
  EXPECT_TRUE(std::regex_match(content_of(log), line)) << content_of(log);
  vsd::set_host_trace_log("", 0);
}

}  // namespace
