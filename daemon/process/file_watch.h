// Notices when the operator's files change: vsd.conf, sys/ and everything below correlation/.
#pragma once

#include <filesystem>
#include <string_view>
#include <unordered_map>

#include "daemon/file_descriptor.h"

namespace vsd {

class FileWatch {
 public:
  // Throws std::system_error when the kernel cannot watch.
  explicit FileWatch(const std::filesystem::path& root);

  [[nodiscard]] int descriptor() const noexcept { return events_.get(); }

  // Reads what has happened. True when a file that counts was written, added, moved or removed.
  [[nodiscard]] bool changed();

 private:
  void watch(const std::filesystem::path& folder);
  void watch_tree(const std::filesystem::path& folder);

  std::filesystem::path root_;
  FileDescriptor events_;
  std::unordered_map<int, std::filesystem::path> folders_;  // by watch descriptor
};

}  // namespace vsd
