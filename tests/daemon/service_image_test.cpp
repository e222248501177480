#include "daemon/service/service_image.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "daemon/service/name_table.h"

namespace {

TEST(ServiceImage, CannotBeWrittenTo) {
  vsd::ServiceDefinition definition;
  definition.methods = {"GET"};
  const vsd::ServiceImage image = vsd::ServiceImage::build({&definition, 1});
  EXPECT_DEATH(image.service(0).contract()->service_type = 1, "");
}

TEST(NameTable, FindsEachNameAndNoOther) {
  std::vector<std::string> owned;
  for (int i = 0; i < 20000; ++i) {
    owned.push_back(std::string(static_cast<std::size_t>(i % 23), 'x') + std::to_string(i));
  }
  const std::vector<std::string_view> names(owned.begin(), owned.end());
  const vsd::NameTable table = vsd::build_name_table(names);
  const char* bytes = reinterpret_cast<const char*>(table.bytes.data());
  for (std::size_t i = 0; i < names.size(); ++i) {
    ASSERT_EQ(vsd::find_name(bytes, names[i], table.slots), static_cast<int>(i));
    ASSERT_EQ(vsd::find_name(bytes, owned[i] + "x", table.slots), -1);
  }
  EXPECT_EQ(vsd::find_name(bytes, "", table.slots), -1);
}

}  // namespace
