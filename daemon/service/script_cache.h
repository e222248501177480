// The folder of compiled scripts. Several daemons may share it, and each loads its objects again
// whenever it replaces a worker: what one of them no longer needs may be another's.
#pragma once

#include <filesystem>
#include <vector>

#include "daemon/file_descriptor.h"

namespace vsd {

[[nodiscard]] inline std::filesystem::path script_cache_folder(const std::filesystem::path& root) {
  return root / ".cache" / "scripts";
}

// Says that this process, and those that it starts, use the folder; from before it builds scripts
// until it ends.
class ScriptCache {
 public:
  // Makes the folder when it is missing. A folder that cannot be written is only read.
  explicit ScriptCache(std::filesystem::path folder);

  // Removes what no service uses: objects other than `used`, what the compiler said about them, and
  // what an interrupted build left. Does nothing while another process uses the folder; a later
  // start makes up for it.
  void remove_all_but(const std::vector<std::filesystem::path>& used) const;

 private:
  std::filesystem::path folder_;
  FileDescriptor lock_;  // locked for reading by every user, for writing by one that removes
};

}  // namespace vsd
