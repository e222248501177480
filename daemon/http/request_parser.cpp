// Beast's parser does the grammar of lines and fields; the class below turns its callbacks into
// positions and adds the rules on which proxies and servers disagree at their users' cost: one
// Content-Length, no Content-Length beside Transfer-Encoding, exactly one Host.
#include "daemon/http/request_parser.h"

#include <algorithm>
#include <array>
#include <boost/beast/http/basic_parser.hpp>
#include <limits>
#include <optional>
#include <string>

#include "daemon/http/message.h"

namespace vsd::http {
namespace {

namespace beast = boost::beast;
using beast::http::field;
using beast::http::verb;

std::string_view as_std(beast::string_view text) noexcept {
  return {text.data(), text.size()};
}

bool equals_ignoring_case(std::string_view a, std::string_view lower) noexcept {
  return std::equal(a.begin(), a.end(), lower.begin(), lower.end(), [](char x, char y) {
    return (x >= 'A' && x <= 'Z' ? static_cast<char>(x | 0x20) : x) == y;
  });
}

std::string_view trim(std::string_view text) noexcept {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The characters of a host and port, without those that would move the end of the authority.
bool is_host(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           std::string_view("-._~%!$&'()*+,;=:[]").find(c) != std::string_view::npos;
  });
}

bool is_number(std::string_view text) noexcept {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// "http://host:port" in front of an absolute form's path; empty when there is none.
std::string_view scheme_and_authority(std::string_view target) noexcept {
  const auto colon = target.find("://");
  if (target.front() == '/' || colon == std::string_view::npos || colon == 0) {
    return {};
  }
  const auto scheme = target.substr(0, colon);
  const auto end = std::min(target.find_first_of("/?#", colon + 3), target.size());
  const auto authority = target.substr(colon + 3, end - colon - 3);
  const bool letters = std::all_of(scheme.begin(), scheme.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '-' || c == '.';
  });
  return letters && !authority.empty() ? target.substr(0, end) : std::string_view{};
}

int check_target(verb method, std::string_view target) noexcept {
  if (target == "*") {
    return method == verb::options ? 0 : 400;
  }
  return target.front() == '/' || !scheme_and_authority(target).empty() ? 0 : 400;
}

// "1.1" of a request line of three words; empty when it names no version.
std::string_view version_of(std::string_view head) noexcept {
  const auto line = head.substr(0, head.find('\r'));
  const auto second = line.find(' ', line.find(' ') + 1);
  if (second == std::string_view::npos) {
    return {};
  }
  const auto word = line.substr(second + 1);
  const bool is_version = word.size() == 8 && word.starts_with("HTTP/") &&
                          is_number(word.substr(5, 1)) && word[6] == '.' &&
                          is_number(word.substr(7));
  return is_version ? word.substr(5) : std::string_view{};
}

class HeadParser final : public beast::http::basic_parser<true> {
 public:
  explicit HeadParser(RequestHead& head) : head_(head) {
    header_limit(std::numeric_limits<std::uint32_t>::max());  // the scanner has the limit
    skip(true);                                               // bodies are decoded elsewhere
    eager(true);
  }

  // Feeds `text`; returns 0 when nothing is wrong so far, else a status.
  int parse(std::string_view text) {
    beast::error_code error;
    put(boost::asio::const_buffer(text.data(), text.size()), error);
    if (refused_ != 0) {
      return refused_;
    }
    if (error == beast::http::error::bad_version) {
      return version_of(text).empty() ? 400 : 505;
    }
    return error && error != beast::http::error::need_more ? 400 : 0;
  }

  // The rules that need the whole head; 0 or a status.
  int finish() {
    if (!is_header_done() || hosts_ > 1 || (hosts_ == 0 && head_.version == 11)) {
      return 400;
    }
    if (has_transfer_encoding_) {
      if (has_length_ || head_.version == 10 || transfer_encoding_status_ == 400) {
        return 400;
      }
      if (transfer_encoding_status_ != 0) {
        return transfer_encoding_status_;
      }
      head_.chunked = true;
    }
    if (head_.version == 11 && unknown_expectation_) {
      return 417;
    }
    head_.expects_continue = expects_continue_ && head_.version == 11;
    head_.keep_alive = keep_alive();
    return 0;
  }

 private:
  void refuse(int status, beast::error_code& error) noexcept {
    refused_ = status;
    error = beast::http::error::bad_field;
  }

  void on_request_impl(verb method, beast::string_view method_text, beast::string_view target,
                       int version, beast::error_code& error) override {
    head_.method = as_std(method_text);
    head_.target = as_std(target);
    head_.version = version;
    if (method == verb::unknown || method == verb::connect ||
        head_.method.size() > kMaxMethodLength) {
      refuse(501, error);
    } else if (check_target(method, head_.target) != 0) {
      refuse(400, error);
    }
  }

