// A folder of a test's own, removed with everything in it at the end of the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace wz::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "wz-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      std::abort();
    }
    path_ = pattern;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

  // Writes a file and the folders above it; `name` is relative.
  void write(const std::filesystem::path& name, std::string_view text) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << text;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace wz::test
