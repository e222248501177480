// Many strings in one block, referred to by offset: offsets survive the moves of a growing block.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_big_buf.h>
#include <wz/wzlb_log.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "libwzcore/internal/trace.h"

namespace {

constexpr char kLabel[] = "bigbuf";

class ReadOnlyFile {
 public:
  explicit ReadOnlyFile(const char* path) : descriptor_(open(path, O_RDONLY | O_CLOEXEC)) {}
  ~ReadOnlyFile() {
    if (is_open()) {
      close(descriptor_);
    }
  }
  ReadOnlyFile(const ReadOnlyFile&) = delete;
  ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

  // Bytes read, fewer than `size` only where the file ends or on an error (errno).
  [[nodiscard]] long read_into(char* target, long size) const {
    long done = 0;
    while (done < size) {
      const ssize_t count = read(descriptor_, target + done, static_cast<std::size_t>(size - done));
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count <= 0) {
        break;
      }
      done += count;
    }
    return done;
  }

 private:
  int descriptor_;
};

// Deliberate: strictly below the end. The last byte of a block stays unused, and so do the offsets
// that depend on when a buffer grows.
bool has_room(const bigbuf_t& buffer, long needed) {
  return buffer.offset + needed < buffer.bufsize;
}

void make_room(bigbuf_t& buffer, long needed) {
  while (!has_room(buffer, needed)) {
    wzlb_bigbuf_realloc(&buffer);
  }
}

// Ends the `len` bytes at the first free byte with a NUL and takes them in; returns their offset.
long finish_copy(bigbuf_t& buffer, long len) {
  const long start = buffer.offset;
  buffer.buffer[start + len] = '\0';
  buffer.offset += len + 1;
  return start;
}

long append(bigbuf_t& buffer, const char* bytes, long len) {
  make_room(buffer, len + 1);
  std::memcpy(buffer.buffer + buffer.offset, bytes, static_cast<std::size_t>(len));
  return finish_copy(buffer, len);
}

__attribute__((format(printf, 2, 3))) long fail(char* err_msg, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(err_msg, WZLB_BIGBUF_ERROR_SIZE, format, arguments);
  va_end(arguments);
  return -1;
}

long append_file(bigbuf_t& buffer, const char* path, char* err_msg) {
  std::fprintf(stderr, "LBBB: Read file %s\n", path);
  struct stat status {};
  errno = 0;
  if (stat(path, &status) != 0) {
    return fail(err_msg, "File '%s' does not exists. err(%d)=%s.", path, errno,
                wzlb_strerror(errno));
  }
  std::fprintf(stderr, "LBBB: Read file-size = %ld\n", status.st_size);
  if (status.st_size == 0) {
    return fail(err_msg, "File '%s' is blank err(%d)=%s.", path, errno, wzlb_strerror(errno));
  }
  const ReadOnlyFile file(path);
  if (!file.is_open()) {
    return fail(err_msg, "Failed to open file '%s'. err(%d)=%s", path, errno, wzlb_strerror(errno));
  }
  make_room(buffer, status.st_size + 1);
  errno = 0;
  char* const target = buffer.buffer + buffer.offset;
  const long count = file.read_into(target, status.st_size);
  if (count != status.st_size) {
    const int error = errno;
    std::memset(target, 0, static_cast<std::size_t>(count));
    return fail(err_msg, "Error in reading file[%s]. SysErr[%s]", path, wzlb_strerror(error));
  }
  std::fprintf(stderr, "LBBB: Read and fill into bigbuf = %d\n", static_cast<int>(count));
  const long start = finish_copy(buffer, count);
  std::fprintf(stderr, "DONE!!!, offset = %ld\n", start);
  return start;
}

}  // namespace

int wzlb_bigbuf_init(bigbuf_t* bigbuf) {
  return wzlb_bigbuf_init_ex(bigbuf, WZLB_BIGBUF_DEFAULT_SIZE);
}

int wzlb_bigbuf_init_ex(bigbuf_t* bigbuf, int init_size) {
  if (bigbuf == nullptr || init_size < 1) {
    return -1;
  }
  WZLB_TRACE(WZLB_LEVEL_2, WZLB_MODULE_MISC, "init_size = %d", init_size);
  bigbuf->buffer = static_cast<char*>(WZLB_MALLOC(init_size, kLabel));
  std::memset(bigbuf->buffer, 0, static_cast<std::size_t>(init_size));
  bigbuf->offset = 0;
  bigbuf->bufsize = init_size;
  return 0;
}

int wzlb_bigbuf_realloc(bigbuf_t* bigbuf) {
  if (bigbuf == nullptr) {
    return -1;
  }
  WZLB_TRACE(WZLB_LEVEL_2, WZLB_MODULE_MISC, "bufsize = %ld, offset = %ld", bigbuf->bufsize,
             bigbuf->offset);
  bigbuf->buffer = static_cast<char*>(
      WZLB_REALLOC(bigbuf->buffer, bigbuf->bufsize + WZLB_BIGBUF_GROWTH_STEP, kLabel, -1));
  std::memset(bigbuf->buffer + bigbuf->bufsize, 0, WZLB_BIGBUF_GROWTH_STEP);
  bigbuf->bufsize += WZLB_BIGBUF_GROWTH_STEP;
  return 0;
}

int wzlb_bigbuf_chk_avail_space(bigbuf_t* bigbuf, int needed_space) {
  if (bigbuf == nullptr) {
    return -1;
  }
  return has_room(*bigbuf, needed_space) ? 1 : 0;
}

long wzlb_bigbuf_copy_into_bigbuf(bigbuf_t* bigbuf, char* string, int len) {
  if (bigbuf == nullptr || string == nullptr || len < 0) {
    return -1;
  }
  return append(*bigbuf, string, len == 0 ? static_cast<long>(std::strlen(string)) : len);
}

long wzlb_bigbuf_copy_into_bigbuf_ex(bigbuf_t* bigbuf, char* string, int len, char flag,
                                     char* err_msg) {
  std::fprintf(stderr, "Method called, string = %s, len = %d, flag = %d",
               string != nullptr ? string : "(null)", len, flag);
  if (bigbuf == nullptr || string == nullptr || err_msg == nullptr) {
    return -1;
  }
  if (flag != BIGBUF_TYPE_BUFFER && flag != BIGBUF_TYPE_FILE) {
    return fail(err_msg, "Flag type can only be BIGBUF_TYPE_FILE or BIGBUF_TYPE_BUFFER");
  }
  if (flag == BIGBUF_TYPE_FILE) {
    return append_file(*bigbuf, string, err_msg);
  }
  return wzlb_bigbuf_copy_into_bigbuf(bigbuf, string, len);
}

char* wzlb_bigbuf_get_value(bigbuf_t* bigbuf, long offset) {
  return bigbuf != nullptr ? bigbuf->buffer + offset : nullptr;
}

void wzlb_bigbuf_free(bigbuf_t* bigbuf) {
  if (bigbuf == nullptr) {
    return;
  }
  if (bigbuf->buffer != nullptr) {
    WZLB_FREE(bigbuf->buffer, kLabel, -1);
  }
  *bigbuf = bigbuf_t{};
}