  void on_field_impl(field name, beast::string_view, beast::string_view value_text,
                     beast::error_code& error) override {
    const auto value = as_std(value_text);
    switch (name) {
      case field::host:
        ++hosts_;
        if (!is_host(value)) {
          refuse(400, error);
        }
        break;
      case field::content_length:
        // Beast takes lists and repetitions of one and the same length; others do not.
        if (has_length_ || !is_number(value)) {
          refuse(400, error);
          break;
        }
        has_length_ = true;
        head_.content_length = content_length_value(value);
        break;
      case field::transfer_encoding:
        on_transfer_encoding(value);
        break;
      case field::expect:
        (equals_ignoring_case(value, "100-continue") ? expects_continue_ : unknown_expectation_) =
            true;
        break;
      case field::if_modified_since:
        head_.has_if_modified_since = true;
        break;
      case field::if_none_match:
        head_.has_if_none_match = true;
        break;
      default:
        break;
    }
  }

  static std::uint64_t content_length_value(std::string_view digits) noexcept {
    std::uint64_t value = 0;  // Beast has refused what overflows
    for (const char digit : digits) {
      value = value * 10 + static_cast<std::uint64_t>(digit - '0');
    }
    return value;
  }

  // Only "chunked" on its own is served. Repeated or empty it is malformed, anything else unknown.
  void on_transfer_encoding(std::string_view value) noexcept {
    const bool repeated = has_transfer_encoding_;
    has_transfer_encoding_ = true;
    if (repeated || value.empty()) {
      transfer_encoding_status_ = 400;
      return;
    }
    bool chunked_seen = false;
    for (std::string_view rest = value;;) {
      const auto comma = rest.find(',');
      const auto coding = trim(rest.substr(0, comma));
      if (coding.empty() || chunked_seen) {
        transfer_encoding_status_ = 400;  // chunked must come last, and once
        return;
      }
      if (equals_ignoring_case(coding, "chunked")) {
        chunked_seen = true;
      } else {
        transfer_encoding_status_ = 501;
      }
      if (comma == std::string_view::npos) {
        return;
      }
      rest.remove_prefix(comma + 1);
    }
  }

  // Never called: the body is skipped, and requests have no status line.
  void on_response_impl(int, beast::string_view, int, beast::error_code&) override {}
  void on_header_impl(beast::error_code&) override {}
  void on_body_init_impl(const boost::optional<std::uint64_t>&, beast::error_code&) override {}
  std::size_t on_body_impl(beast::string_view, beast::error_code&) override { return 0; }
  void on_chunk_header_impl(std::uint64_t, beast::string_view, beast::error_code&) override {}
  std::size_t on_chunk_body_impl(std::uint64_t, beast::string_view, beast::error_code&) override {
    return 0;
  }
  void on_finish_impl(beast::error_code&) override {}

  RequestHead& head_;
  int refused_ = 0;
  int hosts_ = 0;
  int transfer_encoding_status_ = 0;
  bool has_length_ = false;
  bool has_transfer_encoding_ = false;
  bool expects_continue_ = false;
  bool unknown_expectation_ = false;
};

}  // namespace

namespace {

// A minor version newer than ours is served as 1.1. Beast does not know any, so it gets a copy.
std::optional<std::string> as_version_1_1(std::string_view text) {
  const auto version = version_of(text);
  if (!version.starts_with("1.") || version[2] < '2') {
    return std::nullopt;
  }
  std::string copy(text);
  copy[static_cast<std::size_t>(version.data() - text.data()) + 2] = '1';
  return copy;
}

int parse_known_version(std::string_view text, RequestHead& head) {
  HeadParser parser(head);
  const int status = parser.parse(text);
  return status != 0 ? status : parser.finish();
}

}  // namespace

int check_request_line(std::string_view line) {
  RequestHead head;
  const int status = HeadParser(head).parse(line);
  if (status != 505) {
    return status;
  }
  const auto known = as_version_1_1(line);
  return known ? HeadParser(head).parse(*known) : status;
}

int parse_request_head(std::string_view text, RequestHead& head) {
  head = RequestHead{};
  const int status = parse_known_version(text, head);
  if (status != 505) {
    return status;
  }
  const auto known = as_version_1_1(text);
  if (!known) {
    return status;
  }
  const int known_status = parse_known_version(*known, head);
  head.method = text.substr(0, head.method.size());
  head.target = text.substr(std::min(head.method.size() + 1, text.size()), head.target.size());
  return known_status;
}

std::string_view origin_form(std::string_view target) {
  const auto prefix = target.empty() ? std::string_view{} : scheme_and_authority(target);
  if (prefix.empty()) {
    return target;
  }
  target.remove_prefix(prefix.size());
  return target.empty() || target.front() != '/' ? std::string_view("/") : target;
}

}  // namespace vsd::http
