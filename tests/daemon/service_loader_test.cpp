#include "daemon/service/service_loader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace {

using wz::test::TemporaryFolder;

constexpr std::string_view kService = "wz_service(s, url=\"/s\");\n";
constexpr std::string_view kResponse = "wz_response(r, file=\"r.txt\");\n";

class ServiceReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { folder_.write("r.txt", "text"); }

  vsd::ServiceDefinition read(std::string_view text) {
    vsd::ServiceDefinition service;
    service.folder = folder_.path();
    service.file = "service.wz";
    problems_.clear();
    vsd::read_service(text, service, problems_);
    return service;
  }

  TemporaryFolder folder_;
  std::vector<vsd::Problem> problems_;
};

TEST_F(ServiceReaderTest, ReadsEveryDeclaration) {
  folder_.write("data/stock.csv", "pen|7|1.20\r\nink|0|7.50\npen|9|9\nshort|1\n");
  folder_.write("ok.xml", "<ok id='{order_id}'/>");
  const auto service = read(
      "\xEF\xBB\xBF# comment; with (brackets) and \"quotes\n"
      "wz_service(orders, method=\"POST | PUT\", url=\"/order\"); # and behind one\r\n"
      "wz_scratch_var(a);  wz_scratch_array(items, size=10); wz_request_var(raw, part=head)\n"
      "wz_search_var(order_id, LB=\"<id>);\\\"#\",\n"
      "# a comment inside\n"
      "    RB=\"</id>\", in=a, ORD=any, SaveOffset=1, SaveLen=2, ignorecase=yes,\n"
      "    Method=\"Trim|Upper\", Convert=TextToHex, RE=RB\n"
      ");\n"
      "wz_query_var(customer, name=cust, decode=NO);\n"
      "wz_date_var(today, format=\"%d, %m\", offset=+1);\n"
      "wz_index_var(price, file=\"data/stock.csv\", delimiter=\"|\", key=order_id, column=3);\n"
      "wz_response(ok, file=\"ok.xml\", status=201, header=\"A: 1\", header=\"B: 2\");\n"
      "wz_response(none, file=\"r.txt\", when=\"{order_id}\", equals=\"\", type=\"a/b\");\n"
      "wz_svc_time(value1=20, mode=fixed);\n"
      "wz_response(cut, fault=Reset, when=\"{a}\", equals=1);\n"
      "wz_response(slow, file=\"r.txt\", fault=\"slow(1000)\", when=\"{a}\", equals=2);\n");
  for (const auto& problem : problems_) {
    ADD_FAILURE() << to_string(problem);
  }
  EXPECT_EQ(service.methods, (std::vector<std::string>{"POST", "PUT"}));
  ASSERT_EQ(service.variables.size(), 7U);
  EXPECT_EQ(std::get<vsd::ScratchSource>(service.variables[1].source).elements, 10U);
  const auto& search = std::get<vsd::SearchSource>(service.variables[3].source);
  EXPECT_EQ(service.variables[3].line, 4);
  EXPECT_EQ(search.left, "<id>);\"#");
  EXPECT_EQ(search.ordinal, WZ_ORD_ANY);
  EXPECT_EQ(search.save_offset, 1);
  EXPECT_EQ(search.save_length, 2);
  EXPECT_TRUE(search.ignore_case && search.right_is_regex && !search.left_is_regex);
  EXPECT_EQ(search.methods, "\6\2");
  EXPECT_EQ(search.convert, 9);
  EXPECT_EQ(std::get<vsd::DateSource>(service.variables[5].source).day_offset, 1);
  const auto& rows = std::get<vsd::IndexSource>(service.variables[6].source).rows;
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(service.service_time.mode, vsd::ServiceTimeMode::fixed);
  EXPECT_EQ(service.service_time.value1, 20);
  EXPECT_EQ(service.responses[2].fault, vsd::http::Fault::reset);
  EXPECT_EQ(service.responses[3].fault, vsd::http::Fault::slow);
  EXPECT_EQ(service.responses[3].bytes_per_second, 1000U);
  EXPECT_EQ(rows[0].key + rows[0].value + rows[1].key + rows[1].value, "ink7.50pen1.20");
}

