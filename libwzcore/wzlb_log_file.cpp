// Opening and rolling over log files. Nothing is locked inside the process; several processes that
// share a log agree on who moves it aside by a non-blocking flock and an inode comparison.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <wz/wzlb_log.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr mode_t kLogMode = 0666;

struct OpenFile {
  std::uint64_t size = 0;
  std::uint64_t inode = 0;
};

// Runs before every debug line, so it asks for no more than it needs: a full fstat also asks for
// the time of change, which makes the kernel write the inode again at each following line.
bool examine(int fd, OpenFile& file) {
  struct statx found {};
  if (statx(fd, "", AT_EMPTY_PATH, STATX_SIZE | STATX_INO, &found) == 0) {
    file = {found.stx_size, found.stx_ino};
    return true;
  }
  struct stat old_way {};  // some containers forbid statx
  if (fstat(fd, &old_way) != 0) {
    return false;
  }
  file = {static_cast<std::uint64_t>(old_way.st_size), old_way.st_ino};
  return true;
}

// "PATH.prev", or "PATH.HH.MM" of the local time: hour and minute, deliberately, although callers
// think of the second form as month and day.
void move_aside(const char* log_file, bool to_previous) {
  char moved[PATH_MAX + 16];
  if (to_previous) {
    std::snprintf(moved, sizeof moved, "%s.prev", log_file);
  } else {
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    std::snprintf(moved, sizeof moved, "%s.%02d.%02d", log_file, local.tm_hour, local.tm_min);
  }
  // When the move fails the log simply goes on growing under its name.
  [[maybe_unused]] const int moved_result = std::rename(log_file, moved);
}

}  // namespace

int wzlb_check_rollover_file(int* fd, char* log_file, int max_file_size, int prev_or_mmdd) {
  if (*fd < 1 || max_file_size < 1) {
    return 0;
  }
  OpenFile open_file;
  if (!examine(*fd, open_file) || open_file.size <= static_cast<std::uint64_t>(max_file_size)) {
    return 0;
  }
  if (flock(*fd, LOCK_EX | LOCK_NB) == 0) {
    struct stat named_file {};
    if (stat(log_file, &named_file) == 0 && named_file.st_ino == open_file.inode) {
      move_aside(log_file, prev_or_mmdd != 0);
    }
    flock(*fd, LOCK_UN);
  }
  // Closed in every case: the open that follows finds a fresh file, or the one that another
  // process is just moving or has already replaced.
  close(*fd);
  *fd = -1;
  return 0;
}

int wzlb_open_file_with_header(int* fd, char* log_file, char* header) {
  if (*fd > 0) {
    return 0;
  }
  struct stat existing {};
  const bool with_header = header != nullptr && stat(log_file, &existing) != 0;
  *fd = open(log_file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kLogMode);
  if (*fd < 1) {  // descriptor 0 counts as not open
    return -1;
  }
  if (!with_header) {
    return 0;
  }
  [[maybe_unused]] const ssize_t written = write(*fd, header, std::strlen(header));
  return 1;
}

int wzlb_open_log(int* fd, char* log_file, int max_file_size, char* header) {
  wzlb_check_rollover_file(fd, log_file, max_file_size, 1);
  return wzlb_open_file_with_header(fd, log_file, header);
}

int open_log_ex(char* log_file, int* fd, unsigned int max_size) {
  // A size beyond the range of int turns negative and so switches rollover off.
  const int result = wzlb_open_log(fd, log_file, static_cast<int>(max_size), nullptr);
  if (result < 0) {
    std::fprintf(stderr, "Failed to open(%s). Error = %s", log_file, wzlb_strerror(errno));
  }
  return result;
}
