#include "daemon/service/match/service_matcher.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/service/service_loader.h"
#include "tests/support/temporary_folder.h"

namespace vsd {
namespace {

class ServiceMatcherTest : public testing::Test {
 protected:
  // Declarations of services, each with its wz_service first.
  void serve(const std::vector<std::string>& services) {
    folder_.write("r.txt", "");
    std::vector<ServiceDefinition> definitions;
    std::vector<Problem> problems;
    for (const std::string& text : services) {
      ServiceDefinition& definition = definitions.emplace_back();
      definition.folder = folder_.path();
      read_service(text + "\nwz_response(r, file=\"r.txt\");", definition, problems);
    }
    for (const Problem& problem : problems) {
      ADD_FAILURE() << to_string(problem);
    }
    matcher_.reset();
    image_.emplace(ServiceImage::build(definitions));
    matcher_.emplace(*image_);
  }

  // The name of the service found; else "404" or "405".
  std::string ask(std::string_view method, std::string_view target, std::string_view headers = "",
                  std::string_view body = "") {
    head_ = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n" +
            std::string(headers) + "\r\n";
    http::Request request;
    request.method = method;
    request.target = target;
    request.head = head_;
    request.body = body;
    const ServiceMatch match = matcher_->match(request);
    if (match.service) {
      return std::string(match.service->name());
    }
    return match.outcome == ServiceMatch::Outcome::no_method ? "405" : "404";
  }

  wz::test::TemporaryFolder folder_;
  std::optional<ServiceImage> image_;
  std::optional<ServiceMatcher> matcher_;
  std::string head_;
};

TEST_F(ServiceMatcherTest, TriesByPrioritySpecificityAndName) {
  serve({"wz_service(exact, url=\"/a/b\");", "wz_service(post, url=\"/a/b\", method=POST);",
         "wz_service(star, url=\"/a/*\");", "wz_service(early, url=\"/*/b\", method=\"PUT|GET\");",
         "wz_service(late, url=\"/a/*\", method=PUT);", "wz_service(two, url=\"/*/*/c\");",
         "wz_service(below, url=\"/a/**\");", "wz_service(all, url=\"/**\", method=OPTIONS);",
         "wz_service(number, url_regex=\"/a/n/[0-9]+(\\\\.x)?\");",
         "wz_service(either, url_regex=\"^/(r|s)$|/t\");",
         "wz_service(urgent, url=\"/a/**\", priority=5);\nwz_match(query=urgent);",
         "wz_service(zeta, url=\"/z\");\nwz_match(header=A);",
         "wz_service(alpha, url=\"/z\");\nwz_match(header=B);",
         "wz_service(both, url=\"/z\");\nwz_match(header=A);\nwz_match(header=B);",
         "wz_service(head, url=\"/z\", method=HEAD);\nwz_match(header=H);"});
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"GET", "/a/b?x", "", "exact"},
      {"POST", "/a/b", "", "post"},
      {"PUT", "/a/b", "", "late"},
      {"GET", "/a/c", "", "star"},
      {"GET", "/x/b", "", "early"},
      {"GET", "/a/", "", "below"},
      {"GET", "/a", "", "below"},
      {"GET", "/a/b/c", "", "two"},
      {"GET", "/a/b/d", "", "below"},
      {"GET", "/a//c", "", "below"},
      {"GET", "/ab", "", "405"},
      {"OPTIONS", "/", "", "all"},
      {"OPTIONS", "*", "", "404"},
      {"GET", "/a/n/42.x", "", "number"},
      {"GET", "/a/n/42.y", "", "below"},
      {"GET", "/a/n/42", "", "number"},
      {"GET", "/s", "", "either"},
      {"GET", "/t", "", "either"},
      {"GET", "/tt", "", "405"},
      {"GET", "/a/b?urgent", "", "urgent"},
      {"GET", "/a/b?urgen", "", "exact"},
      {"HEAD", "/a/b?urgent=", "", "urgent"},
      {"GET", "/z", "A: 1\r\n", "zeta"},
      {"GET", "/z", "a:\r\nb: 1\r\n", "both"},
      {"GET", "/z", "B: 1\r\n", "alpha"},
      {"GET", "/z", "", "404"},
      {"HEAD", "/z", "A: 1\r\nH: 1\r\n", "head"},
      {"HEAD", "/z", "A: 1\r\n", "zeta"},
      {"PATCH", "/z", "A: 1\r\n", "405"},
      {"GET", "", "", "404"}};
  for (const auto& [method, target, headers, expected] : cases) {
    EXPECT_EQ(ask(method, target, headers), expected) << method << ' ' << target << ' ' << headers;
  }
  ask("PATCH", "/z");
  EXPECT_EQ(matcher_->allowed_methods(), "GET, HEAD, OPTIONS");
}

