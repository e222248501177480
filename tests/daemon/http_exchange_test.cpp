// HTTP as a client sees it, without sockets and with injected time.
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/exchange_driver.h"

namespace vsd::http {
namespace {

using namespace std::chrono_literals;
using Step = Exchange::Step;

HttpLimits small_limits() {
  HttpLimits limits;
  limits.max_header_bytes = 256;
  limits.max_body_bytes = 64;
  return limits;
}

// The statuses of the answers in `output`, "200 404"; requests with HEAD are not used here.
std::string statuses(std::string_view output) {
  std::string found;
  while (output.starts_with("HTTP/1.1 ")) {
    const auto head = output.find("\r\n\r\n") + 4;
    found.append(found.empty() ? "" : " ").append(output.substr(9, 3));
    const auto length = output.substr(0, head).find("Content-Length: ");
    const std::size_t body =
        length < head ? std::stoul(std::string(output.substr(length + 16, 10))) : 0;
    output.remove_prefix(head + body);
  }
  return found + (output.empty() ? "" : " and more");
}

// Sends `request` cut at `cut` and returns the output; checks how many requests were handled.
std::string outcome(std::string_view request, std::size_t cut, int handled) {
  const HttpLimits limits = small_limits();
  EchoHandler handler;
  ExchangeDriver driver(limits, handler);
  driver.feed(request.substr(0, cut));
  driver.feed(request.substr(cut));
  EXPECT_EQ(handler.handled, handled);
  driver.end_input();
  EXPECT_TRUE(driver.closed);
  return driver.output;
}

// `expected` are the statuses; requests are handled as often as they are answered with success.
void check(std::string_view request, std::string_view expected) {
  SCOPED_TRACE(std::string(request));
  const auto handled =
      static_cast<int>(expected.size() + 1) / 4 * (expected.starts_with('2') ? 1 : 0);
  const auto whole = outcome(request, request.size(), handled);
  EXPECT_EQ(statuses(whole), expected);
  for (std::size_t cut = 1; cut < request.size(); ++cut) {
    SCOPED_TRACE(cut);
    ASSERT_EQ(without_interim(outcome(request, cut, handled)), whole);
  }
}

TEST(HttpExchange, AnswersOrRefusesHoweverTheBytesAreCut) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, std::string_view> cases[] = {
      // Served.
      {"GET / HTTP/1.1\r\nHost: a\r\n\r\n", "200"},
      {"\r\n\r\nGET / HTTP/1.1\r\nHost:\r\n\r\n", "200"},
      {"GET / HTTP/1.0\r\n\r\n", "200"},
      {"POST / HTTP/1.7\r\nHost: a\r\nContent-Length: 1\r\n\r\naGET / HTTP/1.1\r\nHost: a\r\n\r\n",
       "200 200"},
      {"GET http://a:80/x?y HTTP/1.1\r\nHost: b\r\n\r\n", "200"},
      {"OPTIONS * HTTP/1.1\r\nHost: a\r\n\r\n", "200"},
      {"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\na\0b"
       "GET /none HTTP/1.1\r\nhost: [::1]:80\r\n\r\n"sv,
       "200 204"},
      {"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\nabc\r\n"
       "GET / HTTP/1.1\r\nHost: a\r\n\r\n",
       "200 200"},
      {"POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: Chunked\r\n\r\n"
       "3 ; n=\"v\"\r\n\0\r\n\r\n00A\r\n0123456789\r\n0\r\nTrailer: x\r\n\r\n"
       "GET /slow HTTP/1.1\r\nHost: a\r\n\r\n"sv,
       "200 200"},
      // The connection ends with this answer; what follows is not served.
      {"GET /close HTTP/1.1\r\nHost: a\r\n\r\nGET / HTTP/1.1\r\nHost: a\r\n\r\n", "200"},
      {"GET / HTTP/1.1\r\nHost: a\r\nConnection: x, Close\r\n\r\nGET / ", "200"},
      // Request lines.
      {"GET / HTTP/1.1\nHost: a\n\n", "400"},
      {"GET /\r\n\r\n", "400"},
      {"GET  / HTTP/1.1\r\nHost: a\r\n\r\n", "400"},
      {"GET / HTTP/1.1 \r\nHost: a\r\n\r\n", "400"},
      {"GET /a\tb HTTP/1.1\r\nHost: a\r\n\r\n", "400"},
      {"GET /\0 HTTP/1.1\r\nHost: a\r\n\r\n"sv, "400"},
      {"GET x HTTP/1.1\r\nHost: a\r\n\r\n", "400"},
      {"GET * HTTP/1.1\r\nHost: a\r\n\r\n", "400"},
      {"GET http:///x HTTP/1.1\r\nHost: a\r\n\r\n", "400"},
      {"GET / HTTP/11\r\nHost: a\r\n\r\n", "400"},
      {"GET / http/1.1\r\nHost: a\r\n\r\n", "400"},
      {"GET / HTTP/2.0\r\nHost: a\r\n\r\n", "505"},
      {"GET /a b HTTP/1.1\r\nHost: a\r\n\r\n", "400"},
      {"BREW / HTTP/1.1\r\nHost: a\r\n\r\n", "501"},
      {"get / HTTP/1.1\r\nHost: a\r\n\r\n", "501"},
      {"PROPPATCH / HTTP/1.1\r\nHost: a\r\n\r\n", "501"},
      {"CONNECT a:80 HTTP/1.1\r\nHost: a:80\r\n\r\n", "501"},
      {"\x16\x03\x01\x02"sv, "400"},
      {"BREW / HTTP/1.1\r\nHost: a\n\n", "501"},
      {"GET / HTTP/1.1\r\n\r\n", "400"},
      {"GET / HTTP/1.1\r\nHost: a/b\r\n\r\n", "400"},
      {"GET / HTTP/1.1\r\nHost: a b\r\n\r\n", "400"},
      {"GET / HTTP/1.1\r\nHost : a\r\n\r\n", "400"},
      {"GET / HTTP/1.1\r\n Host: a\r\n\r\n", "400"},
      {"POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "400"},
  };
  for (const auto& [request, expected] : cases) {
    check(request, expected);
  }
}

TEST(HttpExchange, RefusesBadFieldsAndLengths) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"Host: a\r\n\r\n", "400"},
      {"X: a\r\n b\r\n\r\n", "400"},
      {"X: a\0b\r\n\r\n"sv, "400"},
      {"X: a\rb\r\n\r\n", "400"},
      {": b\r\n\r\n", "400"},
      {"no colon\r\n\r\n", "400"},
      {"X: b\r\n\n", "400"},
      {"Expect: magic\r\n\r\n", "417"},
      {"Content-Length: 1\r\nContent-Length: 1\r\n\r\na", "400"},
      {"Content-Length: 1\r\nContent-Length: 2\r\n\r\na", "400"},
      {"Content-Length: 1, 1\r\n\r\na", "400"},
      {"Content-Length: +1\r\n\r\na", "400"},
      {"Content-Length: -1\r\n\r\na", "400"},
      {"Content-Length:\r\n\r\na", "400"},
      {"Content-Length: 99999999999999999999\r\n\r\na", "400"},
      {"Content-Length: 65\r\n\r\n", "413"},
      {"Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n", "400"},
      {"Transfer-Encoding: chunked\r\nContent-Length: 1\r\n\r\n0\r\n", "400"},
      {"Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n", "501"},
      {"Transfer-Encoding: xchunked\r\n\r\n0\r\n", "501"},
      {"Transfer-Encoding: chunked, chunked\r\n\r\n", "400"},
      {"Transfer-Encoding: chunked, gzip\r\n\r\n", "400"},
      {"Transfer-Encoding:\r\n\r\n", "400"},
      {"Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n", "400"},
  };
  for (const auto& [fields, status] : cases) {
    check("POST / HTTP/1.1\r\nHost: a\r\n" + std::string(fields), status);
  }
}

