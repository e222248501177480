// One reference of every kind, through the real host operations: what the other tests of this
// folder stand on.
#include "tests/support/service_fixture.h"

#include <wz/wz_script.h>

#include <cstring>
#include <string>

namespace {

using wz::test::ServiceFixture;

class ServiceFixtureTest : public ServiceFixture {
 protected:
  static std::string eval(std::string_view text) {
    return wz_eval_string(std::string(text).data());
  }
};

TEST_F(ServiceFixtureTest, EvaluatesEveryKindOfVariable) {
  folder().write("prices.csv", "pen,1.20\nink,7.50\n");
  serve(R"(
      wz_query_var(customer, name=cust);   wz_search_var(sku, LB="<sku>", RB="</sku>", in=body);
      wz_request_var(all, part=body);
      wz_scratch_var(note);
      wz_scratch_array(items, size=3);
      wz_index_var(price, file="prices.csv", key=sku);
      wz_search_var(first, LB="[", RB="]", in=note);)",
        "POST /test?cust=J%C3%B8rn+B HTTP/1.1\r\n\r\n", "<sku>ink</sku>");
  set_array("items", {"a", nullptr, "c"});
  EXPECT_EQ(wz_save_string("x[y]z", "note"), 0);
  EXPECT_EQ(eval("{customer}|{sku}|{all}|{price}|{note}|{first}"),
            "J\xC3\xB8rn B|ink|<sku>ink</sku>|7.50|x[y]z|y");
  EXPECT_EQ(eval("{items_1}{items_2}{items_3}{items_count}|{http_method}|{fwd_port}|{none}"),
            "ac3|POST||{none}");
  EXPECT_STREQ(wz_get_url(), "/test?cust=J%C3%B8rn+B");
  forward_to("backend.example", 8443, VSD_PROTO_HTTPS);
  EXPECT_EQ(eval("{fwd_protocol}://{fwd_hostname}:{fwd_port}"), "https://backend.example:8443");
}

TEST_F(ServiceFixtureTest, StartsEveryRequestAfresh) {
  serve("wz_scratch_var(note); wz_scratch_array(items, size=2); wz_query_var(q);",
        "GET /test?q=1 HTTP/1.1\r\n\r\n");
  wz_save_string("left over", "note");
  wz_save_string("left over", "items_2");
  wz_set_http_hdr(const_cast<char*>("X: left over"));
  request("GET /test HTTP/1.1\r\n\r\n");
  EXPECT_EQ(value("note"), std::nullopt);
  EXPECT_EQ(value("q"), std::nullopt);
  EXPECT_EQ(element("items", 2), std::nullopt);
  EXPECT_EQ(entry("items").length, 2U);
  EXPECT_EQ(current().url_data, nullptr);
  finish();
  EXPECT_EQ(cur_cptr, nullptr);
  EXPECT_EQ(wz_get_url(), nullptr);
}

}  // namespace
