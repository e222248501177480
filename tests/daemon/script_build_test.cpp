#include "daemon/service/script_build.h"

#include <gtest/gtest.h>

#include "daemon/service/script.h"
#include "daemon/service/script_cache.h"
#include "tests/support/temporary_folder.h"

namespace vsd {
namespace {

class ScriptBuild : public testing::Test {
 protected:
  ScriptBuildResult build(const std::string& text, const std::string& service = "orders") {
    const std::string source = service + "/script.c";
    folder.write(source, text);
    return build_script(folder.path() / source, settings);
  }
  std::size_t files_in_cache() const {
    const auto files = std::filesystem::directory_iterator(settings.cache_dir);
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  wz::test::TemporaryFolder folder;
  ScriptBuildSettings settings = make_script_build_settings(folder.path(), "cc", "");
};

TEST_F(ScriptBuild, CompilesLoadsAndCallsBothHooks) {
  const auto result = build(
      "#include <wz/wz_script.h>\n"
      "static int unused;\n"
      "int calls;\n"
      "void post_recv(void) { wz_get_url(); calls += 1; }\n"
      "void pre_send(void) { calls += 10; }\n");
  ASSERT_FALSE(result.object.empty()) << result.diagnostics;
  ASSERT_EQ(result.warnings.size(), 1U);
  EXPECT_EQ(result.warnings[0].line, 2);
  EXPECT_EQ(result.warnings[0].file, folder.path() / "orders/script.c");
  EXPECT_NE(result.diagnostics.find("script.c:2:12: warning: "), std::string::npos);

  std::string error;
  const auto script = Script::load(result.object, error);
  ASSERT_TRUE(script) << error;
  script->post_recv()();
  script->pre_send()();
}

TEST_F(ScriptBuild, ReusesAnObjectUntilSomethingItIsMadeFromChanges) {
  const std::string text = "#include \"shape.h\"\nvoid post_recv(void) { int x = SHAPE; }\n";
  folder.write("orders/shape.h", "#include \"inner/depth.h\"\n");
  folder.write("orders/inner/depth.h", "#define SHAPE 1\n");
  const auto first = build(text);
  ASSERT_FALSE(first.object.empty()) << first.diagnostics;
  EXPECT_FALSE(first.from_cache);
  const auto again = build(text);
  EXPECT_TRUE(again.from_cache);
  EXPECT_EQ(again.object, first.object);
  ASSERT_EQ(again.warnings.size(), 1U);  // said again, though nothing was compiled
  EXPECT_EQ(again.warnings[0].text, first.warnings[0].text);

  folder.write("orders/inner/depth.h", "#define SHAPE 2\n");
  const auto deeper = build(text);
  EXPECT_FALSE(deeper.from_cache);
  EXPECT_NE(deeper.object, first.object);
  settings.flags = "  -O0 \t -DX=1 ";
  EXPECT_FALSE(build(text).from_cache);
  settings.flags = "";
  // Services never share an object: its static data would be shared too.
  const std::string plain = "void post_recv(void) {}\n";
  EXPECT_NE(build(plain, "one").object, build(plain, "two").object);
}

TEST_F(ScriptBuild, RemovesUnusedObjectsWhileNobodyElseUsesTheFolder) {
  const std::string text = "static int unused;\nvoid post_recv(void) {}\n";  // warns: a text too
  const auto used = build(text);
  build(text + "\n");
  folder.write(".cache/scripts/orders-0.1.2.tmp", "left by a build that was ended");
  const ScriptCache cache(settings.cache_dir);
  {
    const ScriptCache another(settings.cache_dir);
    cache.remove_all_but({used.object});
    EXPECT_EQ(files_in_cache(), 6U);
  }
  cache.remove_all_but({used.object, ""});
  EXPECT_EQ(files_in_cache(), 3U);  // with its text, and the lock
  EXPECT_TRUE(build(text).from_cache);
  const ScriptCache late(settings.cache_dir);  // removing has left the folder open to others
}

TEST_F(ScriptBuild, SaysWhatIsMissing) {
  settings.flags = "-no-such-flag";
  EXPECT_NE(build("void post_recv(void) {}\n").errors.at(0).text.find("no-such-flag"),
            std::string::npos);
  EXPECT_EQ(files_in_cache(), 0U);  // a failed build leaves nothing behind
  settings.flags = "";
  settings.compiler = "no-such-compiler";
  auto result = build("void post_recv(void) {}\n");
  ASSERT_EQ(result.errors.size(), 1U);
  EXPECT_EQ(result.errors[0].text,
            "cannot compile the script: the C compiler \"no-such-compiler\" was not found; install "
            "one or name it with the keyword CC");
  settings.compiler = "cc";
  result = build("void post_receive(void) {}\n");
  ASSERT_EQ(result.errors.size(), 1U);
  EXPECT_EQ(result.errors[0].text,
            "the script defines neither void post_recv(void) nor void pre_send(void)");
  result = build(
      "void pre_send(void) {}\n__attribute__((constructor)) void f(void) { *(volatile int *)0 = 1; "
      "}\n");
  ASSERT_EQ(result.errors.size(), 1U);
  EXPECT_NE(result.errors[0].text.find("cannot be loaded: the process that tried ended"),
            std::string::npos);
}

}  // namespace
}  // namespace vsd
