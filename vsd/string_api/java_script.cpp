// JavaScript for scripts. Each call has an engine of its own, which is gone when the call returns,
// whatever happened in it: texts of one request cannot reach the next one.
//
// The packaged engine has no hook that could stop a program that runs for ever; the host's watch
// over its scripts has to.
#include <duktape.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wz/wz_script.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include "vsd/string_api/context.h"
#include "vsd/string_api/tracked_text.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

enum InputType { kInputText = 0, kInputParameter = 1, kInputFile = 2 };
enum OutputType { kOutputBuffer = 0, kOutputParameter = 1, kOutputFile = 2 };

constexpr std::size_t kMaxTemplate = 2048;
constexpr mode_t kNewFileMode = 0666;  // before the umask
constexpr int kTooLong = -2;           // of saving a value

struct DestroyHeap {
  void operator()(duk_context* context) const noexcept { duk_destroy_heap(context); }
};
using Heap = std::unique_ptr<duk_context, DestroyHeap>;

// Where the caller wants to read what went wrong.
class ErrorText {
 public:
  ErrorText(char* text, int size) : text_(size > 0 ? text : nullptr), size_(size) {
    if (text_ != nullptr) {
      *text_ = '\0';
    }
  }

  // The failure of the call, -1.
  __attribute__((format(printf, 2, 3))) int fail(const char* format, ...) const {
    if (text_ != nullptr) {
      va_list arguments;
      va_start(arguments, format);
      std::vsnprintf(text_, static_cast<std::size_t>(size_), format, arguments);
      va_end(arguments);
    }
    return -1;
  }

 private:
  char* text_;
  int size_;
};

class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }
  [[nodiscard]] int get() const noexcept { return fd_; }

 private:
  int fd_;
};

// The whole of a file with a NUL behind it; null after a failure that `error` tells.
TrackedText read_file(const char* name, const ErrorText& error) {
  struct stat status {};
  if (stat(name, &status) != 0 || status.st_size <= 0) {
    error.fail("Error: Provided file input is not available or zero size.");
    return nullptr;
  }
  const auto refuse = [&]() -> TrackedText {
    error.fail("Error in opening input file %s. Err[%d] = %s ", name, errno, std::strerror(errno));
    return nullptr;
  };
  const Descriptor file(open(name, O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) {
    return refuse();
  }
  TrackedText text(
      static_cast<char*>(WZLB_MALLOC(status.st_size + 1, "wz_exec_js() input buffer")));
  const auto size = static_cast<std::size_t>(status.st_size);
  std::size_t length = 0;
  for (ssize_t count = 1; count > 0 && length < size;) {
    count = read(file.get(), text.get() + length, size - length);
    if (count < 0) {
      return refuse();  // a folder, for one, opens and cannot be read
    }
    length += static_cast<std::size_t>(count);
  }
  text.get()[length] = '\0';
  return text;
}

// The value of a script parameter, in the evaluation buffer; null when there is no such parameter.
const char* parameter_text(const char* name) {
  std::array<char, kMaxTemplate + 1> reference{};
  std::snprintf(reference.data(), reference.size(), "{%s}", name);
  const char* value = wz_eval_string(reference.data());
  return std::strcmp(value, reference.data()) != 0 ? value : nullptr;
}

// The value on top of the stack as a string; runs the program's own toString.
duk_ret_t to_string(duk_context* context, void*) {
  duk_to_string(context, -1);
  return 1;
}

// Evaluates the text and leaves its result as a string on the stack, or the error that it ended
// with. Nothing of it may throw past this call: that would end the process.
bool evaluate(duk_context* context, const char* text) {
  return duk_peval_string(context, text) == 0 &&
         duk_safe_call(context, to_string, nullptr, 1, 1) == DUK_EXEC_SUCCESS;
}

int write_file(const char* name, std::string_view text, const ErrorText& error) {
  const Descriptor file(
      open(name, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, kNewFileMode));
  if (file.get() < 0) {
    return error.fail("Error in opening file %s. Error = %s", name, std::strerror(errno));
  }
  while (!text.empty()) {
    const ssize_t count = write(file.get(), text.data(), text.size());
    if (count <= 0) {
      break;
    }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

int deliver(int out_type, char* out, int out_size, std::string_view text, const ErrorText& error) {
  if (out_type == kOutputFile) {
    return write_file(out, text, error);
  }
  if (out_type == kOutputParameter) {
    switch (wz_save_string(text.data(), out)) {
      case kNotFound:
        return error.fail("Error: Output parameter invalid or nor allowed.");
      case kTooLong:
        return error.fail("Error: Output size is more than max parameter length.");
      default:
        return 0;
    }
  }
  if (out_size > 0) {
    const std::size_t last = static_cast<std::size_t>(out_size) - 1;
    out[text.copy(out, last)] = '\0';
    out[last] = '\0';  // scripts rely on it, whatever the length
  }
  return 0;
}

// What is wrong with the arguments; null for nothing.
const char* wrong_argument(int inp_type, const char* inp, int out_type, const char* out) {
  if (inp == nullptr || *inp == '\0') {
    return "Error: Provided input is null or empty.";
  }
  if (inp_type < kInputText || inp_type > kInputFile) {
    return "Error: Provided input type is invalid.";
  }
  if (out_type < kOutputBuffer || out_type > kOutputFile) {
    return "Error: Provided output type is invalid.";
  }
  if (out == nullptr || (*out == '\0' && out_type != kOutputBuffer)) {
    return "Error: Provided output is null or empty.";
  }
  return nullptr;
}

int execute(const char* text, int out_type, char* out, int out_size, const ErrorText& error) {
  VSD_TRACE_AS("wz_exec_js", WZLB_LEVEL_2, kModuleApi, "Input = %s", text);
  const Heap heap(duk_create_heap_default());
  if (heap == nullptr) {
    return error.fail("Error in creating duk context to execute JS query.");
  }
  if (!evaluate(heap.get(), text)) {
    return error.fail("Error in JavaScript handling or eval. %s",
                      duk_safe_to_string(heap.get(), -1));
  }
  duk_size_t length = 0;
  const char* result = duk_get_lstring(heap.get(), -1, &length);
  if (result == nullptr) {
    return error.fail("Error in getting output string from duk context.");
  }
  VSD_TRACE_AS("wz_exec_js", WZLB_LEVEL_2, kModuleApi, "Output = %s", result);
  return deliver(out_type, out, out_size, {result, length}, error);
}

}  // namespace
}  // namespace wz::script

int wz_exec_js(int inp_type, char* inp, int out_type, char* out, int out_size, char* js_err_msg,
               int js_err_mlen) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_2, kModuleApi,
            "Exec JS Method Called, inp_type = %d, input = %s, out_type = %d", inp_type,
            inp != nullptr ? inp : "(null)", out_type);
  const ErrorText error(js_err_msg, js_err_mlen);
  if (const char* wrong = wrong_argument(inp_type, inp, out_type, out)) {
    return error.fail("%s", wrong);
  }
  TrackedText file;
  const char* text = inp;
  if (inp_type == kInputParameter) {
    text = parameter_text(inp);
    if (text == nullptr) {
      return error.fail("Error: Invalid parameter specified.");
    }
  } else if (inp_type == kInputFile) {
    file = read_file(inp, error);
    if (file == nullptr) {
      return -1;
    }
    text = file.get();
  }
  return execute(text, out_type, out, out_size, error);
}
