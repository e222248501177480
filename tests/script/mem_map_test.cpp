// The register of live blocks while a script evaluates, searches and saves.
#include <wz/wzlb.h>

#include <map>
#include <regex>

#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::ScriptTest;

class MemMapTest : public ScriptTest {
 protected:
  // Size and label of each address that the dump lists; an address twice is a failure. A block is
  // taken first, since the newest one is not listed.
  std::map<const void*, std::pair<unsigned long, std::string>> listed() {
    void* newest = WZLB_MALLOC(1, "newest");
    std::string path = (folder().path() / "dump").string();
    EXPECT_EQ(wzlb_mem_map_dump(path.data()), 0);
    WZLB_FREE(newest, "newest", -1);
    std::map<const void*, std::pair<unsigned long, std::string>> blocks;
    const std::string text = wz::test::content_of(path);
    const std::regex line(R"(\n[^|\n]*\|0x([0-9a-f]+)\|(\d+)\|[^|\n]*\|\d+\|[^|\n]*\|([^\n]*))");
    for (std::sregex_iterator match(text.begin(), text.end(), line), end; match != end; ++match) {
      const auto* address = reinterpret_cast<const void*>(std::stoul((*match)[1], nullptr, 16));
      EXPECT_TRUE(blocks.emplace(address, std::pair(std::stoul((*match)[2]), (*match)[3])).second);
    }
    return blocks;
  }
};

TEST_F(MemMapTest, ListsWhatIsLiveOnceAndNothingOfItsOwn) {
  serve("wz_scratch_var(a); wz_scratch_var(b); wz_scratch_array(list, size=3);");
  ASSERT_EQ(wz_save_string("from before", "b"), 0);
  for (int map = 0; map < 2; ++map) {
    ASSERT_EQ(wzlb_mem_map_init(), 0);
    std::size_t settled = 0;
    for (int round = 1; round <= 300; ++round) {
      const std::string text = "round " + std::to_string(round);
      ASSERT_EQ(wz_save_string(text.c_str(), "a"), 0);
      EXPECT_EQ(eval("<id>{a}</id>{b}", WZ_FLAG_URL_ENCODE).substr(0, 12), "<id>round%20");
      EXPECT_EQ(wz_save_searched_string(0, arg("<x>1</x><x>22</x>"), 1, arg("list"), arg("<x>"),
                                        arg("</x>"), WZ_ORD_ALL, 0, -1),
                2);
      ASSERT_EQ(wz_save_string(text.c_str(), "b"), 0);
      if (round % 100 == 1) {
        const auto blocks = listed();
        EXPECT_EQ(blocks.count(entry("a").value.value), 1U);
        EXPECT_EQ(blocks.at(entry("b").value.value).first, text.size() + 1);
        for (const auto& [address, block] : blocks) {
          EXPECT_FALSE(std::regex_search(block.second,
                                         std::regex("ZelMemoryMap|bigbuf|Norm|memory pool|newest")))
              << block.second;
        }
        settled = settled == 0 ? blocks.size() : settled;
        EXPECT_EQ(blocks.size(), settled) << "replaced values are forgotten";
      }
    }
    EXPECT_EQ(wzlb_mem_map_free(), 0);
    EXPECT_EQ(eval("{a}"), "round 300") << "values outlive the map";
  }
}

}  // namespace
