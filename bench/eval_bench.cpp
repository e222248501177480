// Template evaluation: a template of 600 bytes with 6 references, against a concatenation of the
// same pieces by hand whose lookups are done already.
#include <benchmark/benchmark.h>
#include <wz/wz_script.h>
#include <wz/wzlb_alloc.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bench/side_by_side.h"
#include "daemon/service/connection_state.h"
#include "daemon/service/service_loader.h"

namespace {

constexpr std::string_view kNames[] = {"trace_id", "customer",  "order_id",
                                       "currency", "warehouse", "eta"};
constexpr std::string_view kValues[] = {"7f3a91c2-55d0", "Jane Example", "4711-0815",
                                        "EUR",           "north 2",      "2026-03-01"};

// A service with the variables above, serving a request in which a script has set them.
class Service {
 public:
  Service() : image_(make_image()), state_(image_) {
    request_.method = "GET";
    request_.target = "/bench";
    request_.head = "GET /bench HTTP/1.1\r\n\r\n";
    state_.begin(image_.service(0), request_);
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
      if (wz_save_string(kValues[i].data(), kNames[i].data()) != 0) {
        std::abort();
      }
    }
  }
  ~Service() { state_.end(); }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

 private:
  static vsd::ServiceImage make_image() {
    std::string text = "wz_service(bench, method=GET, url=\"/bench\");\n";
    for (const std::string_view name : kNames) {
      text.append("wz_scratch_var(").append(name).append(");\n");
    }
    vsd::ServiceDefinition definition;
    std::vector<vsd::Problem> problems;
    vsd::read_service(text, definition, problems);
    return vsd::ServiceImage::build({&definition, 1});
  }

  vsd::ServiceImage image_;
  vsd::ConnectionState state_;
  vsd::http::Request request_;
};

// The pieces of the answer: a text and a value in turn, and a last text.
std::vector<std::string> make_texts() {
  constexpr std::size_t kTemplateSize = 600;
  std::size_t names = 0;
  for (const std::string_view name : kNames) {
    names += name.size() + 2;
  }
  const std::size_t count = std::size(kNames) + 1;
  std::vector<std::string> texts(count, std::string((kTemplateSize - names) / count, 't'));
  texts.back().append((kTemplateSize - names) % count, 't');
  return texts;
}

void eval_string(benchmark::State& state) {
  const Service service;
  const std::vector<std::string> texts = make_texts();
  std::string text;
  std::vector<std::string_view> pieces;
  for (std::size_t i = 0; i < std::size(kNames); ++i) {
    text.append(texts[i]).append("{").append(kNames[i]).append("}");
    pieces.emplace_back(texts[i]);
    pieces.emplace_back(kValues[i]);
  }
  text += texts.back();
  pieces.emplace_back(texts.back());
  static char buffer[2048];
  const auto concatenate = [&pieces] {
    char* out = buffer;
    for (const std::string_view piece : pieces) {
      std::memcpy(out, piece.data(), piece.size());
      out += piece.size();
    }
    *out = '\0';
    benchmark::DoNotOptimize(buffer);
  };
  concatenate();
  if (std::strcmp(wz_eval_string(text.data()), buffer) != 0) {
    state.SkipWithError("the texts differ");
  }
  bench::compare(
      state, 200, [&text] { benchmark::DoNotOptimize(wz_eval_string(text.data())); }, concatenate);
  state.counters["template"] = static_cast<double>(text.size());
}
BENCHMARK(eval_string);

}  // namespace
