// Requests against a fixed set of services with every kind of URL and condition. Whatever arrives,
// the matcher ends soon; on paths it agrees with a model that compares one service after the other;
// and what it says of near misses is visible ASCII.
// Input: a line with the target, header lines up to an empty one, and the body.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/service/match/service_matcher.h"
#include "daemon/service/service_image.h"
#include "daemon/service/service_loader.h"
#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::require;

// By priority, specificity and name, as the model tries them. Only the first has conditions.
constexpr std::string_view kPaths[] = {"/a/b/c", "/a/b", "/a/",  "/a",   "/",       "/a/b/*",
                                       "/a/*/c", "/a/*", "/*/b", "/*/*", "/b/a/**", "/b/**"};

constexpr const char* kConditions[] = {
    "query=q, equals=\"a b\"",
    "query=q, regex=\"(x+x+)+[yz]\"",
    "header=H, contains=abc, IgnoreCase=YES",
    "cookie=c, regex=\"^[0-9]+$\", negate=YES",
    "part=body, regex=\"(a|b|ab)*c\"",
    "part=head, contains=\"X: y\"",
    "LB=\"<i>\", RB=\"</i>\", ORD=ALL, equals=7",
    "body_xpath=\"//p:a[p:b='1']\", ns=\"p=urn:p\", contains=x",
    "body_xpath=\"count(//*[.//*]) > 2\"",
    "body_xpath=\"string(//a/@b)\", equals=1",
    "body_json=\"/a/0/b~1c\", equals=\"1.5\"",
    "body_json=\"\", regex=\"^.{3}$\"",
};

vsd::ServiceDefinition service_of(const std::string& text) {
  vsd::ServiceDefinition service;
  std::vector<vsd::Problem> problems;
  vsd::read_service(text, service, problems);
  require(problems.size() == 1);  // there is no wz_response
  return service;
}

std::vector<vsd::ServiceDefinition> make_services() {
  std::vector<vsd::ServiceDefinition> services;
  int number = 0;
  for (const std::string_view path : kPaths) {
    services.push_back(service_of("wz_service(p" + std::to_string(number++) + ", url=\"" +
                                  std::string(path) + "\");"));
  }
  for (const char* condition : kConditions) {
    const std::string name = "c" + std::to_string(number++);
    services.push_back(service_of("wz_service(" + name + ", url=\"/**\", method=POST);\nwz_match(" +
                                  condition + ");\nwz_match(header=Never);"));
  }
  services.push_back(service_of("wz_service(r, url_regex=\"/r/([a-z]+x?)+\", method=PUT);"));
  return services;
}

std::vector<std::string_view> segments_of(std::string_view path) {
  std::vector<std::string_view> segments;
  for (std::size_t slash = 0; slash != std::string_view::npos;) {
    const std::size_t next = path.find('/', slash + 1);
    segments.push_back(path.substr(slash + 1, next - slash - 1));
    slash = next;
  }
  return segments;
}

bool model_fits(std::string_view pattern, std::string_view path) {
  if (!path.starts_with('/')) {
    return false;
  }
  const auto wanted = segments_of(pattern);
  const auto given = segments_of(path);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i] == "**") {
      return true;
    }
    if (i == given.size() || (wanted[i] == "*" ? given[i].empty() : wanted[i] != given[i])) {
      return false;
    }
  }
  return wanted.size() == given.size();
}

void require_visible(std::string_view text) {
  require(!text.empty() &&
          std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const vsd::ServiceImage image = vsd::ServiceImage::build(make_services());
  static vsd::ServiceMatcher matcher(image);
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view target = input.substr(0, input.find('\n'));
  const std::size_t blank = std::min(input.find("\n\n"), input.size());
  vsd::http::Request request;
  request.target = target;
  request.head = input.substr(0, blank);
  request.body = input.substr(std::min(blank + 2, input.size()));

  request.method = "GET";
  const vsd::ServiceMatch found = matcher.match(request);
  const auto* const first = std::find_if(
      std::begin(kPaths), std::end(kPaths),
      [target](std::string_view pattern) { return model_fits(pattern, vsd::path_of(target)); });
  require(found.service.has_value() == (first != std::end(kPaths)));
  if (found.service) {
    require(found.service->url() == *first);
  }

  for (const char* method : {"POST", "PUT", "NONE"}) {
    request.method = method;
    if (!matcher.match(request).service) {
      const vsd::NearMisses misses = matcher.near_misses();
      require(misses.count == misses.items.size());
      for (const vsd::NearMiss& miss : misses.items) {
        require_visible(miss.service);
        require_visible(miss.failed);
      }
    }
  }
  matcher.end();
  return 0;
}
