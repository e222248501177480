#include "daemon/data_source/kept_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "daemon/file_descriptor.h"

namespace vsd {
namespace {

bool write_whole(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = ::write(fd, content.data(), content.size());
    if (count < 0 && errno != EINTR) {
      return false;
    }
    content.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  return true;
}

bool write_aside(const std::string& aside, std::string_view content) {
  const FileDescriptor file(::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  return file && write_whole(file.get(), content) && ::fsync(file.get()) == 0;
}

}  // namespace

std::string replace_file(const std::filesystem::path& path, std::string_view content) {
  const std::string aside = path.string() + ".new";
  if (!write_aside(aside, content) || std::rename(aside.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(aside.c_str());
    return std::strerror(error);
  }
  const FileDescriptor folder(
      ::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) {
    ::fsync(folder.get());  // so that the new name is on the disk too
  }
  return {};
}

}  // namespace vsd
