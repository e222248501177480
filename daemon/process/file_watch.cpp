#include "daemon/process/file_watch.h"

#include <sys/inotify.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <system_error>

namespace vsd {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kChanges =
    IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;

}  // namespace

FileWatch::FileWatch(const fs::path& root)
    : root_(root), events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (!events_) {
    throw std::system_error(errno, std::generic_category(), "cannot watch for changes");
  }
  watch(root_);
  watch_tree(root_ / "sys");
  watch_tree(root_ / "correlation");
}

void FileWatch::watch(const fs::path& folder) {
  const int id = inotify_add_watch(events_.get(), folder.c_str(), kChanges);
  if (id >= 0) {
    folders_[id] = folder;
  } else if (errno == ENOSPC) {
    std::fprintf(stderr, "vsd: warning: %s is not watched: raise fs.inotify.max_user_watches\n",
                 folder.c_str());
  }
}

void FileWatch::watch_tree(const fs::path& folder) {
  watch(folder);
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (entry->is_directory(ignored)) {
      watch(entry->path());
    }
  }
}

bool FileWatch::changed() {
  bool is_relevant = false;
  alignas(inotify_event) std::array<char, 16384> buffer{};
  for (ssize_t size = read(events_.get(), buffer.data(), buffer.size()); size > 0;
       size = read(events_.get(), buffer.data(), buffer.size())) {
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      inotify_event event{};
      std::memcpy(&event, buffer.data() + at, sizeof event);
      const std::string_view name = event.len > 0 ? buffer.data() + at + sizeof event : "";
      at += sizeof event + event.len;
      const auto folder = folders_.find(event.wd);
      if ((event.mask & IN_Q_OVERFLOW) != 0) {
        watch_tree(root_ / "correlation");
        is_relevant = true;
      } else if (folder == folders_.end()) {
        continue;
      } else if ((event.mask & IN_IGNORED) != 0) {
        folders_.erase(folder);
      } else {
        // In the work directory itself, the daemon's own files come and go.
        const bool counts =
            folder->second != root_ || name == "vsd.conf" || name == "correlation" || name == "sys";
        if (counts && (event.mask & IN_ISDIR) != 0) {
          watch_tree(folder->second / name);
        }
        is_relevant = is_relevant || counts;
      }
    }
  }
  return is_relevant;
}

}  // namespace vsd
