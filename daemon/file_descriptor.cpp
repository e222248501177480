#include "daemon/file_descriptor.h"

#include <array>
#include <cerrno>

namespace vsd {

std::string read_to_end(int fd) {
  std::string text;
  std::array<char, 4096> block;
  for (;;) {
    const ssize_t count = read(fd, block.data(), block.size());
    if (count > 0) {
      text.append(block.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return text;
    }
  }
}

}  // namespace vsd