TEST_F(ServiceReaderTest, NamesEveryFault) {
  // The line stands on line 3, between a good service and a good response.
  constexpr std::pair<std::string_view, std::string_view> cases[] = {
      {"wz_scrap_var(a);", "unknown declaration 'wz_scrap_var'"},
      {"wz_scratch_var(a;", "the bracket of this declaration is not closed"},
      {"wz_scratch_var(a) x;", "unexpected characters (x;) after closing bracket"},
      {"wz_query_var(a, name=\"b);", "a double quote is not closed on its line"},
      {"wz_scratch_var();", "wz_scratch_var: the name is missing"},
      {"wz_scratch_var(1a);", "'1a' is no name"},
      {"wz_scratch_var(a, b);", "unknown keyword 'b'"},
      {"wz_scratch_array(a, size=0);", "size=0 is wrong: it must be a number from 1"},
      {"wz_query_var(a, name=x, NAME=y);", "name= is given more than once"},
      {"wz_query_var(a, decode=maybe);", "decode=maybe is wrong: it must be one of YES, NO"},
      {"wz_search_var(a, LB=\"\", RB=x);", "LB= has no value"},
      {"wz_search_var(a, LB=x, RB=y, in=b);", "in=b is neither body, head, url nor a variable"},
      {"wz_search_var(a, LB=x, RB=y, in=a);", "in=a is no scratch variable"},
      {"wz_search_var(a, LB=\"(\", RB=y, RE=LB);", "LB= is no regular expression"},
      {"wz_date_var(a);", "wz_date_var: "},
      {"wz_random_number_var(a, min=2, max=2, format=%d);",
       "wz_random_number_var: Minimum option value should be less than Maximum"},
      {"wz_random_number_var(a, max=2, format=%u);",
       "wz_random_number_var: format= must have exactly one integer conversion"},
      {"wz_random_string_var(a, min=x, max=2, Charset=a);",
       "wz_random_string_var: 'Minimum' option can only have numeric value."},
      {"wz_random_string_var(a, Class=no.such);", "'Class' option value is not in correct format"},
      {"wz_unique_number_var(a, format=%8lu);", "should start with '0' in Unique Number parameter"},
      {"wz_unique_number_var(a, format=%08lu, size=3);", "unknown keyword 'size'"},
      {"wz_index_var(a, file=\"none.csv\", key=a);", "file none.csv is missing"},
      {"wz_index_var(a, file=\"r.txt\", key=b);", "key=b is no search"},
      {"wz_index_datasource(a, file=\"none.csv\", columns=\"k,v\");", "file none.csv is missing"},
      {"wz_index_datasource(a, file=\"r.txt\", columns=\"k\");", "a key and at least one more"},
      {"wz_index_datasource(a, file=\"r.txt\", columns=\"k,v,k\");", "'k' stands there twice"},
      {"wz_index_datasource(a, file=\"r.txt\", columns=\"k,\");", "1 to 127 printable characters"},
      {"wz_index_datasource(a, file=\"r.txt\", columns=\"k,v\", delimiter=ab);", "one character"},
      {"wz_index_datasource(a, file=\"r.txt\", columns=\"k,v\", persist=1);", "one of 0, 2"},
      {"wz_global_index_var(a, source=b, key=a, column=c);", "key=a is no variable that has one"},
      {"wz_scratch_var(k); wz_global_index_var(a, source=b, key=k, column=c);",
       "source=b is no wz_index_datasource of this service"},
      {"wz_service(again, url=\"/x\");", "wz_service: is given more than once"},
      {"wz_response(r, file=\"r.txt\", when=a, equals=b);", "'r' is declared already on line 3"},
      {"wz_response(x, file=\".\", when=a, equals=b);", "file . is missing or cannot be read"},
      {"wz_match(equals=a);", "there is nothing to match"},
      {"wz_match(query=a, header=b);", "header= is a condition of its own"},
      {"wz_match(query=a, equals=b, regex=c);", "exclude each other"},
      {"wz_match(query=a, regex=\"a(\");", "regex= is no regular expression: missing closing"},
      {"wz_match(query=a, contains=\"\");", "contains= has no value"},
      {"wz_match(query=a, response=b);", "wz_match: there is no response 'b'"},
      {"wz_match(query=a, ns=\"b=c\");", "unknown keyword 'ns'"},
      {"wz_match(LB=a);", "RB= is missing"},
      {"wz_match(LB=a, RB=b, ORD=ANY);", "ORD=ANY would match by chance"},
      {"wz_match(body_xpath=\"/a[\");", "body_xpath= is no XPath expression: wrong at character 4"},
      {"wz_match(body_xpath=\"/a:b\", ns=a);", "ns=a is wrong: it must be a prefix"},
      {"wz_match(body_xpath=\"child::a[b:c='d:e']\");", "the prefix 'b', which no ns="},
      {"wz_match(body_json=\"a\");", "body_json=a is wrong: a JSON pointer starts"},
      {"wz_match(body_json=\"/~2\");", "'~' is followed by 0 or 1"},
      {"wz_response(x, file=\"r.txt\", when=a, equals=b, query=c);", "need lines of their own"},
      {"wz_response(x, file=\"r.txt\", when=a);", "when= and equals= belong together"},
      {"wz_response(x, file=\"r.txt\", header=\"no colon\");", "header=no colon is wrong"},
      {"wz_response(x);", "file= is missing"},
      {"wz_response(x, fault=slow);", "fault=slow is wrong: it must be one of reset"},
      {"wz_response(x, fault=\"slow(0)\");", "fault=slow(0) is wrong"},
      {"wz_response(x, fault=\"slow(9)\");", "file= is missing"},
      {"wz_response(x, forward=\"ftp://h\");", "forward=ftp://h is wrong: it must be http://"},
      {"wz_response(x, forward=\"http://u:p@h/\");", "forward=http://u:p@h/ is wrong"},
      {"wz_response(x, forward=\"http://h:99999\");", "forward=http://h:99999 is wrong"},
      {"wz_response(x, forward=other);", "forward=other is wrong"},
      {"wz_response(x, forward=self, status=201);", "status= and type= are the backend's"},
      {"wz_response(x, forward=self, fault=reset);", "fault= and forward= exclude each other"},
      {"wz_response(x, forward=self, read_timeout=0);", "read_timeout=0 is wrong"},
      {"wz_svc_time(value1=3);", "wz_svc_time: mode= is missing"},
      {"wz_svc_time(mode=9);", "mode=9 is wrong: it must be one of NONE"},
      {"wz_svc_time(mode=2, value1=-1);", "value1=-1 is wrong"},
      {"wz_svc_time(mode=1);", "mode=EXPONENTIAL needs value1="},
      {"wz_svc_time(mode=3, value1=2, value2=1);", "mode=UNIFORM needs a value2="},
      {"wz_svc_time(mode=LOAD, value2=1);", "mode=LOAD needs value1="},
      {"wz_svc_time(mode=5, value1=7, value2=7);", "mode=LOGNORMAL needs value1="},
      {"wz_svc_time(mode=0); wz_svc_time(mode=0);", "wz_svc_time: is given more than once"},
      {"wz_response(x, file=\"r.txt\", header=\"A: 1\\r\\nB: 2\");", "header=A: 1"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.first);
    read(std::string(kService) + "\n" + std::string(each.first) + "\n" + std::string(kResponse));
    const auto found =
        std::find_if(problems_.begin(), problems_.end(), [&each](const vsd::Problem& problem) {
          return (problem.line == 3 || problem.line == 4) &&
                 problem.text.find(each.second) != std::string::npos;
        });
    EXPECT_NE(found, problems_.end()) << (problems_.empty() ? "" : to_string(problems_[0]));
    for (const auto& problem : problems_) {
      EXPECT_EQ(problem.text.find('\n'), std::string::npos);
    }
  }
}

