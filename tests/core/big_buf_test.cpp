#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <fstream>
#include <string>

#include "libwzcore/internal/trace.h"
#include "tests/support/capture.h"
#include "tests/support/temporary_folder.h"

namespace {

using wz::mutable_text;

struct BigBuf : bigbuf_t {
  BigBuf() : bigbuf_t{} {}
  ~BigBuf() { wzlb_bigbuf_free(this); }
  long copy(const char* text, int len = 0) {
    return wzlb_bigbuf_copy_into_bigbuf(this, mutable_text(text), len);
  }
};

TEST(BigBuf, GrowsInFixedStepsAndNeverUsesTheLastByte) {
  struct Case {
    int initial_size;
    int length;
    long bufsize;
  };
  constexpr Case kCases[] = {
      {1, 1, 10241},         {10, 8, 10},           {10, 9, 10250},    {5, 10237 + 5, 10245},
      {5, 10238 + 5, 10245}, {5, 10239 + 5, 20485}, {1, 30000, 30721},
  };
  for (const Case& c : kCases) {
    BigBuf buffer;
    ASSERT_EQ(wzlb_bigbuf_init_ex(&buffer, c.initial_size), 0);
    EXPECT_EQ(buffer.copy(std::string(30000, 'x').c_str(), c.length), 0);
    EXPECT_EQ(buffer.bufsize, c.bufsize) << c.length;
    EXPECT_EQ(buffer.offset, c.length + 1);
    EXPECT_EQ(std::string(wzlb_bigbuf_get_value(&buffer, 0)), std::string(c.length, 'x'));
    EXPECT_EQ(buffer.buffer[buffer.bufsize - 1], '\0') << "new room is zeroed";
  }
}

TEST(BigBuf, OffsetsOutliveGrowthAndTheBuffer) {
  BigBuf buffer;
  ASSERT_EQ(wzlb_bigbuf_init(&buffer), 0);
  EXPECT_EQ(buffer.bufsize, 0x100000);
  EXPECT_EQ(buffer.copy("ab"), 0);
  EXPECT_EQ(buffer.copy("cde", 1), 3);
  buffer.offset = buffer.bufsize - 1;
  EXPECT_EQ(buffer.copy(std::string(20000, 'x').c_str(), 20000), 0x100000 - 1);
  EXPECT_EQ(buffer.bufsize, 0x100000 + 20480);
  EXPECT_STREQ(wzlb_bigbuf_get_value(&buffer, 3), "c");
  wzlb_bigbuf_free(&buffer);
  EXPECT_TRUE(buffer.buffer == nullptr && buffer.offset == 0 && buffer.bufsize == 0);
  EXPECT_EQ(buffer.copy("again"), 0);
  EXPECT_EQ(buffer.bufsize, 10240);
}

TEST(BigBuf, RefusesBadArguments) {
  BigBuf buffer;
  char text[] = "x";
  EXPECT_EQ(wzlb_bigbuf_init(nullptr), -1);
  EXPECT_EQ(wzlb_bigbuf_init_ex(&buffer, 0), -1);
  EXPECT_EQ(buffer.buffer, nullptr);
  EXPECT_EQ(wzlb_bigbuf_realloc(nullptr), -1);
  EXPECT_EQ(wzlb_bigbuf_chk_avail_space(nullptr, 1), -1);
  EXPECT_EQ(wzlb_bigbuf_copy_into_bigbuf(nullptr, text, 1), -1);
  EXPECT_EQ(buffer.copy(nullptr), -1);
  EXPECT_EQ(buffer.copy(text, -1), -1);
  EXPECT_EQ(wzlb_bigbuf_get_value(nullptr, 0), nullptr);
  wzlb_bigbuf_free(nullptr);
  EXPECT_EQ(buffer.buffer, nullptr);
}

TEST(BigBuf, CopiesFilesAndShowsItsProgress) {
  const wz::test::TemporaryFolder folder;
  const std::string file = (folder.path() / "file").string();
  const std::string blank = (folder.path() / "blank").string();
  std::ofstream(file) << std::string(12000, 'f');
  std::ofstream{blank};
  struct Case {
    std::string text;
    int length;
    char flag;
    long offset;
    std::string progress;
    std::string error;
  };
  const std::string read_file = "LBBB: Read file ";
  const Case cases[] = {
      {"ab", 0, BIGBUF_TYPE_BUFFER, 0, "", ""},
      {file, 1, BIGBUF_TYPE_FILE, 3,
       read_file + file +
           "\nLBBB: Read file-size = 12000\nLBBB: Read and fill into bigbuf = 12000\n"
           "DONE!!!, offset = 3\n",
       ""},
      {"b", -1, BIGBUF_TYPE_BUFFER, -1, "", ""},
      {"ab", 0, 2, -1, "", "Flag type can only be BIGBUF_TYPE_FILE or BIGBUF_TYPE_BUFFER"},
      {"/none", 0, BIGBUF_TYPE_FILE, -1, read_file + "/none\n",
       "File '/none' does not exists. err(2)=No such file or directory."},
      {blank, 0, BIGBUF_TYPE_FILE, -1, read_file + blank + "\nLBBB: Read file-size = 0\n",
       "File '" + blank + "' is blank err(0)=Success."},
      {"cd", 1, BIGBUF_TYPE_BUFFER, 12004, "", ""},
  };
  BigBuf buffer;
  for (const Case& c : cases) {
    char error[WZLB_BIGBUF_ERROR_SIZE] = "";
    const std::string progress = wz::test::stderr_of([&] {
      EXPECT_EQ(wzlb_bigbuf_copy_into_bigbuf_ex(&buffer, mutable_text(c.text.c_str()), c.length,
                                                c.flag, error),
                c.offset);
    });
    EXPECT_EQ(progress, "Method called, string = " + c.text +
                            ", len = " + std::to_string(c.length) +
                            ", flag = " + std::to_string(c.flag) + c.progress);
    EXPECT_EQ(error, c.error);
  }
  EXPECT_EQ(std::string(buffer.buffer + 3), std::string(12000, 'f'));
  EXPECT_STREQ(buffer.buffer + 12004, "c");
  char error[WZLB_BIGBUF_ERROR_SIZE];
  wz::test::stderr_of([&] {
    std::string path = folder.path().string();
    EXPECT_EQ(wzlb_bigbuf_copy_into_bigbuf_ex(&buffer, path.data(), 0, 1, error), -1);
    EXPECT_EQ(std::string(error), "Error in reading file[" + path + "]. SysErr[Is a directory]");
    EXPECT_EQ(wzlb_bigbuf_copy_into_bigbuf_ex(&buffer, path.data(), 0, 1, nullptr), -1);
  });
}

}  // namespace
