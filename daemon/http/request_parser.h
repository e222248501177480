// Parses the head of an HTTP/1 request. The caller finds the end of the head first (HeadScanner),
// so a head is judged in one piece and the outcome cannot depend on how the network cut it.
#pragma once

#include <cstdint>
#include <string_view>

namespace vsd::http {

// What a head says about itself and about the body that follows; the views point into the head.
struct RequestHead {
  std::string_view method;
  std::string_view target;  // as sent: origin, absolute or asterisk form
  int version = 11;         // 10 or 11; a newer minor version counts as 11
  std::uint64_t content_length = 0;
  bool chunked = false;
  bool keep_alive = false;
  bool expects_continue = false;
  bool has_if_modified_since = false;
  bool has_if_none_match = false;
};

// Checks a request line, CR LF included. Returns 0, or the status that refuses it.
[[nodiscard]] int check_request_line(std::string_view line);

// Parses a head from the request line through the blank line. Returns 0, or the status that refuses
// the request: 400, 417 (an expectation we do not know), 501 (method or transfer coding), 505.
[[nodiscard]] int parse_request_head(std::string_view text, RequestHead& head);

// The path and query of a target: an absolute form loses its scheme and authority.
[[nodiscard]] std::string_view origin_form(std::string_view target);

}  // namespace vsd::http
