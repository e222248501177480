#include <gtest/gtest.h>
#include <wz/wzlb.h>
TEST(Smoke, Link) {
  EXPECT_EQ(wzlb_mem_map_remove(nullptr), -1);
}
