// Messages of other protocols than HTTP, without sockets and with injected time.
#include "daemon/raw/raw_exchange.h"

#include <gtest/gtest.h>

#include "daemon/service_ports.h"
#include "tests/support/exchange_driver.h"

namespace vsd::raw {
namespace {

using namespace std::chrono_literals;
using http::ExchangeDriver;
using http::Fault;
using Step = http::Dialogue::Step;

// Answers "<message>"; messages that begin with "fault", "late", "lost", "large" and "none" are
// what they say.
class Parrot : public http::RequestHandler {
 public:
  void handle(const http::Request& request, http::Response& response) override {
    response.body.append("<").append(request.body).append(">");
    if (request.body.starts_with("fault")) {
      response.fault = static_cast<Fault>(request.body[5] - '0');
      response.bytes_per_second = 100;
    } else if (request.body.starts_with("late")) {
      response.delay = 70ms;
    } else if (request.body.starts_with("lost")) {
      throw std::runtime_error("lost");
    } else if (request.body.starts_with("large")) {
      response.body.assign(70'000, 'x');
    } else if (request.body.starts_with("none")) {
      response.body.clear();
    }
  }
};

HttpLimits small_limits() {
  HttpLimits limits;
  limits.max_body_bytes = 16;
  return limits;
}

Endpoint speaking(const Framing& framing) {
  return {Transport::tcp, framing, "/tcp *:1", "tcp://*:1"};
}

const Framing kLines{Framing::Kind::delimiter, "\r\n"};
const Framing kFixed{Framing::Kind::length, "", 3};
const Framing kToEnd;

Framing prefixed(std::size_t bytes, bool is_big_endian) {
  return {Framing::Kind::prefix, "", 0, bytes, is_big_endian};
}

std::string text(const char* literal, std::size_t size) {
  return {literal, size};
}
#define TEXT(literal) text(literal, sizeof(literal) - 1)

TEST(RawExchange, AnswersTheSameHoweverTheBytesAreCut) {
  const std::tuple<Framing, std::string, std::string> cases[] = {
      {kLines, TEXT("a\r\n\r\n\0b\rc\r\nno end\r"), TEXT("<a>\r\n<>\r\n<\0b\rc>\r\n")},
      {kLines, "lost\r\nnone\r\nlate\r\nb\r\n", "<late>\r\n<b>\r\n"},
      {kLines, "0123456789abcdef\r\n0123456789abcdefg\r\na\r\n", "<0123456789abcdef>\r\n"},
      {kFixed, "abcdefgh", "<abc><def>"},
      {prefixed(1, true), TEXT("\1a\0\2bc\3x"), TEXT("\3<a>\2<>\4<bc>")},
      {prefixed(2, true), TEXT("\0\1a\0\21"), TEXT("\0\3<a>")},
      {prefixed(2, false), TEXT("\1\0a\1\0\0"), TEXT("\3\0<a>\3\0<\0>")},
      {prefixed(4, true), TEXT("\0\0\0\1a"), TEXT("\0\0\0\3<a>")},
      {prefixed(8, false), TEXT("\1\0\0\0\0\0\0\0a"), TEXT("\3\0\0\0\0\0\0\0<a>")},
      {prefixed(8, true), std::string(8, '\xff') + "a", ""},
      {prefixed(2, true), TEXT("\0\5large\0\1a"), ""},  // which 2 bytes cannot announce
      {kToEnd, "a\r\nb", "<a\r\nb>"},
      {kToEnd, "", ""},
      {kToEnd, "0123456789abcdefg", ""},
      {kLines, "a\r\nfault2\r\nb\r\n", "<a>\r\n"},
      {kLines, "fault5\r\nb\r\n", "<faul"},
      {kLines, "fault4\r\nb\r\n", "<fault4>\r\n<b>\r\n"},
  };
  const HttpLimits limits = small_limits();
  for (const auto& [framing, input, output] : cases) {
    const Endpoint endpoint = speaking(framing);
    for (std::size_t cut = 0; cut <= input.size(); ++cut) {
      Parrot handler;
      ExchangeDriver driver(limits, handler, &endpoint);
      driver.feed(input.substr(0, cut));
      driver.feed(input.substr(cut));
      for (Step step = driver.end_input(); step == Step::wait;) {
        driver.now = driver.exchange().due();
        step = driver.pump();
      }
      EXPECT_EQ(driver.output, output) << input << " cut at " << cut;
      EXPECT_TRUE(driver.closed) << input << " cut at " << cut;
    }
  }
}

TEST(RawExchange, TimesOutAndGoesWrongAsHttpDoes) {
  const HttpLimits limits;
  const Endpoint endpoint = speaking(kLines);
  Parrot handler;
  ExchangeDriver driver(limits, handler, &endpoint);
  EXPECT_TRUE(driver.exchange().idle());
  EXPECT_EQ(driver.feed("a\r\nb"), Step::read);
  EXPECT_TRUE(driver.exchange().receiving());
  EXPECT_EQ(driver.later(limits.request_timeout - 1s), Step::read);
  EXPECT_FALSE(driver.shut_down);
  driver.later(2s);  // the rest of "b" has not come
  EXPECT_TRUE(driver.shut_down);

  ExchangeDriver silent(limits, handler, &endpoint);
  silent.feed("large\r\n");
  EXPECT_EQ(silent.output.size(), 70'002U);
  EXPECT_EQ(silent.later(limits.idle_timeout), Step::close);

  ExchangeDriver unread(limits, handler, &endpoint);
  unread.client_reads = false;
  EXPECT_EQ(unread.feed("a\r\nb\r\n"), Step::write);
  EXPECT_EQ(unread.later(limits.idle_timeout), Step::close);

  ExchangeDriver reset(limits, handler, &endpoint);
  EXPECT_EQ(reset.feed("fault1\r\n"), Step::reset);

  ExchangeDriver draining(limits, handler, &endpoint);
  draining.context().draining = true;
  EXPECT_EQ(draining.feed("a\r\n"), Step::close);
  EXPECT_EQ(draining.output, "<a>\r\n");
}

// A service whose port is taken is left out, and so is no other.
TEST(ServicePorts, AreSharedKeptAndGivenUpByTheService) {
  Ports ports(2);
  const Listener other = open_listener({"127.0.0.1", 0}, Transport::udp);
  const auto service = [](const char* name, Transport transport, std::uint16_t port) {
    ServiceDefinition definition;
    definition.name = name;
    definition.raw.emplace();
    definition.raw->transport = transport;
    definition.raw->listen.host = *name == 'b' ? "::1" : "127.0.0.1";
    definition.raw->listen.port = port;
    definition.url = path_of_key(definition.raw->key(name));
    return definition;
  };
  PreparedServices prepared;
  prepared.services = {service("a", Transport::tcp, 0),
                       service("taken", Transport::udp, other.port),
                       service("b", Transport::udp, 0), ServiceDefinition()};
  prepared.objects.resize(prepared.services.size());
  const auto opened = open_service_ports(ports, prepared, false);
  ASSERT_EQ(opened.size(), 2U);
  EXPECT_EQ(prepared.services.size(), 3U);
  EXPECT_EQ(prepared.objects.size(), 3U);
  ASSERT_EQ(prepared.errors.size(), 1U);
  EXPECT_NE(prepared.errors[0].text.find("Address already in use"), std::string::npos);
  const ListenAddress& address = opened[0].port->address;
  EXPECT_EQ(list_of(opened), ", a on tcp " + to_string(address) + ", b on udp [::1]:" +
                                 std::to_string(opened[1].port->address.port));
  EXPECT_EQ(opened[0].endpoint.target, "tcp://" + to_string(address));
  EXPECT_EQ(open_service_ports(ports, prepared, true)[0].port, opened[0].port);
}

}  // namespace
}  // namespace vsd::raw
