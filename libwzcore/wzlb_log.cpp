// Debug and error lines. A line is built on the stack and leaves in one write on an O_APPEND
// descriptor, so lines of several threads and processes interleave whole. Settings are plain
// globals, written at configuration time and read without locks.
#include <sys/types.h>
#include <unistd.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_time_stamp.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "libwzcore/internal/log_line.h"
#include "libwzcore/internal/trace.h"

constinit int wzlb_log_level = 0;
constinit unsigned long long lib_module_mask = 0;
constinit int lib_debug_fd = -1;
constinit int lib_error_fd = -1;
constinit unsigned int max_debug_log_file_size = 100000000;
constinit FILE* wzlb_log_fp = nullptr;

namespace {

// Bounds of a whole line, head included.
constexpr std::size_t kLineBound = 64000;
constexpr std::size_t kStreamLineBound = 20000;

constexpr std::size_t kPathSize = 1024;
constinit char log_file[kPathSize] = "";
constinit char error_log_file[kPathSize] = "";

// Keeps the caller's errno across a log call: callers trace between a failure and its report.
class ErrnoKeeper {
 public:
  ErrnoKeeper() = default;
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
  ~ErrnoKeeper() { errno = saved_; }

 private:
  int saved_ = errno;
};

void copy_path(char (&path)[kPathSize], const char* name) {
  if (name != nullptr) {
    std::snprintf(path, sizeof path, "%s", name);
  }
}

// A failed write is ignored: there is nowhere left to report it.
void write_line(int fd, const char* text, std::size_t length) {
  [[maybe_unused]] const ssize_t written = write(fd, text, length);
}

// A log that was just created with a header also gets a stream for callers that want one. The log
// functions open without a header, so this waits for one that does.
void open_debug_stream() {
  FILE* stream = fdopen(lib_debug_fd, "a");
  if (stream == nullptr) {
    std::fprintf(stderr, "Failed to fdopen(%s). Error = %s", log_file, wzlb_strerror(errno));
    return;
  }
  wzlb_util_set_debug_log_fp(stream);
}

// Apart from the test of the masks, so that a line that they stop does not pay for this frame.
[[gnu::noinline, gnu::cold]] __attribute__((format(printf, 4, 0))) void write_debug_line(
    const char* file, int line, const char* fname, const char* format, va_list arguments) {
  const ErrnoKeeper errno_keeper;
  wz::LogLine<kLineBound> text;
  // The newline leads: a line is complete without one behind it, and tools rely on that.
  text.set_head("\n%s|%s|%d|%s|", get_cur_date_time(), file, line, fname);
  text.append_message(format, arguments);
  if (open_log_ex(log_file, &lib_debug_fd, max_debug_log_file_size) == 1) {
    open_debug_stream();
  }
  write_line(lib_debug_fd, text.text(), text.length());
}

}  // namespace

char* log_level_to_str(int log_level) {
  switch (log_level) {
    case WZLB_LEVEL_1:
      return wz::mutable_text("Critical");
    case WZLB_LEVEL_2:
      return wz::mutable_text("Major");
    case WZLB_LEVEL_3:
      return wz::mutable_text("Minor");
    case WZLB_LEVEL_4:
      return wz::mutable_text("Warning");
    default:
      return wz::mutable_text("Unknown Log Level");
  }
}

char* get_cur_date_time(void) {
  // The conversion is repeated only when the second or the time zone changes.
  thread_local time_t converted_at = -1;
  thread_local char converted_zone[64];
  thread_local char converted[64];
  thread_local char result[64];
  const time_t now = time(nullptr);
  const char* const variable = std::getenv("TZ");
  const char* const zone = variable != nullptr ? variable : "/etc/localtime";
  if (now != converted_at || std::strcmp(zone, converted_zone) != 0) {
    struct tm local {};
    tzset();
    if (localtime_r(&now, &local) == nullptr) {
      std::snprintf(result, sizeof result, "Error");
      return result;
    }
    std::snprintf(converted, sizeof converted, "%02d/%02d/%02d %02d:%02d:%02d", local.tm_mon + 1,
                  local.tm_mday, (local.tm_year + 1900) % 2000, local.tm_hour, local.tm_min,
                  local.tm_sec);
    // A zone whose name does not fit is never found here again and so converted every time.
    std::snprintf(converted_zone, sizeof converted_zone, "%s", zone);
    converted_at = now;
  }
  // The caller may write to what it gets; the conversion stays ours.
  std::memcpy(result, converted, sizeof result);
  return result;
}

void wzlb_debug_log_ex(int tmp_log_level, unsigned long long mask, char* file, int line,
                       char* fname, char* format, ...) {
  if (!wz::tracing(tmp_log_level, mask)) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  write_debug_line(file, line, fname, format, arguments);
  va_end(arguments);
}

void wzlb_error_log_ex(int log_level, char* file, int line, char* fname, char* error_id,
                       char* error_attr, char* format, ...) {
  if (log_level == 0) {
    return;
  }
  const ErrnoKeeper errno_keeper;
  wz::LogLine<kLineBound> text;
  text.set_head("\n%s|%s|%s|%s|%s|%d|%s|Error|", get_cur_date_time(), error_id,
                log_level_to_str(log_level), error_attr, file, line, fname);
  va_list arguments;
  va_start(arguments, format);
  text.append_message(format, arguments);
  va_end(arguments);
  if (error_log_file[0] == '\0') {
    std::fputs(text.text(), stderr);
    return;
  }
  open_log_ex(error_log_file, &lib_error_fd, 0);
  write_line(lib_error_fd, text.text(), text.length());
}

int lib_debug_log(int log_level, int max_log_level, FILE* log_fp, char* file_name, int line,
                  char* fname, char* format, ...) {
  if (log_level > max_log_level) {
    return 0;
  }
  char time_string[64];
  wz::LogLine<kStreamLineBound> text;
  text.set_head("%s|%s|%d|%s|", wzlb_get_cur_date_time(time_string, 1), file_name, line, fname);
  va_list arguments;
  va_start(arguments, format);
  text.append_message(format, arguments);
  va_end(arguments);
  if (log_fp == nullptr) {
    std::printf("\n%s\n", text.text());
    return 0;
  }
  if (std::fprintf(log_fp, "\n%s\n", text.text()) < 0) {
    std::fprintf(stderr, "\n%s\n", "Unable to write to debug");
  }
  std::fflush(log_fp);
  return 0;
}

int wzlb_get_debug_fd(void) {
  return lib_debug_fd;
}

int wzlb_get_error_fd(void) {
  return lib_error_fd;
}

void wzlb_close_log_fd(void) {
  if (lib_debug_fd > 0) {
    close(lib_debug_fd);
    lib_debug_fd = -1;
  }
}

void wzlb_util_set_debug_log_level(int debug_level) {
  wzlb_log_level = debug_level;
}

void hessian_set_debug_log_level(int debug_level) {
  wzlb_log_level = debug_level;
}

void wzlb_util_set_modulemask(unsigned long long module_mask) {
  lib_module_mask = module_mask;
}

void wzlb_util_set_debug_log_size(unsigned int size) {
  max_debug_log_file_size = size;
}

void wzlb_util_set_log_filename(char* log_file_name, char* error_log_file_name) {
  copy_path(log_file, log_file_name);
  copy_path(error_log_file, error_log_file_name);
}

void wzlb_util_set_debug_log_fp(FILE* debug_log_fp) {
  wzlb_log_fp = debug_log_fp;
}

void hessian_set_debug_log_fp(FILE* debug_log_fp) {
  wzlb_log_fp = debug_log_fp;
}
