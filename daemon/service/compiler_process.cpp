#include "daemon/service/compiler_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "daemon/file_descriptor.h"

namespace vsd {
namespace {

// Where the child's descriptors go: nothing to read, all output into one pipe.
class ChildFiles {
 public:
  explicit ChildFiles(int output) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);
  }
  ChildFiles(const ChildFiles&) = delete;
  ChildFiles& operator=(const ChildFiles&) = delete;
  ~ChildFiles() { posix_spawn_file_actions_destroy(&actions_); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

std::vector<char*> pointers(std::vector<std::string>& words) {
  std::vector<char*> list;
  list.reserve(words.size() + 1);
  for (std::string& word : words) {
    list.push_back(word.data());
  }
  list.push_back(nullptr);
  return list;
}

std::vector<std::string> english_environment() {
  std::vector<std::string> words;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with("LC_ALL=")) {
      words.emplace_back(*entry);
    }
  }
  words.emplace_back("LC_ALL=C");
  return words;
}

// The child's wait status, or nothing when somebody else has reaped it.
std::optional<int> wait_for(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) {
      return std::nullopt;
    }
  }
  return status;
}

}  // namespace

CompilerRun run_compiler(const std::vector<std::string>& arguments) {
  CompilerRun run;
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    run.failure = std::string("cannot make a pipe: ") + std::strerror(errno);
    return run;
  }
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const ChildFiles files(writing.get());
  std::vector<std::string> words = arguments;
  std::vector<std::string> environment = english_environment();
  pid_t child = 0;
  const int error = posix_spawnp(&child, words[0].c_str(), files.get(), nullptr,
                                 pointers(words).data(), pointers(environment).data());
  writing.reset();
  if (error != 0) {
    run.failure = "cannot run " + words[0] + ": " + std::strerror(error);
    return run;
  }
  run.output = read_to_end(reading.get());
  const auto status = wait_for(child);
  run.succeeded = status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0;
  if (status && WIFSIGNALED(*status)) {
    run.failure = words[0] + " was ended by signal " + std::to_string(WTERMSIG(*status));
  } else if (!run.succeeded) {
    run.failure = words[0] + " failed";
  }
  return run;
}

std::optional<std::filesystem::path> find_program(const std::string& name) {
  const auto executable = [](const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored) && access(path.c_str(), X_OK) == 0;
  };
  if (name.find('/') != std::string::npos) {
    return executable(name) ? std::optional<std::filesystem::path>(name) : std::nullopt;
  }
  const char* path = std::getenv("PATH");
  std::string_view rest = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
  while (!name.empty()) {
    const std::size_t colon = rest.find(':');
    const auto candidate = std::filesystem::path(rest.substr(0, colon)) / name;
    if (executable(candidate)) {
      return candidate;
    }
    if (colon == std::string_view::npos) {
      break;
    }
    rest.remove_prefix(colon + 1);
  }
  return std::nullopt;
}

}  // namespace vsd
