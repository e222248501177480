#include "daemon/service/service_matcher.h"

#include <gtest/gtest.h>

namespace vsd {
namespace {

using Outcome = ServiceMatch::Outcome;

ServiceDefinition service(std::string name, std::string url, std::vector<std::string> methods) {
  ServiceDefinition definition;
  definition.name = std::move(name);
  definition.url = std::move(url);
  definition.methods = std::move(methods);
  return definition;
}

TEST(ServiceMatcher, FindsByMethodAndPathAsSent) {
  const ServiceDefinition services[] = {
      service("take", "/order", {"POST"}), service("show", "/order", {"GET", "PATCH"}),
      service("escaped", "/a%20b", {"HEAD", "GET"}), service("root", "/", {"GET"})};
  const ServiceImage image = ServiceImage::build(services);
  const struct {
    std::string_view method;
    std::string_view target;
    Outcome outcome;
    std::string_view service;
  } cases[] = {
      {"POST", "/order", Outcome::found, "take"},
      {"POST", "/order?cust=7?", Outcome::found, "take"},
      {"GET", "/order?", Outcome::found, "show"},
      {"HEAD", "/order", Outcome::found, "show"},
      {"HEAD", "/a%20b", Outcome::found, "escaped"},
      {"GET", "/", Outcome::found, "root"},
      {"DELETE", "/order?x", Outcome::no_method, ""},
      {"post", "/order", Outcome::no_method, ""},
      {"GET", "/a b", Outcome::no_path, ""},
      {"GET", "/order/", Outcome::no_path, ""},
      {"GET", "", Outcome::no_path, ""},
      {"GET", "?/", Outcome::no_path, ""},
  };
  for (const auto& test : cases) {
    const ServiceMatch match = match_service(image, test.method, test.target);
    EXPECT_EQ(match.outcome, test.outcome) << test.method << " " << test.target;
    EXPECT_EQ(match.service ? match.service->name() : "", test.service)
        << test.method << " " << test.target;
  }
  EXPECT_EQ(allowed_methods(image, "/order?x"), "POST, GET, PATCH, HEAD");
  EXPECT_EQ(allowed_methods(image, "/a%20b"), "HEAD, GET");
  const ServiceImage none = ServiceImage::build({});
  EXPECT_EQ(match_service(none, "GET", "/").outcome, Outcome::no_path);
}

}  // namespace
}  // namespace vsd
