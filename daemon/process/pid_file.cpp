#include "daemon/process/pid_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace vsd {
namespace {

constexpr std::string_view kEnd = "end\n";

struct flock whole_file() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

std::optional<pid_t> holder_of(int file) {
  struct flock lock = whole_file();
  if (fcntl(file, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
    return std::nullopt;
  }
  return lock.l_pid;
}

}  // namespace

PidFile::PidFile(const std::filesystem::path& path)
    : path_(path), file_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
  if (!file_) {
    throw std::runtime_error("cannot write " + path.string() + ": " +
                             std::generic_category().message(errno));
  }
  struct flock lock = whole_file();
  if (fcntl(file_.get(), F_SETLK, &lock) != 0) {
    const auto holder = holder_of(file_.get());
    file_.reset();
    throw std::runtime_error(path.string() + " is held by process " +
                             std::to_string(holder.value_or(0)));
  }
  record({});
}

PidFile::~PidFile() {
  if (unlink(path_.c_str()) != 0) {
    [[maybe_unused]] const int ignored = ftruncate(file_.get(), 0);
  }
}

void PidFile::record(const ReloadRecord& reload) const {
  std::string text = std::to_string(getpid()) + "\n" + std::to_string(reload.count) +
                     (reload.is_good ? " good\n" : " bad\n") + reload.problem;
  text += kEnd;
  const bool is_written =
      ftruncate(file_.get(), 0) == 0 &&
      pwrite(file_.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
  static_cast<void>(is_written);  // a full disk must not stop the daemon
}

std::optional<pid_t> pid_file_holder(const std::filesystem::path& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return file ? holder_of(file.get()) : std::nullopt;
}

std::optional<ReloadRecord> read_reload_record(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!text.ends_with(kEnd)) {
    return std::nullopt;
  }
  text.resize(text.size() - kEnd.size());
  std::istringstream fields(text);
  pid_t pid = 0;
  std::string outcome;
  ReloadRecord reload;
  if (!(fields >> pid >> reload.count >> outcome)) {
    return std::nullopt;
  }
  reload.is_good = outcome == "good";
  fields.get();
  reload.problem.assign(std::istreambuf_iterator<char>(fields), {});
  return reload;
}

}  // namespace vsd
