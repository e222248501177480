// The host's logs. Lines look like those of the core library's log and follow the same rules: one
// write each, so that lines of several workers do not mix; cut when too long, never refused; built
// on the stack.
#include <unistd.h>
#include <wz/vsd_host.h>
#include <wz/wzlb_log.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "daemon/host_ops/host_ops.h"

namespace vsd {
namespace {

constexpr std::size_t kMaxLine = 64000;

// One log line. Deliberately uninitialised: clearing it would cost more than writing it.
class LogLine {
 public:
  __attribute__((format(printf, 2, 3))) void head(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    append(format, arguments);
    va_end(arguments);
  }
  __attribute__((format(printf, 2, 0))) void append(const char* format, va_list arguments) {
    const std::size_t room = kMaxLine - length_;
    const int written = std::vsnprintf(text_ + length_, room + 1, format, arguments);
    length_ += written < 0 ? std::strlen(text_ + length_)
                           : std::min(static_cast<std::size_t>(written), room);
  }
  // A log that cannot be written to must not stop the service.
  void write_to(int fd) const {
    const ssize_t ignored = ::write(fd, text_, length_);
    static_cast<void>(ignored);
  }

 private:
  char text_[kMaxLine + 1];
  std::size_t length_ = 0;
};

// A log that its first line opens and that rolls over.
struct RollingLog {
  std::string path;
  int fd = -1;

  void write(const LogLine& line) {
    open_log_ex(path.data(), &fd, max_debug_log_file_size);
    line.write_to(fd);
  }
  void close() {
    if (fd > 0) {
      ::close(fd);
    }
    fd = -1;
  }
};

std::string& error_path() {
  static std::string path;
  return path;
}

RollingLog& debug_log() {
  static RollingLog log;
  return log;
}

RollingLog& trace_log() {
  static RollingLog log;
  return log;
}

const char* severity_word(int severity) {
  switch (static_cast<unsigned>(severity)) {
    case 0xFF:
      return "Critical";
    case 0xFF00:
      return "Major";
    case 0xFF0000:
      return "Minor";
    case 0xFF000000:
      return "Warning";
    default:
      return "Unknown Log Level";
  }
}

void write_error(const LogLine& line) {
  line.write_to(g_err_log != nullptr ? fileno(g_err_log) : STDERR_FILENO);
}

}  // namespace

bool set_host_logs(const std::filesystem::path& debug_path,
                   const std::filesystem::path& error_log) {
  close_host_logs();
  debug_log().path = debug_path.string();
  error_path() = error_log.string();
  g_err_log = std::fopen(error_log.c_str(), "ae");
  return g_err_log != nullptr;
}

void set_host_trace_log(const std::filesystem::path& path, int level) {
  trace_log().close();
  trace_log().path = path.string();
  vsd_debug_trace_log_value = level;
}

void reopen_logs() {
  const std::string debug_path = debug_log().path;
  const std::string error = error_path();
  if (!error.empty()) {
    set_host_logs(debug_path, error);
  }
  wzlb_close_log_fd();
  if (lib_error_fd > 0) {
    close(lib_error_fd);
    lib_error_fd = -1;
  }
}

void close_host_logs() {
  debug_log().close();
  trace_log().close();
  if (g_err_log != nullptr) {
    std::fclose(g_err_log);
    g_err_log = nullptr;
  }
}

}  // namespace vsd

void vsd_debug_log_ex(int level_mask, unsigned long long module_mask, char* file, int line,
                      char* function, connection*, char* format, ...) {
  if ((level_mask & vsd_global_config.debug_level) == 0 ||
      (module_mask & vsd_global_config.module_mask) == 0) {
    return;
  }
  vsd::LogLine text;
  text.head("\n%s|%s|%d|%s|", get_cur_date_time(), file, line, function);
  va_list arguments;
  va_start(arguments, format);
  text.append(format, arguments);
  va_end(arguments);
  vsd::debug_log().write(text);
}

void vsd_debug_tracelog(connection*, char*, int, char*, char* format, ...) {
  if (vsd::trace_log().path.empty()) {
    return;
  }
  vsd::LogLine text;
  va_list arguments;
  va_start(arguments, format);
  text.append(format, arguments);
  va_end(arguments);
  text.head("\n");
  vsd::trace_log().write(text);
}

void vsd_error_log_ex(int severity, char* file, int line, char* function, connection*,
                      char* error_id, char* error_attr, char* format, ...) {
  if (severity == 0) {
    return;
  }
  vsd::LogLine text;
  text.head("\n%s|%s|%s|%s|%s|%d|%s|Error|", get_cur_date_time(), error_id,
            vsd::severity_word(severity), error_attr, file, line, function);
  va_list arguments;
  va_start(arguments, format);
  text.append(format, arguments);
  va_end(arguments);
  vsd::write_error(text);
}

void vsd_exit(int status, char* format, ...) {
  vsd::LogLine text;
  text.head("\n%s|", get_cur_date_time());
  va_list arguments;
  va_start(arguments, format);
  text.append(format, arguments);
  va_end(arguments);
  text.head(".\nExiting...\n");
  vsd::write_error(text);
  if (g_err_log != nullptr) {
    text.write_to(STDERR_FILENO);
  }
  std::exit(status);
}
