#include "daemon/service/forward_declaration.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <memory>

namespace vsd {
namespace {

constexpr std::string_view kSelf = "self";
constexpr int kLongestTimeout = 3600000;  // milliseconds
constexpr int kConnectTimeout = 5000;
constexpr int kReadTimeout = 30000;

struct UrlCleanup {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};
struct TextCleanup {
  void operator()(char* text) const noexcept { curl_free(text); }
};
using Url = std::unique_ptr<CURLU, UrlCleanup>;

// Empty when the URL has no such part.
std::string part_of(const Url& url, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  curl_url_get(url.get(), part, &text, flags);
  const std::unique_ptr<char, TextCleanup> owner(text);
  return text != nullptr ? text : "";
}

// Splits "http://host:port"; false when it is something else.
bool read_origin(const std::string& origin, ForwardDefinition& forward) {
  const Url url(curl_url());
  if (curl_url_set(url.get(), CURLUPART_URL, origin.c_str(), 0) != CURLUE_OK) {
    return false;
  }
  const std::string scheme = part_of(url, CURLUPART_SCHEME);
  const std::string port = part_of(url, CURLUPART_PORT, CURLU_DEFAULT_PORT);
  forward.is_tls = scheme == "https";
  forward.host = part_of(url, CURLUPART_HOST);
  std::from_chars(port.data(), port.data() + port.size(), forward.port);
  forward.origin = origin;
  return (scheme == "http" || forward.is_tls) && forward.port != 0 &&
         part_of(url, CURLUPART_USER).empty() && part_of(url, CURLUPART_PASSWORD).empty() &&
         part_of(url, CURLUPART_FRAGMENT).empty();
}

// Splits "self", "http://host:port" or "https://host:port" from the target behind it.
bool read_backend(std::string_view text, ForwardDefinition& forward) {
  const std::size_t scheme = text.find("://");
  const std::size_t start = scheme == std::string_view::npos ? 0 : scheme + 3;
  const std::size_t end = std::min(text.find_first_of("/?", start), text.size());
  const std::string_view target = text.substr(end);
  forward.target.assign(target.starts_with('?') ? "/" : "").append(target);
  if (text.substr(0, end) == kSelf) {
    forward.is_self = true;
    forward.host = kSelf;
    return true;
  }
  return scheme != std::string_view::npos && read_origin(std::string(text.substr(0, end)), forward);
}

}  // namespace

void read_forward(DeclarationFields& fields, const DeclarationFields::Report& report,
                  ResponseDefinition& response) {
  if (!fields.has("forward")) {
    return;
  }
  ForwardDefinition& forward = response.forward.emplace();
  const std::string text = fields.required_text("forward");
  if (!text.empty() && !read_backend(text, forward)) {
    report("forward=" + text +
           " is wrong: it must be http://HOST:PORT, https://HOST:PORT or self, and may go on with "
           "a path and a query");
  }
  forward.connect_timeout = fields.number("connect_timeout", 1, kLongestTimeout, kConnectTimeout);
  forward.read_timeout = fields.number("read_timeout", 1, kLongestTimeout, kReadTimeout);
  forward.verifies_peer = fields.yes_no("verify", true);
  if (response.fault != http::Fault::none) {
    report("fault= and forward= exclude each other");
  }
  if (!fields.has("file") && (fields.has("status") || fields.has("type"))) {
    report("status= and type= are the backend's to set when forward= stands without file=");
  }
}

}  // namespace vsd
