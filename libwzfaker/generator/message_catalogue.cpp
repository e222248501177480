#include "libwzfaker/generator/message_catalogue.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace wz::faker::generator {
namespace {

constexpr std::uint32_t kMagic = 0x950412de;

class Catalogue {
 public:
  explicit Catalogue(std::string bytes) : bytes_(std::move(bytes)) {}

  // The 32-bit number at a byte offset.
  [[nodiscard]] std::uint32_t number(std::size_t offset) const {
    std::uint32_t value = 0;
    if (offset + sizeof value > bytes_.size()) {
      throw std::runtime_error("message catalogue is cut off");
    }
    std::memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }

  // The text that a descriptor at `offset` (length, start) refers to.
  [[nodiscard]] std::string text(std::size_t offset) const {
    return bytes_.substr(number(offset + 4), number(offset));
  }

 private:
  std::string bytes_;
};

}  // namespace

std::map<std::string, std::string> read_message_catalogue(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  std::map<std::string, std::string> messages;
  if (bytes.size() < 20) {
    return messages;
  }
  const Catalogue catalogue(std::move(bytes));
  if (catalogue.number(0) != kMagic) {
    return messages;
  }
  const std::size_t count = catalogue.number(8);
  const std::size_t originals = catalogue.number(12);
  const std::size_t translations = catalogue.number(16);
  for (std::size_t i = 0; i < count; ++i) {
    messages.emplace(catalogue.text(originals + i * 8), catalogue.text(translations + i * 8));
  }
  return messages;
}

}  // namespace wz::faker::generator