TEST(HttpExchange, RefusesBadChunks) {
  using namespace std::string_view_literals;
  const std::string head = "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"\r\n", "400"},
      {"x\r\n", "400"},
      {"-1\r\n", "400"},
      {"0x1\r\n", "400"},
      {"1 \r\n", "400"},
      {"1\na\n", "400"},
      {"1\ra", "400"},
      {"1;a=\0\r\n"sv, "400"},
      {"1\r\nab", "400"},
      {"1\r\na\r1", "400"},
      {"10000000000000000\r\n", "400"},
      {"41\r\n", "413"},
      {"ffffffffffffffff\r\n", "413"},
      {"40\r\n0123456789012345678901234567890123456789012345678901234567890123\r\n1\r\n", "413"},
      {"0\r\n\n", "400"},
      {"0\r\nno colon\r\n", "400"},
      {"0\r\n fold: x\r\n", "400"},
      {"0\r\nT: \0\r\n"sv, "400"},
  };
  for (const auto& [body, status] : cases) {
    check(head + std::string(body), status);
  }
  check(head + "0\r\nT: " + std::string(300, 'x'), "431");
  check(head + "1;" + std::string(5000, 'x'), "400");
}

TEST(HttpExchange, LimitsTheHead) {
  const std::string head = "GET / HTTP/1.1\r\nHost: a\r\nX: ";
  const std::string fits(small_limits().max_header_bytes - head.size() - 4, 'x');
  check(head + fits + "\r\n\r\n", "200");
  check(head + fits + "x\r\n\r\n", "431");
  check("GET /" + std::string(300, 'x'), "414");
}

