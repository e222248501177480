// The raw request, request numbers, fields, service times and what is done to the connection.
#include <sys/socket.h>
#include <wz/wzlb_poi.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <vector>

#include "tests/script/script_test.h"
#include "tests/support/statistics.h"

namespace {

using wz::test::arg;
using wz::test::ScriptTest;
using wz::test::stderr_of;

class RequestDataTest : public ScriptTest {
 protected:
  void SetUp() override { serve("wz_scratch_var(a);"); }

  // The current request again, in blocks.
  void begin_with_blocks(std::string_view head, std::string_view body) {
    vsd::http::Request text;
    text.head = head;
    text.body = body;
    state().begin(service(), text, true);
  }
};

TEST_F(RequestDataTest, ReadsTheRequestInBlocks) {
  const std::string head = "POST /test HTTP/1.1\r\n\r\n";
  for (const std::size_t size : {0U, 1U, 998U, 999U, 1000U, 5000U}) {
    std::string body(size, 'b');
    for (std::size_t i = 0; i < size; ++i) {
      body[i] = static_cast<char>(i % 251);
    }
    begin_with_blocks(head, body);
    int left = 0;
    std::string read;
    int blocks = 0;
    for (const RequestBuffer* block = wz_get_request_buf(&left); block != nullptr;
         block = block->next) {
      const int length = std::min(left, VSD_REQUEST_BLOCK_SIZE);
      read.append(block->buffer, static_cast<std::size_t>(length));
      left -= length;
      ++blocks;
    }
    EXPECT_EQ(read, head + body);
    EXPECT_EQ(blocks, static_cast<int>((head.size() + size + 1021) / 1022));
  }
  start_logs();
  EXPECT_NE(wz_get_request_buf(nullptr), nullptr);
  wz_free_request_buf();
  int size = 7;
  EXPECT_EQ(wz_get_request_buf(&size), nullptr);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(wz_get_http_hdr(arg("Host")), nullptr);
  EXPECT_NE(debug_log().find("Return request buffer size = 5023, Buffer = POST /test"),
            std::string::npos);
  begin_with_blocks(head, "x");
  scontents keeper = *current().scptr;
  keeper.service_type = 3;
  std::swap(keeper.cr_scptr_idx, keeper.cr_resp_file_idx);  // nothing of the service is looked up
  scontents* const before = std::exchange(current().scptr, &keeper);
  wz_free_request_buf();
  EXPECT_NE(wz_get_request_buf(&size), nullptr);
  current().scptr = before;
}

TEST_F(RequestDataTest, NumbersRequestsByKey) {
  const auto numbers = [](const char* key, int reset) {
    std::vector<int> drawn(5);
    for (int& number : drawn) {
      number = wz_get_req_seq_number(arg("ignored"), arg(key), reset);
    }
    return drawn;
  };
  EXPECT_EQ(numbers("wrapping", 3), (std::vector{0, 1, 2, 0, 1}));
  EXPECT_EQ(numbers("endless", 0), (std::vector{0, 1, 2, 3, 4}));
  EXPECT_EQ(wz_get_req_seq_number(nullptr, arg("wrapping"), 3), 2);
  EXPECT_EQ(wz_get_req_seq_number(nullptr, nullptr, 3), -1);
}

TEST_F(RequestDataTest, SplitsFields) {
  std::array<char*, 3> fields{};
  std::string text = ",a,,b,c,";
  EXPECT_EQ(wz_get_tokens_api(text.data(), fields.data(), arg(","), 3), 3);
  EXPECT_STREQ(fields[2], "c");
  text = "a,b,c";
  fields[2] = nullptr;
  EXPECT_EQ(
      stderr_of([&] { EXPECT_EQ(wz_get_tokens_api(text.data(), fields.data(), arg(","), 2), 2); }),
      "Total fields are more than max fields (2), remaining fields are ignored\n");
  EXPECT_STREQ(fields[1], "b");
  EXPECT_EQ(fields[2], nullptr);
  EXPECT_EQ(wz_get_tokens_api(nullptr, fields.data(), arg(","), 2), 0);
}

TEST_F(RequestDataTest, ServesTimesByMode) {
  EXPECT_EQ(wz_get_svc_time(1, 0, 0), -1);  // no generators yet
  EXPECT_EQ(wz_get_svc_time(3, 0, 9), -1);
  vsd::seed_host_generators(11, 0, 500);
  EXPECT_EQ(wz_get_svc_time(0, 5, 9), 0);
  EXPECT_EQ(wz_get_svc_time(2, 5, 9), 5);
  EXPECT_EQ(wz_get_svc_time(5, 5, 9), -1);
  EXPECT_EQ(wz_get_svc_time(-1, 5, 9), -1);
  EXPECT_EQ(wz_get_svc_time(3, 7, 7), 7);
  EXPECT_EQ(wz_get_svc_time(3, 7, 2), 7);
  std::vector<int> counts(20);
  double sum = 0;
  for (int i = 0; i < 20000; ++i) {
    ++counts.at(static_cast<std::size_t>(wz_get_svc_time(3, 100, 120) - 100));
    sum += wz_get_svc_time(1, 0, 0);
  }
  EXPECT_LT(wz::test::chi_square(counts), wz::test::chi_square_limit(19));
  EXPECT_NEAR(sum / 20000, 500, 12);
}

TEST_F(RequestDataTest, ServiceTimeGrowsWithTheLoad) {
  vsd::set_full_load(100);
  const std::tuple<unsigned long long, int, int, int> cases[] = {
      {0, 50, 200, 50},   {50, 50, 200, 100}, {100, 50, 200, 200},    {100000, 50, 200, 200},
      {50, 200, 50, 100}, {7, 30, 30, 30},    {~0ULL, 1, 2000, 2000}, {5, 0, 100, 0}};
  for (const auto& [load, idle, full, expected] : cases) {
    g_req_count = load;
    EXPECT_NEAR(wz_get_svc_time(4, idle, full), expected, 1) << load;
  }
}

TEST_F(RequestDataTest, StuffOfTheConnection) {
  start_logs();
  wz_ka_time(17);
  EXPECT_EQ(current().keep_alive_timeout, 17);
  int length = -1;
  EXPECT_EQ(wz_http_forward_req(arg("h:1"), 2, &length), nullptr);
  EXPECT_EQ(length, 0);
  check_alloc_url_data();
  current().url_data->response_len = 42;
  EXPECT_EQ(wz_http_forward_req(nullptr, 0, &length), nullptr);
  EXPECT_EQ(length, 42);
  EXPECT_EQ(wz_http_send_forward_rep_to_client(nullptr, 0), 0);
  EXPECT_EQ(current().flag & 64, 64);
  wz::test::expect_in_order(debug_log(), {"Method called keep_alive_timeout = 17",
                                          "Method called. server_addr = h:1, proto 2"});
  EXPECT_EQ(wz_get_controller_name(), nullptr);
  const std::string name = "east";
  vsd::set_controller_name(name);
  EXPECT_STREQ(wz_get_controller_name(), "east");
  vsd::set_controller_name("");
}

TEST_F(RequestDataTest, ResetsTheConnection) {
  std::array<int, 2> pair{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
  int released = -1;
  vsd::set_socket_release([&released](int socket) { released = socket; });
  current().fd = pair[0];
  EXPECT_EQ(wz_reset_connection(), 0);
  EXPECT_EQ(wz_reset_connection(), 0);
  EXPECT_EQ(released, pair[0]);
  EXPECT_EQ(current().fd, -1);
  char byte = 0;
  EXPECT_EQ(recv(pair[1], &byte, 1, 0), 0);
  close(pair[1]);
  vsd::set_socket_release(nullptr);
}

}  // namespace
