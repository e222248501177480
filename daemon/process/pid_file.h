// The file that names the parent process, for `vsd reload`, scripts and service managers: the
// process id in the first line; behind it what the last reload came to.
//
// The parent holds a lock on it for as long as it lives, so a file that is left over from a crash
// names nobody.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

#include "daemon/file_descriptor.h"

namespace vsd {

// How reloads went, counted since the start.
struct ReloadRecord {
  unsigned long count = 0;
  bool is_good = true;
  std::string problem;  // text for the operator
};

class PidFile {
 public:
  // Creates the file for this process. Throws std::runtime_error when it cannot be written or a
  // living process holds it.
  explicit PidFile(const std::filesystem::path& path);
  PidFile(const PidFile&) = delete;
  PidFile& operator=(const PidFile&) = delete;
  // Removes the file; it empties it when that is not allowed any more.
  ~PidFile();

  void record(const ReloadRecord& reload) const;

 private:
  std::filesystem::path path_;
  FileDescriptor file_;
};

// The living process that holds the file.
[[nodiscard]] std::optional<pid_t> pid_file_holder(const std::filesystem::path& path);

// Nothing while the record is being written.
[[nodiscard]] std::optional<ReloadRecord> read_reload_record(const std::filesystem::path& path);

}  // namespace vsd
