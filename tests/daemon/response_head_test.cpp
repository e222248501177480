#include "daemon/service/response_head.h"

#include <gtest/gtest.h>

namespace vsd {
namespace {

struct ScriptHead {
  std::string headers;
  std::string content_type;
  short code = 0;
  std::string line;
};

struct Case {
  ScriptHead script;
  int status;
  std::string status_line;
  std::string headers;
  std::string refused;
};

constexpr DeclaredHead kDeclared{404, "Content-Type: text/xml\r\n", "A: 1\r\n"};

void check(Case test) {
  ContentType type{nullptr, test.script.content_type.data(),
                   static_cast<int>(test.script.content_type.size())};
  UrlDynamicData data{};
  data.content_type = test.script.content_type.empty() ? nullptr : &type;
  data.http_hdrs = test.script.headers.empty() ? nullptr : test.script.headers.data();
  data.http_hdrs_len = static_cast<long>(test.script.headers.size());
  data.http_status_code = test.script.code;
  data.http_status_line = test.script.line.empty() ? nullptr : test.script.line.data();
  http::Response response;
  std::string refused;
  merge_response_head(kDeclared, &data, response, refused);
  EXPECT_EQ(response.status, test.status);
  EXPECT_EQ(response.status_line, test.status_line);
  EXPECT_EQ(response.headers, test.headers);
  EXPECT_EQ(refused, test.refused);
}

TEST(ResponseHead, TheScriptStandsAboveTheDeclaration) {
  const std::string type = "Content-Type: text/xml\r\n";
  const Case cases[] = {
      {{}, 404, "", "A: 1\r\n" + type, ""},
      {{"B: 2\r\nC:3\r\n", "", 0, ""}, 404, "", "A: 1\r\nB: 2\r\nC:3\r\n" + type, ""},
      {{"", "content-type: a/b\r\n", 202, ""}, 202, "", "A: 1\r\ncontent-type: a/b\r\n", ""},
      {{"Content-TYPE: a/b\r\n", "", 0, ""}, 404, "", "A: 1\r\nContent-TYPE: a/b\r\n", ""},
      {{"", "", 202, "HTTP/1.1 304 Same\r\n"}, 304, "HTTP/1.1 304 Same", "A: 1\r\n" + type, ""},
      {{"connection: Close\r\n", "", 0, ""}, 404, "", "A: 1\r\nconnection: Close\r\n" + type, ""},
      {{"", "", 0, "HTTP/1.0 204"}, 204, "HTTP/1.0 204", "A: 1\r\n" + type, ""},
  };
  for (const Case& test : cases) {
    check(test);
  }
}

TEST(ResponseHead, RefusesWhatWouldBreakTheMessage) {
  const std::string type = "Content-Type: text/xml\r\n";
  const std::string plain = "A: 1\r\n" + type;
  const Case cases[] = {
      {{"\r\n<html>\r\n", "", 0, ""}, 404, "", plain, "no header line: \nno header line: <html>\n"},
      {{"B: x\ny\r\nC: x\ry\r\nD: 4\r\n", "", 0, ""},
       404,
       "",
       "A: 1\r\nD: 4\r\n" + type,
       "no header line: B: x.y\nno header line: C: x.y\n"},
      {{" folded: 1\r\nE : 1\r\n: 1\r\n", "", 0, ""},
       404,
       "",
       plain,
       "no header line:  folded: 1\nno header line: E : 1\nno header line: : 1\n"},
      {{"content-length: 3\r\nTransfer-Encoding: chunked\r\nCONNECTION: keep-alive\r\n", "", 0, ""},
       404,
       "",
       plain,
       "a header that is the daemon's to set: content-length: 3\n"
       "a header that is the daemon's to set: Transfer-Encoding: chunked\n"
       "a header that is the daemon's to set: CONNECTION: keep-alive\n"},
      {{"", "Content-Type: a\r\nContent-Length: 0\r\n\r\n", 0, ""},
       404,
       "",
       "A: 1\r\nContent-Type: a\r\n",
       "a header that is the daemon's to set: Content-Length: 0\nno header line: \n"},
      {{"", "", 101, ""}, 404, "", plain, "no status of an answer: 101\n"},
      {{"", "", -5, "200 OK"},
       404,
       "",
       plain,
       "no status of an answer: -5\nno status line: 200 OK\n"},
      {{"", "", 0, "HTTP/1.1 100 Continue"},
       404,
       "",
       plain,
       "no status line: HTTP/1.1 100 Continue\n"},
      {{"", "", 0, "HTTP/1.1 200 OK\r\nX: 1"},
       200,
       "HTTP/1.1 200 OK",
       plain,
       "more than one line in the status line: HTTP/1.1 200 OK..X: 1\n"},
      {{"", "", 0, "HTTP/1.1 2000"}, 404, "", plain, "no status line: HTTP/1.1 2000\n"},
  };
  for (const Case& test : cases) {
    check(test);
  }
}

}  // namespace
}  // namespace vsd
