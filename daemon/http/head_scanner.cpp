#include "daemon/http/head_scanner.h"

#include <cstring>

#include "daemon/http/token.h"

namespace vsd::http {

HeadScanner::Result HeadScanner::scan(std::string_view bytes) noexcept {
  // A first byte that begins no method (a TLS client, say) need not wait for a line end.
  if (scanned_ == 0 && !bytes.empty() && !is_token_character(bytes.front())) {
    return Result::malformed;
  }
  while (scanned_ < bytes.size()) {
    const auto* const found = static_cast<const char*>(
        std::memchr(bytes.data() + scanned_, '\n', bytes.size() - scanned_));
    if (found == nullptr) {
      scanned_ = bytes.size();
      return Result::need_more;
    }
    const auto end = static_cast<std::size_t>(found - bytes.data()) + 1;
    const auto line = bytes.substr(line_start_, end - line_start_);
    if (line.size() < 2 || line[line.size() - 2] != '\r') {
      return Result::malformed;
    }
    const char first = line.front();
    if (first == ' ' || first == '\t') {
      return Result::malformed;  // folding: read differently by different servers, so refused
    }
    scanned_ = line_start_ = end;
    if (request_line_size_ == 0) {
      request_line_size_ = end;
    } else if (line.size() == 2) {
      return Result::complete;
    }
  }
  return Result::need_more;
}

}  // namespace vsd::http
