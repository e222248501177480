#include "libwzcore/wzlb_sock/socket_support.h"

#include <wz/wzlb_log.h>

#include <cstdio>

namespace wz {

Message::Message(char* text) noexcept : Message(text, WZLB_SOCK_ERROR_SIZE) {}

Message::Message(char* text, int size) noexcept
    : text_(size > 0 ? text : nullptr), size_(size > 0 ? static_cast<std::size_t>(size) : 0) {}

void Message::set(const char* format, ...) const noexcept {
  if (text_ == nullptr) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text_, size_, format, arguments);
  va_end(arguments);
}

void keep_error(char* text, Print print) noexcept {
  wzlb_set_error(text);
  if (print == Print::kYes) {
    std::fprintf(stderr, "%s\n", text);
  }
}

}  // namespace wz
