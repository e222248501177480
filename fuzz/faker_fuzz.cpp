// Classes of fake data with arguments. Input: a class text up to the first line end, then arguments
// for the same class without those of the text.
#include <wz/wzlb_faker.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"

using wz::fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = input.find('\n');
  const std::string text = input.substr(0, end).c_str();
  const std::string arguments = end == std::string::npos ? "" : input.substr(end + 1);
  wzlb_faker_seed(size);

  const int id = wzlb_faker_class_to_id(text.c_str());
  const int plain = wzlb_faker_class_to_id(text.substr(0, text.find(';')).c_str());
  require(id >= -1 && (id < 0 || plain >= 0));
  require(plain < wzlb_faker_class_count());
  require(id < 0 || wzlb_faker_class_to_id(text.c_str()) == id);
  if (id >= 0) {
    const char* value = wzlb_faker_get_by_id(id, nullptr);
    require(value != nullptr && std::strlen(value) < 1U << 20);
  }
  // Both ways of giving arguments accept the same ones.
  const char* value = wzlb_faker_get_by_id(plain, arguments.c_str());
  const std::string whole = text.substr(0, text.find(';')) + ';' + arguments.c_str();
  require((value != nullptr) == (wzlb_faker_class_to_id(whole.c_str()) >= 0));
  return 0;
}
