// Turns an answer into bytes: the status line, the handler's header lines without those that
// contradict the framing, and the framing's own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "daemon/http/message.h"

namespace vsd::http {

struct Framing {
  // How the client finds the end of the body.
  enum class Body : std::uint8_t {
    known,      // by a length, that of Response::body
    announced,  // by the Content-Length among the handler's lines
    chunked,
    to_end,  // the connection ends with it
  };

  Body body = Body::known;
  bool head_request = false;  // headers as for GET, no body
  bool keep_alive = true;
  bool name_keep_alive = false;  // HTTP/1.0 clients are told that the connection stays
};

struct WrittenHead {
  bool has_body;    // false: the body must not be sent
  bool keep_alive;  // false when either side asked for the end of the connection
};

// Appends the head of `response` to `out`, through the blank line.
WrittenHead append_head(std::string& out, const Response& response, const Framing& framing,
                        std::string_view date);

// "Not Found"; "Unknown" for codes without a name.
[[nodiscard]] std::string_view reason_phrase(int status) noexcept;

}  // namespace vsd::http