TEST_F(ServiceMatcherTest, EveryKindOfCondition) {
  struct Case {
    const char* condition;
    std::vector<std::string> holds;  // head and body, divided by a blank line; "?..." is the query
    std::vector<std::string> fails;
  };
  const std::string order = "\n\n<o xmlns='urn:o'><id>7</id><id>8</id><n>2</n></o>";
  const Case cases[] = {
      {"query=cust, equals=\"A b\"", {"?cust=A+b", "?x=1&cust=&c%75st=A%20b"}, {"", "?cust=A"}},
      {"query=a, present=NO", {"", "?b=a"}, {"?a", "?a=1"}},
      {"header=\"X-Env\", equals=Test, IgnoreCase=YES",
       {"x-ENV:tEst", "X-Env: other\r\nX-Env: \t test \r\n"},
       {"", "X-Env: tests", "X-Environment: test", "Y: X-Env: test"}},
      {"header=Accept, contains=\"JSON\", IgnoreCase=YES", {"Accept: a/Json; q"}, {"Accept: js"}},
      {"header=A, equals=b, negate=YES", {"", "A: c"}, {"A: b", "A: c\r\nA: b"}},
      {"cookie=sid, regex=\"^[0-9a-f]{4}$\"",
       {"Cookie: a=b; sid=00fe", "Cookie: a\r\nCookie: sid=1234;x"},
       {"", "Cookie: sid=00fe0", "Cookie: xsid=00fe", "Set-Cookie: sid=00fe"}},
      {"part=body, contains=needle", {"\n\nhayneedlehay", std::string("\n\n\0needle", 9)}, {""}},
      {"part=body, equals=\"\"", {""}, {"\n\nx"}},
      {"part=body", {"\n\nx"}, {""}},
      {"part=head, regex=\"^get /s HTTP\", IgnoreCase=YES", {""}, {"?x"}},
      {"part=url, contains=\"%2F\"", {"?a=%2F"}, {"?a=%2f"}},
      {"LB=\"<id>\", RB=\"</id>\", equals=7", {order}, {"\n\n<id>8</id><id>7</id>", ""}},
      {"LB=\"<id>\", RB=\"</id>\", ORD=ALL, regex=\"^8$\"", {order}, {"\n\n<id>88</id>"}},
      {"LB=\"<ID>\", RB=\"<\", IgnoreCase=YES", {order}, {"\n\n<id"}},
      {"LB=\"a=\", RB=\"&\", in=url, equals=1", {"?a=1&b"}, {"?a=1"}},
      {"body_xpath=\"/p:o/p:id\", ns=\"p=urn:o\", equals=8",
       {order, "\n\n<o xmlns='urn:o'><id><![CDATA[8]]></id></o>"},
       {"", "\n\n<o><id>8</id></o>", "\n\nno xml", order + "<"}},
      {"body_xpath=\"count(//*) > 3\"", {order}, {"\n\n<o/>"}},
      {"body_xpath=\"sum(//*[local-name()='id'])\", equals=15", {order}, {"\n\n<id>15.5</id>"}},
      {"body_xpath=\"/o\", negate=YES", {"\n\n<p/>"}, {"\n\n<o/>", "\n\nno xml", ""}},
      {"body_json=\"/a~1b/1/c\", equals=x",
       {"\n\n{\"a/b\":[0,{\"c\":\"x\"}]}"},
       {"\n\n{\"a/b\":[{\"c\":\"x\"}]}", "\n\n{\"a/b\":[0,{\"c\":\"x\"}]", "\n\n[]", ""}},
      {"body_json=\"/n\", equals=\"1.50\"",
       {"\n\n{\"n\":1.5}", "\n\n{\"n\":15e-1}"},
       {"\n\n{\"n\":\"1.5\"}", "\n\n{\"n\":15}"}},
      {"body_json=\"/n\", regex=\"^(true|[1-3])$\"",
       {"\n\n{\"n\":true}", "\n\n{\"n\":3}"},
       {"\n\n{\"n\":4}", "\n\n{\"n\":null}"}},
      {"body_json=\"\", equals=\"[1,{}]\"", {"\n\n[ 1 , { } ]"}, {"\n\n1"}},
  };
  for (const Case& each : cases) {
    serve({std::string("wz_service(s, url=\"/s\");\nwz_match(") + each.condition + ");"});
    const auto verdict = [this](const std::string& text) {
      const std::size_t blank = std::min(text.find("\n\n"), text.size());
      const std::string front = text.substr(0, blank);
      const bool is_query = front.starts_with('?');
      return ask("GET", is_query ? "/s" + front : "/s", is_query ? "" : front + "\r\n",
                 text.substr(std::min(blank + 2, text.size())));
    };
    for (const std::string& text : each.holds) {
      EXPECT_EQ(verdict(text), "s") << each.condition << " with " << text;
    }
    for (const std::string& text : each.fails) {
      EXPECT_EQ(verdict(text), "404") << each.condition << " with " << text;
    }
  }
}