TEST_F(ServiceReaderTest, CollectsAllFaultsAndChecksTheWhole) {
  read("wz_scratch_var(a);\nwz_scratch_var(b, \"x);\nwz_scratch_var(a);\nwz_oops(c);\n");
  std::vector<std::string> texts;
  for (const auto& problem : problems_) {
    texts.push_back(to_string(problem));
  }
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "service.wz:2: a double quote is not closed on its line",
                       "service.wz:3: wz_scratch_var: variable 'a' is declared already on line 1",
                       "service.wz:4: unknown declaration 'wz_oops'",
                       "service.wz: there is no wz_service declaration",
                       "service.wz: there is no wz_response declaration",
                   }));
  for (const std::string_view service :
       {"wz_service(s, url=\"/s\"", "wz_service(s, url=\"/s);", "wz_service(s);",
        "wz_service(s, url=\"s\");", "wz_service(s, url=\"/a*\");", "wz_service(s, url=\"/**/a\");",
        "wz_service(s, url_regex=\"/(\");", "wz_service(s, url=\"/a\", url_regex=\"/a\");",
        "wz_service(s, url=\"/a\", priority=high);", "wz_service(s, url=\"/s?a=1\");",
        "wz_service(s, url=\"/s\", method=get);", "wz_service(s, url=\"/s\", method=\"GET|\");",
        "wz_service(s, url=\"/s\", method=TOOLONGNAME);"}) {
    read(std::string(service) + "\n" + std::string(kResponse));
    EXPECT_EQ(problems_.size(), 1U) << service;
  }
}

}  // namespace
