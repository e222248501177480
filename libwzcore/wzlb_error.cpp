// Error texts of the calling thread and the fatal exit.
#include <unistd.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_time_stamp.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "libwzcore/internal/trace.h"

__thread char g_wzlb_err_buf[WZLB_ERROR_TEXT_SIZE];

namespace {

constexpr std::size_t kStrerrorSize = 256;
constexpr std::size_t kExitTextSize = 2048;
constexpr char kExitClosing[] = ".\nExiting...";

thread_local char strerror_text[kStrerrorSize];

// strerror_r comes in two shapes: the XSI one fills the buffer and returns a code, the GNU one
// (what g++ selects) returns the text, which may lie elsewhere.
[[maybe_unused]] void keep_error_text(int /*code*/) {}
[[maybe_unused]] void keep_error_text(const char* text) {
  if (text != strerror_text) {
    std::snprintf(strerror_text, sizeof strerror_text, "%s", text);
  }
}

// Taken and never released by a thread that exits, so that a second one waits instead of running
// the exit handlers twice. Recursive: an exit handler of the same thread may fail too.
constinit std::recursive_mutex exit_lock;

[[noreturn]] void exit_once(int status) {
  exit_lock.lock();
  std::exit(status);
}

// Length of the text that a printf call left in a buffer of `size` bytes.
std::size_t printed_length(int printed, std::size_t size) {
  return printed < 0 ? 0 : std::min(static_cast<std::size_t>(printed), size - 1);
}

// Puts the closing behind the text, which is cut so that both fit the buffer.
void append_closing(char* buffer, std::size_t size, std::size_t length) {
  const std::size_t room = size > sizeof kExitClosing ? size - sizeof kExitClosing : 0;
  const std::size_t start = std::min(length, room);
  std::snprintf(buffer + start, size - start, "%s", kExitClosing);
}

}  // namespace

char* wzlb_strerror(int num) {
  strerror_text[0] = '\0';
  keep_error_text(strerror_r(num, strerror_text, sizeof strerror_text));
  return strerror_text;
}

void wzlb_set_error(char* error) {
  const char* const text = error != nullptr ? error : "";
  const std::size_t length = strnlen(text, sizeof g_wzlb_err_buf - 1);
  std::memmove(g_wzlb_err_buf, text, length);  // `error` may be the text that is kept already
  g_wzlb_err_buf[length] = '\0';
}

char* wzlb_get_error(void) {
  return g_wzlb_err_buf;
}

void wzlb_exit(int exit_status, int trace_fd, char* buffer, int buffer_size, char* file, int line,
               char* fname, char* format, ...) {
  WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC, "Method Called. exit_status = %d, fd = %d",
             exit_status, trace_fd);
  char own_buffer[kExitTextSize + 1];
  const bool usable = buffer != nullptr && buffer_size > 0;
  char* const text = usable ? buffer : own_buffer;
  const std::size_t size = usable ? static_cast<std::size_t>(buffer_size) : kExitTextSize;

  std::size_t head_length = 0;
  if (exit_status != 0) {
    char time_string[64];
    head_length =
        printed_length(std::snprintf(text, size, "%s|%s|%d|%s|",
                                     wzlb_get_cur_date_time(time_string, 1), file, line, fname),
                       size);
  }
  va_list arguments;
  va_start(arguments, format);
  const std::size_t message_length =
      printed_length(std::vsnprintf(text + head_length, size - head_length, format, arguments),
                     size - head_length);
  va_end(arguments);
  std::fprintf(stderr, "%s\n", text + head_length);
  if (exit_status != 0) {
    append_closing(text, size, head_length + message_length);
    if (trace_fd >= 0) {
      [[maybe_unused]] const ssize_t written = write(trace_fd, text, std::strlen(text));
    }
  }
  exit_once(exit_status);
}