TEST_F(ServiceMatcherTest, NamesTheNearestServices) {
  serve(
      {"wz_service(gold, url=\"/order/*\");\nwz_match(header=A);\n"
       "wz_match(header=\"X-Env\", equals=\"te\\\"st\");",
       "wz_service(plain, url=\"/order/*\");\nwz_match(body_json=\"/a\", contains=b);",
       "wz_service(other, url=\"/orders/new\", method=\"POST|PUT\");",
       "wz_service(far, url=\"/x\");", "wz_service(expr, url_regex=\"/orders/[a-z]+\");"});
  const auto misses = [this] {
    const NearMisses found = matcher_->near_misses();
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < found.count; ++i) {
      texts.push_back(found.items[i].service + ": " + found.items[i].failed);
    }
    return texts;
  };
  ask("GET", "/order/7", "A: 1\r\nX-Env: \x01\xffprod\r\n");
  EXPECT_EQ(misses(),
            (std::vector<std::string>{
                "gold: header \"X-Env\" must be \"te\\\"st\" but is \"\\x01\\xFFprod\"",
                "plain: JSON pointer \"/a\" must contain \"b\" but the body cannot be read as JSON",
                "other: path must be \"/orders/new\" but is \"/order/7\""}));
  ask("GET", "/orders/new0");
  EXPECT_EQ(misses()[0], "other: path must be \"/orders/new\" but is \"/orders/new0\"");
  EXPECT_EQ(misses()[1], "expr: path must match \"/orders/[a-z]+\" but is \"/orders/new0\"");
  ask("PATCH", "/orders/new");
  EXPECT_EQ(misses()[0], "other: method must be POST or PUT but is \"PATCH\"");
  EXPECT_EQ(misses()[1], "expr: method must be GET but is \"PATCH\"");
  const std::string text = no_match_text("GET", "/" + std::string(5000, '<'), {});
  EXPECT_EQ(text, "No service fits \"GET\" \"/" + std::string(79, '<') + "...\".\n");
}

// Each of these would take minutes or gigabytes without a bound.
TEST_F(ServiceMatcherTest, HostileRequestsEndSoon) {
  const std::string many(200'000, 'a');
  const std::string deep_xml = [] {
    std::string text;
    for (int i = 0; i < 20000; ++i) {
      text += "<a>";
    }
    return text;
  }();
  const std::string bomb =
      "<!DOCTYPE a [<!ENTITY x \"aaaaaaaaaa\"><!ENTITY y \"&x;&x;&x;&x;&x;&x;\">]><a>&y;</a>";
  const std::pair<const char*, std::string> cases[] = {
      {"part=body, regex=\"(a+)+$\"", many + "b"},
      {"part=body, regex=\"a.*b\"", many},
      {"part=body, regex=\"(?s)(a|b|ab)*c\"", many},
      {"part=url, regex=\"(x+x+)+[yz]\", negate=YES", ""},
      {"body_xpath=\"//a\"", deep_xml},
      {"body_xpath=\"/a\"", bomb},
      {"body_xpath=\"//b[//b[//b[//b]]] = 2\"", "<a>" +
                                                    [] {
                                                      std::string text;
                                                      for (int i = 0; i < 3000; ++i)
                                                        text += "<b>1</b>";
                                                      return text;
                                                    }() +
                                                    "</a>"},
      {"body_json=\"\"", std::string(100'000, '[')},
      {"body_json=\"\"", "\"" + std::string(kMaxReadBody, 'x') + "\""},
  };
  for (const auto& [condition, body] : cases) {
    serve({std::string("wz_service(s, url=\"/s\");\nwz_match(") + condition + ");"});
    EXPECT_EQ(ask("GET", "/s?" + std::string(5000, 'x'), "", body), "404") << condition;
  }
}

TEST_F(ServiceMatcherTest, FindsEachOfTenThousand) {
  std::vector<ServiceDefinition> services(10'000);
  for (std::size_t i = 0; i < services.size(); ++i) {
    services[i].name = std::to_string(i);
    services[i].methods = {"GET"};
    services[i].url = (i % 2 == 0 ? "/exact/" : "/any/*/") + std::to_string(i * 7919);
  }
  image_.emplace(ServiceImage::build(services));
  matcher_.emplace(*image_);
  for (std::size_t i = 0; i < services.size(); ++i) {
    std::string path = services[i].url;
    if (const std::size_t star = path.find('*'); star != std::string::npos) {
      path.replace(star, 1, std::to_string(i));
    }
    ASSERT_EQ(ask("GET", path), services[i].name);
    ASSERT_EQ(ask("GET", path + "x"), "404");
  }
}

}  // namespace
}  // namespace vsd
