// Random numbers and strings, fake data and unique numbers as a service's script and templates see
// them.
#include <wz/wz_script.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "daemon/host_ops/host_ops.h"
#include "daemon/service/response_template.h"
#include "tests/support/service_fixture.h"
#include "tests/support/statistics.h"

namespace {

using wz::test::ServiceFixture;

class GeneratedValueTest : public ServiceFixture {
 protected:
  static std::string eval(std::string text) { return wz_eval_string(text.data()); }

  // The service's response as a client gets it.
  std::string respond() {
    const vsd::ResponseRow& row = service().responses().front();
    std::string out;
    evaluator_.append(service().text(row.body), service().body_pieces(row), current(), out);
    return out;
  }

  vsd::TemplateEvaluator evaluator_;
};

// Declaration, its kind in the host contract, and whether a value is one of it.
struct Kind {
  const char* declaration;
  bool (*fits)(const std::string& value);
};

bool has_only(const std::string& value, const char* characters) {
  return value.find_first_not_of(characters) == std::string::npos;
}

const Kind kKinds[] = {
    {"wz_random_number_var(v, min=100, max=999999, format=%06d",
     [](const std::string& v) {
       return v.size() == 6 && has_only(v, "0123456789") && v >= "000100";
     }},
    {"wz_random_string_var(v, min=9, max=12, Charset=a-c",
     [](const std::string& v) { return v.size() >= 9 && v.size() <= 12 && has_only(v, "abc"); }},
    {"wz_random_string_var(v, Class=\"number.integer;min=1000000;max=9999999\"",
     [](const std::string& v) { return v.size() == 7 && has_only(v, "0123456789"); }},
    {"wz_unique_number_var(v, format=%020lu",
     [](const std::string& v) { return v.size() == 20 && has_only(v, "0123456789"); }}};

TEST_F(GeneratedValueTest, SessionKeepsAValueAndUseDrawsAnew) {
  folder().write("r.txt", "{v} {v}");
  for (const Kind& kind : kKinds) {
    for (const bool per_session : {true, false}) {
      SCOPED_TRACE(kind.declaration);
      connect();
      serve(std::string(kind.declaration) + (per_session ? ");" : ", REFRESH=USE);") +
            "wz_response(r, file=\"r.txt\");");
      std::set<std::string> values;
      std::vector<std::string> drawn;
      for (int i = 0; i < 3; ++i) {
        request(wz::test::kPlainHead);
        for (const std::string& pair : {eval("{v} {v}"), respond()}) {
          drawn.push_back(pair.substr(0, pair.find(' ')));
          drawn.push_back(pair.substr(pair.find(' ') + 1));
        }
      }
      for (const std::string& value : drawn) {
        EXPECT_TRUE(kind.fits(value)) << value;
        values.insert(value);
      }
      if (per_session) {
        EXPECT_EQ(values.size(), 1U);
      } else {
        EXPECT_GE(values.size(), 11U);  // of 12; two may be alike by chance
      }
      connect();
      request(wz::test::kPlainHead);
      const std::string next = eval("{v}");
      EXPECT_TRUE(kind.fits(next));
      EXPECT_FALSE(per_session && values.contains(next)) << "another connection, another value";
      EXPECT_EQ(wz_save_string("x", "v"), -1) << "made up, never saved";
    }
  }
}

TEST_F(GeneratedValueTest, ConnectionsDrawUniformly) {
  std::srand(4711);
  serve("wz_random_number_var(v, max=9, format=%d);");
  std::vector<int> counts(10);
  for (int i = 0; i < 5000; ++i) {
    connect();
    request(wz::test::kPlainHead);
    ++counts.at(static_cast<std::size_t>(wz_get_int_val(const_cast<char*>("v"))));
  }
  EXPECT_LT(wz::test::chi_square(counts), wz::test::chi_square_limit(9));
}

TEST_F(GeneratedValueTest, WorkersOfOneSecondDoNotMeet) {
  serve("wz_unique_number_var(v, format=%020lu, REFRESH=USE);");
  std::set<std::string> values;
  for (int worker = 0; worker < 3; ++worker) {
    vsd::set_host_process(worker, 3);
    EXPECT_EQ(std::getenv("CHILD_INDEX"), std::to_string(worker));
    for (int i = 0; i < 80; ++i) {
      const std::string value = eval("{v}");
      EXPECT_EQ(std::stoull(value) & 0xFFFF, static_cast<unsigned>(worker));
      values.insert(value);
    }
  }
  EXPECT_EQ(values.size(), 240U);
  vsd::set_host_process(0, 1);
}

// Every seed yields the same numbers in each run, and others in each worker.
TEST(HostGenerators, AreSeededByWorker) {
  const auto draw = [](unsigned long seed, int worker) {
    vsd::seed_host_generators(seed, worker, 100);
    std::string drawn = std::to_string(std::rand());
    for (const int mode : {1, 3}) {
      drawn += ' ' + std::to_string(wz_get_svc_time(mode, 0, 1000000));
    }
    return drawn;
  };
  EXPECT_EQ(draw(7, 1), draw(7, 1));
  EXPECT_NE(draw(7, 1), draw(7, 2));
  EXPECT_NE(draw(7, 1), draw(8, 1));
}

}  // namespace