TEST(HttpExchange, WritesTheHead) {
  const HttpLimits limits;
  EchoHandler handler;
  ExchangeDriver driver(limits, handler);
  driver.context().date.update(784111777);
  const std::string common =
      "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nDate: Sun, 06 Nov 1994 08:49:37 GMT\r\n";
  const std::pair<std::string_view, std::string> cases[] = {
      {"HEAD /p HTTP/1.1\r\nHost: a\r\n\r\n", common + "Content-Length: 11\r\n\r\n"},
      {"GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n",
       common + "Content-Length: 9\r\nConnection: keep-alive\r\n\r\nGET / 42 "},
      {"GET /none HTTP/1.1\r\nHost: a\r\n\r\n",
       "HTTP/1.1 204 No Content\r\n" + common.substr(17) + "\r\n"},
      {"PUT http://a/p?q HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n"
       "2\r\nab\r\n1\r\nc\r\n0\r\n\r\n",
       common + "Content-Length: 15\r\n\r\nPUT /p?q 66 abc"},
      {"GET /close HTTP/1.1\r\nHost: a\r\n\r\n",
       common + "Content-Length: 14\r\nConnection: close\r\n\r\nGET /close 32 "},
  };
  for (const auto& [request, answer] : cases) {
    driver.output.clear();
    driver.feed(request);
    EXPECT_EQ(driver.output, answer);
  }
  EXPECT_TRUE(driver.closed);
}

TEST(HttpExchange, AsksForTheBodyOnlyWhenItIsMissingAndWelcome) {
  const std::string head = "POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: ";
  const std::pair<std::string, std::string_view> cases[] = {
      {head + "2\r\n\r\n", "HTTP/1.1 100"},
      {head + "2\r\n\r\na", ""},
      {head + "0\r\n\r\n", "HTTP/1.1 200"},
      {head + "65\r\n\r\n", "HTTP/1.1 413"},
  };
  for (const auto& [request, first] : cases) {
    const HttpLimits limits = small_limits();
    EchoHandler handler;
    ExchangeDriver driver(limits, handler);
    driver.feed(request);
    EXPECT_EQ(driver.output.substr(0, 12), first) << request;
  }
}

TEST(HttpExchange, HoldsDelayedAnswersInOrder) {
  const HttpLimits limits;
  EchoHandler handler;
  ExchangeDriver driver(limits, handler);
  const std::string tail = " HTTP/1.1\r\nHost: a\r\n\r\n";
  const std::string requests = "GET /1" + tail + "GET /slow" + tail + "GET /2" + tail;
  const auto space = driver.exchange().input_space();
  std::memcpy(space.data(), requests.data(), requests.size());
  driver.exchange().received(requests.size(), driver.now);
  EXPECT_EQ(driver.pump(), Step::wait);
  EXPECT_EQ(driver.exchange().due(), driver.now + 70ms);
  EXPECT_EQ(statuses(driver.output), "200");
  EXPECT_EQ(driver.later(69ms), Step::wait);
  EXPECT_EQ(driver.later(1ms), Step::read);
  EXPECT_EQ(statuses(driver.output), "200 200 200");
  EXPECT_NE(driver.output.find("GET /2"), std::string::npos);
}

