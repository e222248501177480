#include "daemon/http/response_writer.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace vsd::http {
namespace {

struct Reason {
  int status;
  std::string_view phrase;
};

constexpr auto kReasons = std::to_array<Reason>({
    {100, "Continue"},
    {101, "Switching Protocols"},
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {203, "Non-Authoritative Information"},
    {204, "No Content"},
    {205, "Reset Content"},
    {206, "Partial Content"},
    {207, "Multi-Status"},
    {300, "Multiple Choices"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {407, "Proxy Authentication Required"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {410, "Gone"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Content Too Large"},
    {414, "URI Too Long"},
    {415, "Unsupported Media Type"},
    {416, "Range Not Satisfiable"},
    {417, "Expectation Failed"},
    {418, "I'm a teapot"},
    {421, "Misdirected Request"},
    {422, "Unprocessable Content"},
    {423, "Locked"},
    {424, "Failed Dependency"},
    {425, "Too Early"},
    {426, "Upgrade Required"},
    {428, "Precondition Required"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {451, "Unavailable For Legal Reasons"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
    {505, "HTTP Version Not Supported"},
    {507, "Insufficient Storage"},
    {508, "Loop Detected"},
    {511, "Network Authentication Required"},
});

bool starts_with_name(std::string_view line, std::string_view lower_name) noexcept {
  return line.size() > lower_name.size() && line[lower_name.size()] == ':' &&
         std::equal(lower_name.begin(), lower_name.end(), line.begin(),
                    [](char lower, char c) { return lower == (c | 0x20); });
}

bool contains_close(std::string_view line) noexcept {
  constexpr std::string_view kClose = "close";
  return std::search(line.begin(), line.end(), kClose.begin(), kClose.end(),
                     [](char c, char lower) { return (c | 0x20) == lower; }) != line.end();
}

void append_number(std::string& out, std::size_t value) {
  std::array<char, 20> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  out.append(digits.data(), end);
}

// The status that clients will read: a script may set a whole status line and leave the code alone.
int effective_status(const Response& response) noexcept {
  const std::string_view line = response.status_line;
  const auto blank = line.find(' ');
  if (blank == std::string_view::npos) {
    return response.status;
  }
  int status = 0;
  const auto digits = line.substr(blank + 1, 3);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), status);
  return error == std::errc{} && end == digits.data() + 3 ? status : response.status;
}

void append_status_line(std::string& out, const Response& response) {
  if (!response.status_line.empty()) {
    out += response.status_line;
  } else if (response.status == 200) {
    out += "HTTP/1.1 200 OK";
  } else {
    out += "HTTP/1.1 ";
    append_number(out, static_cast<std::size_t>(std::max(response.status, 0)));
    out += ' ';
    out += reason_phrase(response.status);
  }
  out += "\r\n";
}

// What tells the client where the body ends, if no line of the handler's does.
void append_framing(std::string& out, const Response& response, Framing::Body body) {
  switch (body) {
    case Framing::Body::known:
      out += "Content-Length: ";
      append_number(out, response.body.size());
      out += "\r\n";
      break;
    case Framing::Body::chunked:
      out += "Transfer-Encoding: chunked\r\n";
      break;
    case Framing::Body::announced:
    case Framing::Body::to_end:
      break;
  }
}

// What the handler's own lines say; those about the connection and the framing are left out.
struct HandlerHeaders {
  bool has_date = false;
  bool has_length = false;
  bool wants_close = false;
};

// Copies the lines of `headers` but the filtered ones. `keep_length`: the answer has no body, so a
// Content-Length of the handler's cannot lie about it.
HandlerHeaders append_handler_headers(std::string& out, std::string_view headers,
                                      bool keep_length) {
  HandlerHeaders found;
  std::size_t copied = 0;
  for (std::size_t start = 0; start < headers.size();) {
    const auto end = std::min(headers.find('\n', start), headers.size() - 1) + 1;
    const auto line = headers.substr(start, end - start);
    bool drop = false;
    switch (line.front() | 0x20) {
      case 'c':
        if (starts_with_name(line, "content-length")) {
          drop = !keep_length || found.has_length;  // the first one counts
          found.has_length = keep_length;
        } else if (starts_with_name(line, "connection")) {
          found.wants_close |= contains_close(line);
          drop = true;
        }
        break;
      case 'd':
        found.has_date |= starts_with_name(line, "date");
        break;
      case 'k':
        drop = starts_with_name(line, "keep-alive");
        break;
      case 't':
        drop = starts_with_name(line, "transfer-encoding");
        break;
      default:
        break;
    }
    if (drop) {
      out += headers.substr(copied, start - copied);
      copied = end;
    }
    start = end;
  }
  out += headers.substr(copied);
  if (!headers.empty() && headers.back() != '\n') {
    out += "\r\n";
  }
  return found;
}

}  // namespace

std::string_view reason_phrase(int status) noexcept {
  const auto found = std::lower_bound(kReasons.begin(), kReasons.end(), status,
                                      [](const Reason& r, int code) { return r.status < code; });
  return found != kReasons.end() && found->status == status ? found->phrase : "Unknown";
}

WrittenHead append_head(std::string& out, const Response& response, const Framing& framing,
                        std::string_view date) {
  const int status = effective_status(response);
  const bool bodiless = status / 100 == 1 || status == 204 || status == 304;
  append_status_line(out, response);
  const auto found = append_handler_headers(
      out, response.headers,
      bodiless || framing.head_request || framing.body != Framing::Body::known);
  if (!found.has_date) {
    out += "Date: ";
    out += date;
    out += "\r\n";
  }
  if (!bodiless && !found.has_length) {
    append_framing(out, response, framing.body);
  }
  // No answer is interim here; a client that takes a 1xx for one would wait for more.
  const bool keep_alive = framing.keep_alive && !found.wants_close && status / 100 != 1;
  if (!keep_alive) {
    out += "Connection: close\r\n";
  } else if (framing.name_keep_alive) {
    out += "Connection: keep-alive\r\n";
  }
  out += "\r\n";
  return {!bodiless && !framing.head_request, keep_alive};
}

}  // namespace vsd::http
