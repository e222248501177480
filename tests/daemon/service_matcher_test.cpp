#include "daemon/service/service_matcher.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vsd {
namespace {

using Outcome = ServiceMatch::Outcome;

TEST(ServiceMatcher, FindsByMethodAndPathAsSent) {
  const ServiceRoute routes[] = {{"/order", {"POST"}, 0},
                                 {"/order", {"GET", "PATCH"}, 1},
                                 {"/order", {"POST", "PROPFIND"}, 2},  // POST is taken
                                 {"/a%20b", {"HEAD", "GET"}, 3},
                                 {"/", {"GET"}, 4}};
  const std::vector<std::byte> table = build_route_table(routes);
  const std::vector<std::byte> moved = table;  // holds no addresses
  const ServiceMatcher matcher(moved.data());
  const struct {
    std::string_view method;
    std::string_view target;
    Outcome outcome;
    std::uint32_t service;
    std::string_view allow;
  } cases[] = {
      {"POST", "/order", Outcome::found, 0, ""},
      {"POST", "/order?cust=7", Outcome::found, 0, ""},
      {"GET", "/order?", Outcome::found, 1, ""},
      {"HEAD", "/order", Outcome::found, 1, ""},
      {"PROPFIND", "/order", Outcome::found, 2, ""},
      {"DELETE", "/order?x", Outcome::no_method, 0, "POST, GET, PATCH, PROPFIND, HEAD"},
      {"PROPFINDX", "/order", Outcome::no_method, 0, "POST, GET, PATCH, PROPFIND, HEAD"},
      {"post", "/order", Outcome::no_method, 0, "POST, GET, PATCH, PROPFIND, HEAD"},
      {"PUT", "/a%20b", Outcome::no_method, 0, "HEAD, GET"},
      {"HEAD", "/a%20b", Outcome::found, 3, ""},
      {"GET", "/a b", Outcome::no_path, 0, ""},
      {"GET", "/order/", Outcome::no_path, 0, ""},
      {"GET", "/", Outcome::found, 4, ""},
      {"GET", "", Outcome::no_path, 0, ""},
      {"GET", "?/", Outcome::no_path, 0, ""},
  };
  for (const auto& test : cases) {
    const ServiceMatch match = matcher.match(test.method, test.target);
    EXPECT_EQ(match.outcome, test.outcome) << test.method << " " << test.target;
    EXPECT_EQ(match.service, test.service) << test.method << " " << test.target;
    EXPECT_EQ(match.allow, test.allow) << test.method << " " << test.target;
  }
}

TEST(ServiceMatcher, HoldsManyServicesAndNone) {
  std::vector<ServiceRoute> routes;
  EXPECT_EQ(ServiceMatcher(build_route_table(routes).data()).match("GET", "/").outcome,
            Outcome::no_path);
  for (std::uint32_t i = 0; i < 5000; ++i) {
    routes.push_back({"/service/" + std::to_string(i), {"GET"}, i});
  }
  const std::vector<std::byte> table = build_route_table(routes);
  for (const ServiceRoute& route : routes) {
    ASSERT_EQ(ServiceMatcher(table.data()).match("GET", route.path).service, route.service);
  }
  EXPECT_EQ(ServiceMatcher(table.data()).match("GET", "/service/5000").outcome, Outcome::no_path);
}

}  // namespace
}  // namespace vsd
