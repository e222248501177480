// The example services through a real vsd.
#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <set>
#include <thread>

#include "tests/support/capture.h"
#include "tests/support/http_client.h"
#include "tests/support/openssl_command.h"
#include "tests/support/raw_client.h"
#include "tests/support/vsd_process.h"

namespace vsd::test {
namespace {

class Examples : public testing::Test {
 protected:
  static void SetUpTestSuite() { vsd_ = new VsdProcess(EXAMPLES_FOLDER); }
  static void TearDownTestSuite() {
    EXPECT_EQ(vsd_->stop(), 0);
    delete vsd_;
  }

  static std::string url(const std::string& target) { return vsd_->url(target); }

  static std::string today(const char* format) {
    return wz::test::printed(format, std::time(nullptr));
  }

  static inline VsdProcess* vsd_ = nullptr;
  HttpClient client_;
};

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(Examples, OrdersCutsTheIdAndFillsTheAnswer) {
  const auto answer = client_.post(url("/order?cust=Ann%20B"), "<o><orderId>4711</orderId></o>",
                                   {"X-Trace-Id: 0af7"});
  EXPECT_EQ(answer.status, 200);
  EXPECT_TRUE(contains(answer.headers, "\r\nContent-Type: text/xml\r\n")) << answer.headers;
  EXPECT_TRUE(contains(answer.headers, "\r\nX-Order-Id: 4711\r\n")) << answer.headers;
  for (const std::string& part :
       {std::string("<traceId>0af7</traceId>"), "<date>" + today("%Y-%m-%d") + "</date>",
        std::string("<orderId>4711</orderId>"), std::string("/order/4711/cancel")}) {
    EXPECT_TRUE(contains(answer.body, part)) << part << " in " << answer.body;
  }
  EXPECT_EQ(client_.post(url("/order"), "<orderId>999</orderId>").status, 202);
  const auto unknown = client_.post(url("/order"), "<o/>");
  EXPECT_EQ(unknown.status, 404);
  EXPECT_TRUE(contains(unknown.body, "No order id in the request of " + today("%Y-%m-%d")));
}

TEST_F(Examples, GreetingNeedsNoScript) {
  const auto named = client_.get(url("/greeting?name=Ann"));
  EXPECT_EQ(named.status, 200);
  EXPECT_TRUE(named.body.starts_with("Hello Ann, have a nice " + today("%A"))) << named.body;
  EXPECT_TRUE(client_.get(url("/greeting")).body.starts_with("Hello, have a nice "));
}

TEST_F(Examples, JsonBracesAreLiteral) {
  const auto answer =
      client_.post(url("/json"), R"({"sku":"A-100","tags":"<tag>new</tag><tag>blue</tag>"})");
  EXPECT_EQ(answer.status, 201);
  EXPECT_TRUE(answer.body.starts_with(R"({"item": {"sku": "A-100", "created": ")")) << answer.body;
  EXPECT_TRUE(contains(answer.body, R"("tags": {"count": "2", "first": "new"}, "empty": {}}})"))
      << answer.body;
}

TEST_F(Examples, SecureDecryptsLooksUpAndSigns) {
  const wz::test::OpensslCommand openssl;
  const std::string iv = "0f0e0d0c0b0a09080706050403020100";
  const auto ask = [&](const std::string& key, const std::string& account) {
    const std::string field =
        openssl.run("enc -aes-128-cbc -a -A -K " + key + " -iv " + iv, account);
    return client_.post(url("/secure/balance"),
                        "<iv>" + iv + "</iv><account>" + field + "</account>");
  };
  const std::string key = "00112233445566778899aabbccddeeff";
  const std::string private_key =
      EXAMPLES_FOLDER "/correlation/demo/shop/services/secure/data/signing_key.pem";
  const std::string signature =
      openssl.run("base64 -A", openssl.run("dgst -sha256 -sign " + private_key, "DE-4712=-17.30"));
  EXPECT_EQ(ask(key, "DE-4712").body,
            R"({"account": "DE-4712", "balance": -17.30, "signature": ")" + signature + "\"}\n");
  EXPECT_EQ(ask(key, "DE-9999").status, 404);
  EXPECT_EQ(ask(iv, "DE-4712").status, 400);
  EXPECT_EQ(client_.post(url("/secure/balance"), "<iv>1</iv>").status, 400);
}

TEST_F(Examples, InventoryNeverSellsTwice) {
  const std::string goods = url("/inventory?sku=B-200");
  EXPECT_EQ(client_.get(goods).body,
            R"({"sku": "B-200", "name": "Folder, A4", "quantity": 3, "price": 1.25, )"
            R"("warehouse": "south, hall 2"})"
            "\n");
  EXPECT_EQ(client_.post(url("/inventory?sku=B-300&quantity=1"), "").status, 404);
  EXPECT_EQ(client_.post(goods + "&quantity=0", "").status, 422);
  EXPECT_EQ(client_.post(goods + "&quantity=4", "").status, 409);
  std::atomic<int> sold{0};
  std::vector<std::thread> customers;
  for (int i = 0; i < 4; ++i) {
    customers.emplace_back([&] {
      HttpClient customer;
      for (int tries = 0; tries < 20; ++tries) {
        sold += customer.post(goods + "&quantity=1", "").status == 200 ? 1 : 0;
      }
    });
  }
  for (std::thread& customer : customers) {
    customer.join();
  }
  EXPECT_EQ(sold, 3);
  EXPECT_TRUE(contains(client_.get(goods).body, R"("quantity": 0,)"));
  EXPECT_TRUE(contains(wz::test::content_of(vsd_->root() / "state/stock.csv"),
                       "\nB-200|Folder, A4|0|1.25\n"));
}

TEST_F(Examples, ConditionsChooseServiceAndResponse) {
  const std::string pay = "<payment xmlns='urn:example:payments'><amount>";
  const std::tuple<std::string, std::vector<std::string>, long, std::string> posts[] = {
      {pay + "1001</amount></payment>", {}, 202, "to be reviewed\n"},
      {pay + "999</amount></payment>", {}, 422, "refused\n"},
      {R"({"customer":{"level":"gold"}})", {}, 200, "accepted\n"},
      {"<note>none</note><note>ASAP</note>", {}, 202, "to be reviewed\n"},
      {pay + "1001</amount></payment>", {"X-Env: test"}, 200, "accepted for test\n"},
  };
  for (const auto& [body, headers, status, text] : posts) {
    const auto answer = client_.post(url("/payments/7"), body, headers);
    EXPECT_EQ(answer.status, status) << body;
    EXPECT_EQ(answer.body, text) << body;
  }
  EXPECT_EQ(client_.get(url("/order/7/status")).body, "Order 7: shipped.\n");
  EXPECT_EQ(client_.get(url("/order/999/status")).status, 410);
  EXPECT_EQ(client_.get(url("/order/7/status?detail=1"), {"Cookie: role=staff"}).body,
            "Order 7: shipped from warehouse 3.\n");
  EXPECT_TRUE(client_.get(url("/order/7/status"), {"Accept: a/Json"}).body.starts_with("{\"order"));
  const auto none = client_.get(url("/order/7/stat"));
  EXPECT_EQ(none.status, 404);
  EXPECT_TRUE(contains(none.headers, "\r\nContent-Type: text/plain\r\n")) << none.headers;
  EXPECT_TRUE(contains(none.body, "\n  order_status: path must be \"/order/*/status\" but is "))
      << none.body;
}

TEST_F(Examples, CustomersAreMadeUp) {
  const std::regex form(
      R"re(    \{"id": "[0-9a-f-]{36}", "code": "[A-Z0-9]{8}", "name": "([^"]+)", "email": "[^"@]+@example\.\w+", )re"
      R"re("phone": "\+49 [\d ]+",\n     "address": "[^"]+, \d{5} [^"]+", "iban": "(DE\d{20})", )re"
      R"re("born": "(19|20)\d\d-\d\d-\d\d", "newsletter": (true|false)\},?\n)re");
  std::set<std::string> managers;
  std::set<std::string> accounts;
  for (int i = 0; i < 4; ++i) {
    const auto answer = client_.get(url("/customers"));
    EXPECT_EQ(answer.status, 200);
    managers.insert(answer.body.substr(0, answer.body.find('\n')));
    std::sregex_iterator customer(answer.body.begin(), answer.body.end(), form);
    EXPECT_EQ(std::distance(customer, std::sregex_iterator()), 3) << answer.body;
    for (; customer != std::sregex_iterator(); ++customer) {
      accounts.insert((*customer)[2]);
    }
  }
  EXPECT_EQ(managers.size(), 1U);   // one connection
  EXPECT_EQ(accounts.size(), 12U);  // each use is another one
}

TEST_F(Examples, ThousandRequestsUseOneConnection) {
  for (int i = 0; i < 1000; ++i) {
    const auto id = std::to_string(i);
    const auto answer = client_.post(url("/order"), "<orderId>" + id + "</orderId>");
    ASSERT_EQ(answer.status, i == 999 ? 202 : 200);
    ASSERT_TRUE(contains(answer.body, "<orderId>" + id + "</orderId>"));
  }
  EXPECT_EQ(client_.connections(), 1);
}

TEST_F(Examples, EchoGivesBackMethodUrlHeadersAndLargeBodies) {
  for (const std::size_t size : {64U << 10U, 1U << 20U}) {
    std::string body(size, 'b');
    body[size / 2] = '\0';
    for (const char* header : {"Expect:", "Expect: 100-continue", "Transfer-Encoding: chunked"}) {
      const auto answer = client_.post(url("/echo?a=1"), body, {"User-Agent: tester", header});
      EXPECT_EQ(answer.status, 200) << header;
      EXPECT_TRUE(answer.body.starts_with("method: POST\nurl: /echo?a=1\nhost: 127.0.0.1"))
          << header;
      EXPECT_TRUE(contains(answer.body.substr(0, 200), "agent: tester\n")) << header;
      EXPECT_TRUE(answer.body.ends_with("\n\n" + body)) << size << header;
    }
  }
}

TEST_F(Examples, FlakyTakesItsTimeAndGoesWrongOnPurpose) {
  std::string report;
  for (int i = 0; i < 8; ++i) {
    report += "All is well.\n";
  }
  const auto ask = [&](const std::string& how) {
    const RawClient client(vsd_->port());
    const auto start = std::chrono::steady_clock::now();
    client.send("GET /flaky?how=" + how + " HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
    const std::string answer = client.receive();
    EXPECT_EQ(errno == ECONNRESET, how == "reset") << how;
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
    return answer;
  };
  errno = 0;
  EXPECT_TRUE(ask("").ends_with(report));
  EXPECT_TRUE(ask("slow").ends_with("\r\n\r\n" + report));
  const auto cut = ask("cut");
  EXPECT_TRUE(contains(cut, "\r\nContent-Length: 104\r\n")) << cut;
  EXPECT_TRUE(cut.ends_with("\r\n\r\n" + report.substr(0, 52)));
  EXPECT_EQ(ask("garbage").size(), 256U);
  EXPECT_EQ(ask("empty"), "");
  EXPECT_EQ(ask("reset"), "");
}

TEST_F(Examples, ARequestCutAtEveryByteIsAnsweredTheSame) {
  const std::string request =
      "POST /order?cust=Ann HTTP/1.1\r\nHost: a\r\nContent-Length: 21\r\n\r\n"
      "<orderId>77</orderId>";
  const RawClient client(vsd_->port());
  const auto answer = [&](std::size_t cut) {
    client.send(request.substr(0, cut));
    client.send(request.substr(cut));
    const auto text = client.receive("</orderResponse>\n");
    return text.substr(text.find("\r\n\r\n"));
  };
  const auto whole = answer(0);
  ASSERT_TRUE(contains(whole, "<orderId>77</orderId>"));
  for (std::size_t cut = 1; cut < request.size(); ++cut) {
    ASSERT_EQ(answer(cut), whole) << cut;
  }
}

}  // namespace
}  // namespace vsd::test
