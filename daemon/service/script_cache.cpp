#include "daemon/service/script_cache.h"

#include <fcntl.h>

#include <set>
#include <system_error>
#include <utility>

namespace vsd {
namespace {

namespace fs = std::filesystem;

// Locks of this kind belong to the open file, so that workers inherit them, and change between
// reading and writing without a moment unlocked.
bool lock_file(const FileDescriptor& file, short type, int command) {
  struct flock whole {};
  whole.l_type = type;
  whole.l_whence = SEEK_SET;
  return fcntl(file.get(), command, &whole) == 0;
}

FileDescriptor open_lock(const fs::path& path) {
  FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  return file ? std::move(file) : FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

bool is_of_build(const fs::path& file) {
  const fs::path ending = file.extension();
  return ending == ".so" || ending == ".txt" || ending == ".tmp";
}

}  // namespace

ScriptCache::ScriptCache(fs::path folder) : folder_(std::move(folder)) {
  std::error_code ignored;
  fs::create_directories(folder_, ignored);
  lock_ = open_lock(folder_ / "lock");
  if (lock_ && !lock_file(lock_, F_RDLCK, F_OFD_SETLKW)) {
    lock_.reset();
  }
}

void ScriptCache::remove_all_but(const std::vector<fs::path>& used) const {
  if (!lock_ || !lock_file(lock_, F_WRLCK, F_OFD_SETLK)) {
    return;
  }
  std::set<fs::path> stems;
  for (const fs::path& object : used) {
    stems.insert(object.stem());
  }
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder_, ignored)) {
    if (is_of_build(entry.path()) && !stems.contains(entry.path().stem())) {
      fs::remove(entry.path(), ignored);
    }
  }
  lock_file(lock_, F_RDLCK, F_OFD_SETLK);
}

}  // namespace vsd
