#include "daemon/service/connection_state.h"

#include <wz/wz_script.h>

#include <string>

#include "tests/support/service_fixture.h"

namespace {

using wz::test::ServiceFixture;

TEST(QueryValue, FindsWholeParameters) {
  using Case = std::pair<std::string_view, std::optional<std::string_view>>;
  constexpr Case cases[] = {
      {"/a?x=1", "1"},           {"/a?y=2&x=1&x=3", "1"},   {"/a?x=", ""},
      {"/a?xx=1", std::nullopt}, {"/a?ax=1", std::nullopt}, {"/a", std::nullopt},
      {"/x=1", std::nullopt},    {"/a?", std::nullopt},     {"/a?x", std::nullopt},
      {"/a?&&x=a=b?c&", "a=b?c"}};
  for (const auto& [url, value] : cases) {
    EXPECT_EQ(vsd::query_value(url, "x"), value) << url;
  }
}

class ConnectionStateTest : public ServiceFixture {};

TEST_F(ConnectionStateTest, FillsFromEveryPartOfTheRequest) {
  const std::string body("<id>a\0b</id>\0", 14);
  serve(R"(wz_request_var(body, part=body); wz_request_var(head, part=head);
           wz_request_var(url, part=url);   wz_search_var(id, LB="<id>", RB="</id>");
           wz_search_var(host, LB="Host: ", RB="\r\n", in=head);
           wz_search_var(page, LB="/test/", RB="?", in=url);
           wz_search_var(digits, LB="/[a-z]+/", RB="?", in=url, RE=LB, Convert=TextToHex);
           wz_query_var(raw, name=q, decode=NO); wz_query_var(q);
           wz_search_var(absent, LB="nowhere", RB="x");)",
        "POST /test/7?q=a%20b+%2541%e2%4g%zz% HTTP/1.1\r\nHost: h\r\n\r\n", body);
  EXPECT_EQ(value("body"), body);
  EXPECT_EQ(value("head"), "POST /test/7?q=a%20b+%2541%e2%4g%zz% HTTP/1.1\r\nHost: h\r\n\r\n");
  EXPECT_EQ(value("url"), "/test/7?q=a%20b+%2541%e2%4g%zz%");
  EXPECT_EQ(value("id"), std::string("a\0b", 3));
  EXPECT_EQ(value("host"), "h");
  EXPECT_EQ(value("page"), "7");
  EXPECT_EQ(value("digits"), "37");
  EXPECT_EQ(value("raw"), "a%20b+%2541%e2%4g%zz%");
  EXPECT_EQ(value("q"), "a b %41\xe2%4g%zz%");
  EXPECT_EQ(value("absent").value_or(""), "");
  EXPECT_EQ(current().bytes, static_cast<long>(value("head")->size() + body.size()));
}

// The head ends where it ends, whatever follows it in the connection's buffer.
TEST_F(ConnectionStateTest, KeepsTheBodyOutOfHeaderLookups) {
  const std::string buffer = "GET /test HTTP/1.1\r\nA: 1\r\n\r\nx\r\nB: 2\r\n";
  const std::string_view whole = buffer;
  serve("wz_scratch_var(a);");
  vsd::http::Request text;
  text.head = whole.substr(0, whole.find("\r\n\r\n") + 4);
  text.body = whole.substr(text.head.size());
  text.has_if_none_match = true;
  const vsd::ServiceView view = service();
  state().begin(view, text);
  EXPECT_EQ(current().flag, VSD_FLAG_IF_NONE_MATCH);
  EXPECT_STREQ(wz_get_http_hdr(const_cast<char*>("A")), " 1");
  EXPECT_EQ(wz_get_http_hdr(const_cast<char*>("B")), nullptr);
}

TEST_F(ConnectionStateTest, FollowsChangesOfScratchVariables) {
  serve(R"(wz_scratch_var(note);
           wz_search_var(all, LB="[", RB="]", in=note, ORD=ALL);
           wz_search_var(second, LB="[", RB="]", in=note, ORD=2, Method=Upper);)");
  EXPECT_EQ(value("second"), std::nullopt) << "nothing was saved yet";
  wz_save_string("[a][b]", "note");
  EXPECT_EQ(value("second"), "B");
  EXPECT_EQ(entry("all").length, 2U);
  EXPECT_EQ(element("all", 2), "b");
  wz_save_string("[c]", "note");
  EXPECT_EQ(value("second").value_or(""), "") << "the old value is gone";
  EXPECT_EQ(element("all", 1), "c");
  EXPECT_EQ(entry("all").length, 1U);
}

}  // namespace
