// What the files of the socket module share: messages in the caller's buffer, an address of any
// kind, and a descriptor that is closed unless it is handed out.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <wz/wzlb_sock.h>

#include <cstdarg>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace wz {

// Where a failure is described: the caller's buffer, or nowhere.
class Message {
 public:
  explicit Message(char* text) noexcept;
  Message(char* text, int size) noexcept;

  __attribute__((format(printf, 2, 3))) void set(const char* format, ...) const noexcept;

 private:
  char* text_;
  std::size_t size_;
};

// For functions without a buffer of the caller's: the message of `call(char* text)` becomes the
// thread's last error text and is printed on standard error when asked for. Returns what it
// returns.
enum class Print { kNo, kYes };
void keep_error(char* text, Print print) noexcept;

template <typename Call>
int with_kept_message(Print print, Call call) noexcept {
  char text[WZLB_SOCK_ERROR_SIZE] = "";
  const int result = call(text);
  if (text[0] != '\0') {
    keep_error(text, print);
  }
  return result;
}

// Any address that a socket of this module may have; {} zeroes the whole record.
union SocketAddress {
  sockaddr_storage storage;
  sockaddr any;
  sockaddr_in v4;
  sockaddr_in6 v6;
  sockaddr_un local;
};

class SocketHandle {
 public:
  explicit SocketHandle(int fd) noexcept : fd_(fd) {}
  SocketHandle(const SocketHandle&) = delete;
  SocketHandle& operator=(const SocketHandle&) = delete;
  ~SocketHandle() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }

  explicit operator bool() const noexcept { return fd_ >= 0; }
  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

inline bool set_option(int fd, int level, int option, int value) noexcept {
  return setsockopt(fd, level, option, &value, sizeof value) == 0;
}

inline bool is_path(const char* server_name) noexcept {
  return server_name[0] == '/';
}

// Nothing that a caller gave may be passed to a "%s" as null.
inline const char* printable(const char* text) noexcept {
  return text != nullptr ? text : "NULL";
}

constexpr int kNoPort = -1;
constexpr int kMaxPort = 65535;

struct HostPort {
  std::string_view host;
  int port;  // kNoPort when the name has none
};

// The parts of a server name; nothing when it has another form.
std::optional<HostPort> split_server_name(std::string_view name) noexcept;

// Length of the resolved address in `address`, 0 after a message.
socklen_t fill_address(SocketAddress& address, const char* server_name, int default_port,
                       const Message& message) noexcept;

}  // namespace wz
