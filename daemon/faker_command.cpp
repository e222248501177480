#include "daemon/faker_command.h"

#include <wz/wzlb_faker.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace vsd {
namespace {

constexpr int kLongestExample = 60;  // bytes; longer ones are cut in the list

std::string example_of(int id) {
  const char* value = wzlb_faker_get_by_id(id, nullptr);
  std::string text = value != nullptr ? value : "";
  if (text.size() > kLongestExample) {
    std::size_t length = kLongestExample - 3;
    while ((static_cast<unsigned char>(text[length]) & 0xc0U) == 0x80U) {
      --length;  // not inside a character
    }
    text.resize(length);
    text += "...";
  }
  return text;
}

int list_classes() {
  const int count = wzlb_faker_class_count();
  int width = 0;
  for (int id = 0; id < count; ++id) {
    WzFakerClass known{};
    wzlb_faker_describe_class(id, &known);
    width = std::max(width, static_cast<int>(std::strlen(known.name)));
  }
  for (int id = 0; id < count; ++id) {
    WzFakerClass known{};
    wzlb_faker_describe_class(id, &known);
    std::printf("%-*s  %s\n", width, known.name, example_of(id).c_str());
    std::printf("%-*s    %s%s%s\n", width, "", known.description,
                *known.arguments != '\0' ? "; " : "", known.arguments);
  }
  return kExitOk;
}

}  // namespace

int faker_command(const CommandLine& line) {
  const FakerOptions& options = line.faker;
  if (options.seed) {
    wzlb_faker_seed(*options.seed);
  }
  if (options.class_text.empty()) {
    return list_classes();
  }
  const int id = wzlb_faker_class_to_id(options.class_text.c_str());
  if (id < 0) {
    std::fprintf(stderr, "vsd: no class of fake data: %s\n", options.class_text.c_str());
    return kExitUsage;
  }
  for (int i = 0; i < options.count; ++i) {
    const char* value = wzlb_faker_get_by_id(id, nullptr);
    std::printf("%s\n", value != nullptr ? value : "");
  }
  return kExitOk;
}

}  // namespace vsd
