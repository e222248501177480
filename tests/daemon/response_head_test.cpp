#include "daemon/service/response_head.h"

#include <gtest/gtest.h>

namespace vsd {
namespace {

constexpr DeclaredHead kDeclared{404, "Content-Type: text/xml\r\n", "A: 1\r\n"};

struct ScriptHead {
  std::string headers = {};
  std::string content_type = {};
  short code = 0;
  std::string line = {};
};

// The status, the status line and the header lines of the answer, then what was refused.
std::string merged(ScriptHead script) {
  ContentType type{nullptr, script.content_type.data(),
                   static_cast<int>(script.content_type.size())};
  UrlDynamicData data{};
  data.content_type = script.content_type.empty() ? nullptr : &type;
  data.http_hdrs = script.headers.empty() ? nullptr : script.headers.data();
  data.http_hdrs_len = static_cast<long>(script.headers.size());
  data.http_status_code = script.code;
  data.http_status_line = script.line.empty() ? nullptr : script.line.data();
  http::Response response;
  std::string refused;
  merge_response_head(kDeclared, &data, response, refused);
  return std::to_string(response.status) + "|" + response.status_line + "|" + response.headers +
         "|" + refused;
}

const std::string kType = "Content-Type: text/xml\r\n";
const std::string kPlain = "404||A: 1\r\n" + kType + "|";

TEST(ResponseHead, TheScriptStandsAboveTheDeclaration) {
  const std::pair<ScriptHead, std::string> cases[] = {
      {{}, kPlain},
      {{"B: 2\r\nC:3\r\n"}, "404||A: 1\r\nB: 2\r\nC:3\r\n" + kType + "|"},
      {{"", "content-type: a/b\r\n", 202}, "202||A: 1\r\ncontent-type: a/b\r\n|"},
      {{"content-type: a/b\r\nB: 2\r\n", "Content-Type: c/d\r\n"},
       "404||A: 1\r\nContent-Type: c/d\r\nB: 2\r\n|"},
      {{"Content-TYPE: a/b\r\n"}, "404||A: 1\r\nContent-TYPE: a/b\r\n|"},
      {{"", "", 202, "HTTP/1.1 304 Same\r\n"}, "304|HTTP/1.1 304 Same|A: 1\r\n" + kType + "|"},
      {{"connection: Close\r\n"}, "404||A: 1\r\nconnection: Close\r\n" + kType + "|"},
      {{"", "", 0, "HTTP/1.0 204"}, "204|HTTP/1.0 204|A: 1\r\n" + kType + "|"},
      // The first line of several is kept.
      {{"", "", 0, "HTTP/1.1 200 OK\r\nX: 1"},
       "200|HTTP/1.1 200 OK|A: 1\r\n" + kType +
           "|more than one line in the status line: HTTP/1.1 200 OK..X: 1\n"},
  };
  for (const auto& [script, answer] : cases) {
    EXPECT_EQ(merged(script), answer);
  }
}

TEST(ResponseHead, RefusesWhatWouldBreakTheMessage) {
  const std::string owned = "a header that is the daemon's to set: ";
  const std::pair<ScriptHead, std::string> cases[] = {
      {{"\r\n<html>\r\n"}, "no header line: \nno header line: <html>\n"},
      {{"B: x\ny\r\nC: x\ry\r\n"}, "no header line: B: x.y\nno header line: C: x.y\n"},
      {{" folded: 1\r\nE : 1\r\n: 1\r\n"},
       "no header line:  folded: 1\nno header line: E : 1\nno header line: : 1\n"},
      {{"content-length: 3\r\nTransfer-Encoding: chunked\r\nCONNECTION: keep-alive\r\n"},
       owned + "content-length: 3\n" + owned + "Transfer-Encoding: chunked\n" + owned +
           "CONNECTION: keep-alive\n"},
      {{"", "Content-Type: text/xml\r\nContent-Length: 0\r\n\r\n"},
       owned + "Content-Length: 0\nno header line: \n"},
      {{"", "", 101}, "no status of an answer: 101\n"},
      {{"", "", -5, "200 OK"}, "no status of an answer: -5\nno status line: 200 OK\n"},
      {{"", "", 0, "HTTP/1.1 100 Continue"}, "no status line: HTTP/1.1 100 Continue\n"},
      {{"", "", 0, "HTTP/1.1 2000"}, "no status line: HTTP/1.1 2000\n"},
  };
  for (const auto& [script, refused] : cases) {
    EXPECT_EQ(merged(script), kPlain + refused);
  }
}

}  // namespace
}  // namespace vsd
