#include "daemon/service/request_runner.h"

#include <gtest/gtest.h>

#include <optional>

#include "daemon/service/check.h"
#include "tests/support/temporary_folder.h"

namespace vsd {
namespace {

// A work directory whose services are prepared, built and served without any socket.
class RequestRunner : public testing::Test {
 protected:
  using Files = std::vector<std::pair<std::string, std::string>>;

  void serve(const Files& files) {
    for (const auto& [name, text] : files) {
      folder.write("correlation/p/s/services/" + name, text);
    }
    const auto settings = make_script_build_settings(folder.path(), "cc", "-Werror");
    PreparedServices prepared = prepare_services(folder.path(), settings);
    problems = prepared.errors;
    image.emplace(ServiceImage::build(prepared.services));
    states.emplace(image->size());
    runner.emplace(*image, load_scripts(prepared, problems), guard, *states);
  }

  const http::Response& ask(std::string_view method, std::string_view target,
                            std::string_view headers = "", std::string_view body = "") {
    head = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n" +
           std::string(headers) + "\r\n";
    http::Request request;
    request.method = method;
    request.target = target;
    request.head = head;
    request.body = body;
    request.has_if_none_match = head.find("If-None-Match") != std::string::npos;
    response.clear();
    runner->handle(request, response);
    return response;
  }

  wz::test::TemporaryFolder folder;
  std::vector<Problem> problems;
  std::optional<ServiceImage> image;
  WorkerSlot slot{};
  ScriptGuard guard{slot};
  std::optional<ServiceStates> states;
  std::optional<ServiceRunner> runner;
  std::string head;
  http::Response response;
};

// What the example services do not show: a fallback that is declared first, references in a
// condition, and what holds only before the response is sent.
TEST_F(RequestRunner, ChoosesAndMerges) {
  serve({{"a/service.wz",
          "wz_service(a, url=\"/a\");\nwz_query_var(x);\nwz_query_var(y);\n"
          "wz_response(any, file=\"any.xml\");\nwz_response(no, file=\"any.xml\", status=410, "
          "when=\"{x}\", equals=\"no\");\nwz_response(two, file=\"two.json\", status=201, "
          "header=\"X-Fixed: 1\", when=\"{x}-{y}\", equals=\"1-2\");\n"},
         {"a/any.xml", "<a/>"},
         {"a/two.json", R"({"x":{"y":"{y}"}})"},
         {"a/script.c",
          "#include <wz/wz_script.h>\n"
          "void pre_send(void) {\n"
          "  if (wz_get_url() != 0) wz_set_http_status_code(599);\n"
          "  if (wz_http_req_has_validator_if_none_match())\n"
          "    wz_http_set_response_line(\"HTTP/1.1 304 Same\\r\\n\");\n"
          "}\n"}});
  ASSERT_TRUE(problems.empty()) << to_string(problems[0]);
  EXPECT_EQ(ask("GET", "/a?x=1&y=2").status, 201);
  EXPECT_EQ(response.body, R"({"x":{"y":"2"}})");
  EXPECT_EQ(response.headers, "X-Fixed: 1\r\nContent-Type: application/json\r\n");
  EXPECT_EQ(ask("GET", "/a?x=no").status, 410);
  EXPECT_EQ(ask("GET", "/a").status, 200);
  EXPECT_EQ(response.headers, "Content-Type: text/xml\r\n");
  ask("HEAD", "/a", "If-None-Match: \"a\"\r\n");
  EXPECT_EQ(response.status_line, "HTTP/1.1 304 Same");
  EXPECT_EQ(cur_cptr, nullptr);
  EXPECT_EQ(cur_url, nullptr);
}

TEST_F(RequestRunner, KeepsRequestsAndServicesApart) {
  serve({{"a/service.wz",
          "wz_service(a, method=POST, url=\"/a\");\nwz_request_var(b, part=body);\n"
          "wz_scratch_var(once);\nwz_scratch_array(list, size=2);\n"
          "wz_response(r, file=\"r.bin\");\n"},
         {"a/r.bin", "[{b}|{once}{list_2}]"},
         {"a/script.c",
          "#include <wz/wz_script.h>\nstatic int count;\n"
          "void post_recv(void) { if (count++ == 0) wz_save_string(\"first\", \"list_2\"); }\n"},
         {"b/service.wz", "wz_service(b, url=\"/b\");\nwz_response(r, file=\"r.txt\");\n"},
         {"b/r.txt", "{b}{{}}"}});
  ASSERT_TRUE(problems.empty()) << to_string(problems[0]);
  const std::string binary("x\0{once}\xff", 9);
  EXPECT_EQ(ask("POST", "/a", "", binary).body, "[" + binary + "|first]");
  EXPECT_EQ(response.headers, "Content-Type: application/octet-stream\r\n");
  EXPECT_EQ(ask("GET", "/b").body, "{b}{{}}");
  EXPECT_EQ(ask("POST", "/a", "", "y").body, "[y|]");
  EXPECT_EQ(ask("POST", "/a").body, "[|]");
  EXPECT_EQ(slot.served, 4U);

  ask("PUT", "/b");
  EXPECT_EQ(response.status, 405);
  EXPECT_EQ(response.headers, "Allow: GET, HEAD\r\nContent-Type: text/plain\r\n");
  const std::tuple<const char*, const char*, int> targets[] = {
      {"POST", "/a?cust=7?", 200}, {"HEAD", "/b?", 200}, {"post", "/a", 405}, {"GET", "/b/", 404},
      {"GET", "/c?/a", 404},       {"GET", "?/b", 404},  {"GET", "", 404},    {"GET", "/%62", 404}};
  for (const auto& [method, target, status] : targets) {
    EXPECT_EQ(ask(method, target).status, status) << method << target;
  }
  (*states)[1].out_of_service = true;
  EXPECT_EQ(ask("GET", "/b").status, 503);
  EXPECT_EQ(ask("POST", "/a").status, 200);
}

TEST_F(RequestRunner, PreparesWhatIsRightAndReportsTheRest) {
  const std::string response_line = "wz_response(r, file=\"r.txt\");\n";
  serve({{"good/service.wz", "wz_service(good, url=\"/good\");\n" + response_line},
         {"good/r.txt", "fine"},
         {"bad/service.wz", "wz_service(bad, url=\"/bad\");\nwz_nonsense(x);\n" + response_line},
         {"bad/r.txt", ""},
         {"bad/script.c", "void post_recv(void) {}\n\nint x = y;\n"},
         {"empty/notes.txt", ""},
         {"twin/service.wz",
          "wz_service(twin, url=\"/good\", method=\"PUT|GET\");\n" + response_line},
         {"twin/r.txt", ""},
         {"script/service.wz", "wz_service(script, url=\"/script\");\n" + response_line},
         {"script/r.txt", ""},
         {"script/script.c", "void pre_send(void) {\n  no_such_function();\n}\n"}});
  std::vector<std::string> places;
  for (const Problem& problem : problems) {
    const auto file = problem.file.parent_path().filename() / problem.file.filename();
    places.push_back(file.string() + ":" + std::to_string(problem.line));
  }
  EXPECT_EQ(places,
            (std::vector<std::string>{"bad/script.c:3", "bad/service.wz:2", "empty/service.wz:0",
                                      "script/script.c:2", "twin/service.wz:1"}));
  EXPECT_EQ(ask("GET", "/good").body, "fine");
  EXPECT_EQ(ask("GET", "/bad").status, 404);
  EXPECT_EQ(ask("GET", "/script").status, 404);
}

}  // namespace
}  // namespace vsd
