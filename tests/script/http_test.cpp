// The request's URL and headers, and what a script sets of the response.
#include <cstring>

#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::expect_in_order;
using wz::test::ScriptTest;

class HttpTest : public ScriptTest {
 protected:
  void SetUp() override { serve("wz_scratch_var(a);"); }
};

TEST_F(HttpTest, ReadsQueryParameters) {
  const std::tuple<const char*, const char*, int, const char*> cases[] = {
      {"/p?a=1&b=2", "b", 0, "2"},        {"/p?a=1&b=2", "p", 0, nullptr},
      {"/p?ab=1", "b", 0, "1"},            // the end of a longer name
      {"/p?xb=1&b=2&c?b=3", "b", 0, "3"},  // `?b=` goes before `&b=`
      {"/p?xb=1&b=2", "b", 0, "2"},       {"/p?b=&a=1", "b", 1, ""},
      {"/p?b", "b", 0, nullptr},          {"/p?=7", "", 0, "7"},
      {"/p?b=x y", "b", 1, "x%20y"},      {"/p?b=x%20y", "b", 2, "x y"},
      {"/p?b=x%20y", "b", 9, "x%20y"},    {nullptr, "b", 0, nullptr}};
  for (const auto& [url, name, flag, expected] : cases) {
    char value[64] = "before";
    kpi_magic = nullptr;
    EXPECT_EQ(get_url_query_param_val(arg(name), value, arg(url), flag), expected ? 0 : -1);
    EXPECT_STREQ(value, expected ? expected : "") << url;
    EXPECT_EQ(kpi_magic, expected ? value : nullptr);
  }
  char value[8];
  EXPECT_EQ(get_url_query_param_val(nullptr, value, arg("/?a=1"), 0), -1);
  EXPECT_EQ(get_url_query_param_val(arg("a"), nullptr, arg("/?a=1"), 0), -1);
}

TEST_F(HttpTest, HasAUrlOnlyAfterReceiving) {
  request("GET /test?q=1 HTTP/1.1\r\n\r\n");
  char value[8];
  EXPECT_EQ(wz_get_url_query_param_val(arg("q"), value, 0), 0);
  cur_url = nullptr;
  EXPECT_EQ(wz_get_url_query_param_val(arg("q"), value, 0), -1);
  start_logs();
  EXPECT_EQ(wz_get_url(), nullptr);
  EXPECT_NE(error_log().find("|wz_get_url can be called from Post Recv Function only"),
            std::string::npos);
}

TEST_F(HttpTest, CollectsHeaderLines) {
  wz_set_http_hdr(arg("A: 1"));
  wz_set_http_hdr(arg("B: 2"));
  EXPECT_STREQ(current().url_data->http_hdrs, "A: 1\r\nB: 2\r\n");
  EXPECT_EQ(current().url_data->http_hdrs_len, 12);
  EXPECT_EQ(wz_set_http_status_code(65536 + 404), 0);
  EXPECT_EQ(current().url_data->http_status_code, 404);
  char line[] = "HTTP/1.1 299 Fine";
  EXPECT_EQ(wz_http_set_response_line(line), 0);
  EXPECT_EQ(current().url_data->http_status_line, line);
}

TEST_F(HttpTest, TakesTheFirstContentType) {
  start_logs();
  wz_set_content_type_hdr(arg("text/xml"));
  EXPECT_EQ(current().url_data->content_type, nullptr);
  wz_set_content_type_hdr(arg("content-type: text/xml"));
  wz_set_content_type_hdr(arg("Content-Type: a/b"));
  EXPECT_STREQ(current().url_data->content_type->content_type_hdr, "content-type: text/xml\r\n");
  EXPECT_EQ(current().url_data->content_type->content_type_hdr_len, 24);
  expect_in_order(error_log(),
                  {"|Content type header is not in correct format. It should be Content-Type: "
                   "Header = text/xml",
                   "|Duplicate Content-Type header found, Ignored... Header = Content-Type: a/b"});
}

TEST_F(HttpTest, LinksTheResponseToItsStream) {
  HttpStream stream{};
  HttpStreamState state{};
  state.cur_stream = &stream;
  current().h3_server_ptr = &state;
  EXPECT_EQ(check_alloc_url_data(), 0);
  EXPECT_NE(stream.url_data, nullptr);
  EXPECT_EQ(stream.url_data, current().url_data);
  current().h3_server_ptr = nullptr;
}

TEST_F(HttpTest, FindsRequestHeaders) {
  const std::string long_value(1500, 'v');
  const std::string head =
      "GET /Host: HTTP/1.1\r\nHostname: y\r\nHost: x\r\nTab\t: t\r\nEmpty:\r\nBare\r\n"
      "Twice:1\r\nTwice: 2\r\nLong:" +
      long_value + "\r\nLast: end";
  request(head);
  const std::pair<const char*, const char*> cases[] = {
      {"Host", " x"},    {"host", nullptr}, {"Hostnam", nullptr}, {"GET", nullptr}, {"Tab", " t"},
      {"Bare", nullptr}, {"Empty", ""},     {"Twice", "1"},       {"Last", " end"}, {"", nullptr}};
  for (const auto& [name, expected] : cases) {
    EXPECT_STREQ(wz_get_http_hdr(arg(name)), expected) << name;
  }
  const char* const value = wz_get_http_hdr(arg("Long"));
  EXPECT_EQ(value, long_value.substr(0, 1023));
  EXPECT_EQ(wz_get_http_hdr(arg("Host")), value);
  EXPECT_STREQ(value, " x");
  EXPECT_EQ(wz_get_http_hdr(nullptr), nullptr);
}

TEST_F(HttpTest, FindsHeadersOfStreams) {
  std::string block(VSD_HEADER_BLOCK_TEXT_OFFSET, '\0');
  block += "first: line\r\nname: value\r\n";
  HttpStreamState state{};
  for (const int conn_state : {VSD_STATE_HTTP2, VSD_STATE_HTTP3}) {
    connection stream = current();
    stream.conn_state = conn_state;
    connection* const before = std::exchange(cur_cptr, &stream);
    EXPECT_EQ(wz_get_http_hdr(arg("name")), nullptr);
    (conn_state == VSD_STATE_HTTP2 ? stream.http2 : stream.h3_server_ptr) = &state;
    state.header_block = block.data();
    EXPECT_STREQ(wz_get_http_hdr(arg("name")), " value");
    cur_cptr = before;
  }
}

TEST_F(HttpTest, KnowsTheValidators) {
  for (const int flag : {0, 2, 4, 6}) {
    current().flag = flag;
    EXPECT_EQ(wz_http_req_has_validator_ims(), flag >> 1 & 1);
    EXPECT_EQ(wz_http_req_has_validator_if_none_match(), flag >> 2 & 1);
  }
  current().flag = 0;
}

}  // namespace
