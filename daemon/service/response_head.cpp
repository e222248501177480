#include "daemon/service/response_head.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace vsd {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

// Final answers only: after a 1xx status the client would wait for another answer.
constexpr int kLowestStatus = 200;
constexpr int kHighestStatus = 999;

bool equals_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// The characters of a header name.
constexpr std::array<bool, 256> kTokenCharacters = [] {
  std::array<bool, 256> table{};
  for (unsigned c = '0'; c <= 'z'; ++c) {
    table[c] = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  }
  for (const char c : std::string_view("!#$%&'*+-.^_`|~")) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}();

// The name of a well-formed header line, given without its CR LF; empty for any other text.
std::string_view name_of_line(std::string_view line) {
  std::size_t length = 0;
  while (length < line.size() && kTokenCharacters[static_cast<unsigned char>(line[length])]) {
    ++length;
  }
  const bool well_formed = length < line.size() && line[length] == ':' &&
                           std::none_of(line.begin() + static_cast<std::ptrdiff_t>(length),
                                        line.end(), [](char c) { return c == '\r' || c == '\n'; });
  return line.substr(0, well_formed ? length : 0);
}

// Length and connection handling are the daemon's to announce.
bool is_framing(std::string_view name) {
  switch (name.size()) {
    case std::string_view("Content-Length").size():
      return equals_ignoring_case(name, "Content-Length");
    case std::string_view("Transfer-Encoding").size():
      return equals_ignoring_case(name, "Transfer-Encoding");
    case std::string_view("Connection").size():
      return equals_ignoring_case(name, "Connection");
    default:
      return false;
  }
}

// A script may end the connection behind its answer.
bool asks_to_close(std::string_view name, std::string_view line) {
  std::string_view value = line.substr(name.size() + 1);
  value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
  return equals_ignoring_case(name, "Connection") && equals_ignoring_case(value, "close");
}

void refuse(std::string_view reason, std::string_view line, std::string& refused) {
  refused.append(reason).append(": ");
  // One line of the log, whatever the script put into it.
  std::transform(line.begin(), line.end(), std::back_inserter(refused),
                 [](char c) { return static_cast<unsigned char>(c) < ' ' ? '.' : c; });
  refused.push_back('\n');
}

// Appends the lines, without those that are refused; tells whether one was a Content-Type or there
// was one before, which stands above those of `lines`.
bool append_checked_lines(std::string_view lines, bool has_type_before, std::string& out,
                          std::string& refused) {
  bool has_content_type = has_type_before;
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find(kLineEnd), lines.size());
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(std::min(end + kLineEnd.size(), lines.size()));
    const std::string_view name = name_of_line(line);
    if (name.empty()) {
      refuse("no header line", line, refused);
    } else if (is_framing(name) && !asks_to_close(name, line)) {
      refuse("a header that is the daemon's to set", line, refused);
    } else {
      const bool is_content_type = equals_ignoring_case(name, "Content-Type");
      has_content_type = has_content_type || is_content_type;
      if (!is_content_type || !has_type_before) {
        out.append(line).append(kLineEnd);
      }
    }
  }
  return has_content_type;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// The status of "HTTP/1.1 404 Not Found"; 0 when the line has another form.
int status_of_line(std::string_view line) {
  constexpr std::string_view shape = "HTTP/1.1 404";
  const bool well_formed = line.size() >= shape.size() && line.starts_with("HTTP/") &&
                           is_digit(line[5]) && line[6] == '.' && is_digit(line[7]) &&
                           line[8] == ' ' && is_digit(line[9]) && is_digit(line[10]) &&
                           is_digit(line[11]) &&
                           (line.size() == shape.size() || line[shape.size()] == ' ');
  return well_formed ? (line[9] - '0') * 100 + (line[10] - '0') * 10 + (line[11] - '0') : 0;
}

void set_status_line(std::string_view text, http::Response& response, std::string& refused) {
  std::string_view line = text.substr(0, text.find_first_of("\r\n"));
  if (text.find_first_not_of("\r\n", line.size()) != std::string_view::npos) {
    refuse("more than one line in the status line", text, refused);
  }
  const int status = status_of_line(line);
  if (status < kLowestStatus) {
    refuse("no status line", line, refused);
    return;
  }
  response.status = status;
  response.status_line.assign(line);
}

void set_script_status(const UrlDynamicData& script, http::Response& response,
                       std::string& refused) {
  const int code = script.http_status_code;
  if (code >= kLowestStatus && code <= kHighestStatus) {
    response.status = code;
  } else if (code != 0) {
    refuse("no status of an answer", std::to_string(code), refused);
  }
  if (script.http_status_line != nullptr) {
    set_status_line(script.http_status_line, response, refused);
  }
}

}  // namespace

void merge_response_head(const DeclaredHead& declared, const UrlDynamicData* script,
                         http::Response& response, std::string& refused) {
  response.status = declared.status;
  bool has_content_type = false;
  response.headers.append(declared.headers);
  if (script != nullptr) {
    set_script_status(*script, response, refused);
    if (const ContentType* type = script->content_type; type != nullptr) {
      const std::string_view line(type->content_type_hdr,
                                  static_cast<std::size_t>(type->content_type_hdr_len));
      has_content_type = append_checked_lines(line, false, response.headers, refused);
    }
    if (script->http_hdrs != nullptr) {
      const std::string_view lines(script->http_hdrs,
                                   static_cast<std::size_t>(script->http_hdrs_len));
      has_content_type = append_checked_lines(lines, has_content_type, response.headers, refused);
    }
  }
  if (!has_content_type) {
    response.headers.append(declared.content_type_line);
  }
}

}  // namespace vsd