// Each behind an ordinary answer.
TEST(HttpExchange, GoesWrongOnPurpose) {
  const struct {
    Fault fault;
    Step end;
    std::string_view output_end;
  } cases[] = {{Fault::reset, Step::reset, ""},
               {Fault::empty, Step::close, ""},
               {Fault::garbage, Step::close, ""},
               {Fault::slow, Step::read, "\r\n\r\nGET /fault4 33 "},
               {Fault::close_mid_body, Step::close, "\r\n\r\nGET /fa"}};
  for (const auto& [fault, end, output_end] : cases) {
    const std::string target = "/fault" + std::to_string(static_cast<int>(fault));
    SCOPED_TRACE(target);
    const HttpLimits limits;
    EchoHandler handler;
    ExchangeDriver driver(limits, handler);
    driver.feed("GET /none HTTP/1.1\r\nHost: a\r\n\r\n");
    driver.output.clear();
    const TimePoint start = driver.now;
    auto step = driver.feed("GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n");
    std::size_t most = driver.output.size();
    while (step == Step::wait) {
      const std::size_t before = driver.output.size();
      driver.now = driver.exchange().due();
      step = driver.pump();
      most = std::max(most, driver.output.size() - before);
    }
    EXPECT_EQ(step, end);
    const std::string& output = driver.output;
    EXPECT_TRUE(output.ends_with(output_end)) << output;
    if (!output_end.empty()) {
      EXPECT_NE(output.find("\r\nContent-Length: 15\r\n"), std::string::npos) << output;
    }
    EXPECT_EQ(output.starts_with("HTTP/1.1 200"), !output_end.empty());
    EXPECT_EQ(output.size() == 256, fault == Fault::garbage);
    if (fault == Fault::slow) {  // 200 bytes a second
      EXPECT_LE(most, 20U);
      EXPECT_NEAR(static_cast<double>((driver.now - start) / 1ms),
                  static_cast<double>(output.size()) * 5, 100);
    } else {
      EXPECT_EQ(driver.now, start);
    }
  }
}

// A client that does not read is given up, also while an answer behind the unread ones waits.
TEST(HttpExchange, GivesUpWhoDoesNotReadWhileAnAnswerWaits) {
  const HttpLimits limits;
  EchoHandler handler;
  ExchangeDriver driver(limits, handler);
  driver.client_reads = false;
  EXPECT_EQ(driver.feed("GET /a HTTP/1.1\r\nHost: a\r\n\r\nGET /slow HTTP/1.1\r\nHost: a\r\n\r\n"),
            Step::write);
  EXPECT_EQ(driver.later(limits.request_timeout), Step::close);
}

TEST(HttpExchange, StopsServingWhileTheClientDoesNotRead) {
  const HttpLimits limits;
  EchoHandler handler;
  ExchangeDriver driver(limits, handler);
  driver.client_reads = false;
  std::string requests;
  for (int i = 0; i < 20; ++i) {
    requests += "GET /large HTTP/1.1\r\nHost: a\r\n\r\n";
  }
  EXPECT_EQ(driver.feed(requests), Step::write);
  EXPECT_EQ(handler.handled, 1);
  EXPECT_EQ(driver.later(limits.request_timeout - 1s), Step::write);
  driver.exchange().written(10, driver.now);  // slow, but alive
  EXPECT_EQ(driver.later(limits.request_timeout - 1s), Step::write);
  EXPECT_EQ(driver.later(1s), Step::close);
  EXPECT_EQ(handler.handled, 1);
}

TEST(HttpExchange, TimesOut) {
  const HttpLimits limits;
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"GET / HT", "408"},
      {"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 9\r\n\r\nabc", "408"},
      {"GET / HTTP/1.1\r\nHost: a\r\n\r\nGET", "200 408"},
  };
  for (const auto& [sent, expected] : cases) {
    EchoHandler handler;
    ExchangeDriver driver(limits, handler);
    for (const char& byte : sent) {  // a byte now and then does not put the end off
      driver.later(1ms);
      driver.feed({&byte, 1});
    }
    EXPECT_EQ(driver.later(limits.request_timeout - 1s), Step::read);
    driver.later(1s);
    EXPECT_EQ(statuses(driver.output), expected);
    EXPECT_TRUE(driver.shut_down);
    EXPECT_EQ(driver.later(10s), Step::close);
  }
  EchoHandler handler;
  ExchangeDriver idle(limits, handler);
  idle.feed("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
  EXPECT_EQ(idle.later(limits.idle_timeout - 1ms), Step::read);
  EXPECT_EQ(idle.later(1ms), Step::close);
  EXPECT_EQ(statuses(idle.output), "200");
}

}  // namespace
}  // namespace vsd::http
