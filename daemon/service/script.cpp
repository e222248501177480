#include "daemon/service/script.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

#include "daemon/file_descriptor.h"

namespace vsd {
namespace {

constexpr unsigned kProbeSeconds = 10;  // then the object is taken for one that hangs when loaded

constexpr std::string_view kLoads = "\1";  // the probe's report when all is well

// Whether the object names a function that it resolves from elsewhere: names are NUL-terminated
// texts in it. A script that holds such a text otherwise costs a copy of its requests.
bool refers_to(const std::filesystem::path& object, std::string_view function) {
  std::ifstream file(object, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::string name(1, '\0');
  name.append(function).append(1, '\0');
  return bytes.find(name) != std::string::npos;
}

[[noreturn]] void run_probe(const std::filesystem::path& object, int report) {
  alarm(kProbeSeconds);
  std::string text;
  if (Script::load(object, text)) {
    text = kLoads;
  }
  [[maybe_unused]] const ssize_t ignored = write(report, text.data(), text.size());
  _exit(0);
}

}  // namespace

void Script::Close::operator()(void* handle) const noexcept {
  dlclose(handle);
}

std::optional<Script> Script::load(const std::filesystem::path& object, std::string& error) {
  Script script;
  script.handle_.reset(dlopen(object.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (script.handle_ == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "cannot load " + object.string();
    return std::nullopt;
  }
  script.post_recv_ = reinterpret_cast<Hook>(dlsym(script.handle_.get(), "post_recv"));
  script.pre_send_ = reinterpret_cast<Hook>(dlsym(script.handle_.get(), "pre_send"));
  if (script.post_recv_ == nullptr && script.pre_send_ == nullptr) {
    error = "the script defines neither void post_recv(void) nor void pre_send(void)";
    return std::nullopt;
  }
  script.reads_request_ = refers_to(object, "wz_get_request_buf");
  return script;
}

std::string probe_script(const std::filesystem::path& object) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::string("cannot make a pipe: ") + std::strerror(errno);
  }
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  std::fflush(nullptr);  // the child must not write what is buffered here a second time
  const pid_t child = fork();
  if (child < 0) {
    return std::string("cannot start a process: ") + std::strerror(errno);
  }
  if (child == 0) {
    run_probe(object, writing.get());
  }
  writing.reset();
  const std::string report = read_to_end(reading.get());
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (report.empty()) {
    return "the script cannot be loaded: the process that tried ended " +
           (WIFSIGNALED(status) ? "by signal " + std::to_string(WTERMSIG(status))
                                : "with status " + std::to_string(WEXITSTATUS(status)));
  }
  return report == kLoads ? "" : report;
}

}  // namespace vsd
