// Headers of forwarded requests and of JMS messages.
#include <wz/wzlb_alloc.h>

#include <string>

#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::ScriptTest;

class ForwardTest : public ScriptTest {
 protected:
  // A service with a script, so that its block may be written to.
  void SetUp() override {
    folder().write("script.c", "/* empty */");
    serve("wz_scratch_var(a);");
  }
  void TearDown() override {
    WZLB_FREE(block().jms_header, "cr_scptr->jms_header", -1);  // a host's end frees it
  }
  const cr_scontents& block() { return service().block(); }
};

TEST_F(ForwardTest, CollectsRequestHeaders) {
  start_logs();
  wz_set_forward_request_hdr(nullptr);
  EXPECT_EQ(current().url_data, nullptr);
  wz_set_forward_request_hdr(arg("A: 1"));
  wz_set_forward_request_hdr(arg("B: 2"));
  wz_set_http_hdr(arg("C: 3"));
  EXPECT_STREQ(current().url_data->forward_req_header, "A: 1\r\nB: 2\r\n");
  EXPECT_EQ(current().url_data->forward_req_header_len, 12);
  EXPECT_STREQ(current().url_data->http_hdrs, "C: 3\r\n");
  EXPECT_NE(debug_log().find("|Forward req eader is 'A: 1\r\nB: 2\r\n' and header length is 12"),
            std::string::npos);
}

TEST_F(ForwardTest, AddsJmsPropertiesToTheService) {
  start_logs();
  wz_set_tibco_hdr(arg("yes"), 11, 5);
  wz_set_tibco_hdr(arg("no"), 11, 0);
  wz_set_tibco_hdr(arg("refused"), 16, 7);
  wz_set_tibco_hdr(arg("byte"), 12, 0x1FF);
  request(wz::test::kPlainHead);
  wz_set_tibco_hdr(arg("double"), 13, 1.5);
  wz_set_tibco_hdr(arg("float"), 14, 0.1);
  wz_set_tibco_hdr(arg("int"), 15, -7);
  wz_set_tibco_hdr(arg("short"), 17, 0x18000);
  wz_set_tibco_hdr(arg("long"), 18, 1LL << 40);
  wz_set_tibco_hdr(arg("refused"), 10, 7);
  wz_set_tibco_hdr(arg(std::string(300, 'n').c_str()), 15, 1);
  wz_set_tibco_hdr(nullptr, 15, 1);
  ASSERT_EQ(block().num_jms_headers, 9);
  const JMS_Header* const all = block().jms_header;
  EXPECT_STREQ(all[2].jms_header, "byte");
  EXPECT_EQ(all[0].value.byte, 1);
  EXPECT_EQ(all[1].value.byte, 2);
  EXPECT_EQ(all[2].value.byte, -1);
  EXPECT_EQ(all[3].value.real, 1.5);
  EXPECT_EQ(all[4].value.single, 0.1F);
  EXPECT_EQ(all[5].value.int32, -7);
  EXPECT_EQ(all[6].value.int16, -32768);
  EXPECT_EQ(all[7].value.int64, 1LL << 40);
  EXPECT_EQ(all[7].type, 18);
  EXPECT_EQ(std::string(all[8].jms_header), std::string(255, 'n'));
  wz::test::expect_in_order(debug_log(),
                            {"|Header is 'no'.", "|Invalid Header.", "|Header is 'byte'."});
}

}  // namespace
