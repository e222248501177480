// What a request costs between the HTTP layer and the answer: an order is cut out of a 1 KiB body
// and answered with a 600-byte template that holds it twice, with a date, a query value and a
// header. The reference does the same work by hand, with nothing declared and nothing compiled.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "daemon/service/check.h"
#include "daemon/service/request_runner.h"
#include "tests/support/temporary_folder.h"

namespace {

using vsd::http::Request;
using vsd::http::Response;

constexpr const char* kDeclarations =
    "wz_service(orders, method=POST, url=\"/order\");\n"
    "wz_search_var(order_id, LB=\"<orderId>\", RB=\"</orderId>\", in=body);\n"
    "wz_query_var(customer, name=cust);\n"
    "wz_scratch_var(trace_id);\n"
    "wz_date_var(today, format=\"%Y-%m-%d\");\n"
    "wz_response(unknown, file=\"unknown.xml\", status=404, when=\"{order_id}\", equals=\"\");\n"
    "wz_response(accepted, file=\"accepted.xml\", type=\"text/xml\");\n";

constexpr const char* kScript =
    "#include <wz/wz_script.h>\n"
    "void post_recv(void) {\n"
    "  char *trace_id = wz_get_http_hdr(\"X-Trace-Id\");\n"
    "  wz_save_string(trace_id ? trace_id : \"none\", \"trace_id\");\n"
    "}\n"
    "void pre_send(void) { wz_set_http_hdr(wz_eval_string(\"X-Order-Id: {order_id}\")); }\n";

std::string make_template() {
  std::string text =
      "<?xml version=\"1.0\"?>\n<orderResponse>\n  <traceId>{trace_id}</traceId>\n"
      "  <date>{today}</date>\n  <orderId>{order_id}</orderId>\n"
      "  <customer>{customer}</customer>\n  <link>/order/{order_id}</link>\n  <text>";
  text.append(600 - text.size() - std::strlen("</text>\n</orderResponse>\n"), 't');
  return text + "</text>\n</orderResponse>\n";
}

const std::string kTemplate = make_template();

const std::string kHead =
    "POST /order?cust=Smith HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nUser-Agent: load/1.0\r\n"
    "Content-Type: text/xml\r\nX-Trace-Id: 4bf92f3577b34da6\r\nContent-Length: 1024\r\n\r\n";

std::string make_body() {
  std::string body = "<order>" + std::string(480, 'a') + "<orderId>4711</orderId>";
  body.append(1024 - body.size(), 'b');
  return body;
}

const std::string kBody = make_body();

Request make_request() {
  Request request;
  request.method = "POST";
  request.target = "/order?cust=Smith";
  request.head = kHead;
  request.body = kBody;
  return request;
}

// The service as vsd would serve it, from a work directory of its own.
class Bench {
 public:
  static Bench& with_script() {
    static Bench bench(true);
    return bench;
  }
  static Bench& without_script() {
    static Bench bench(false);
    return bench;
  }
  void handle(const Request& request, Response& response) {
    response.clear();
    runner_->handle(request, response);
  }

 private:
  explicit Bench(bool script) {
    const std::string service = "correlation/p/s/services/orders/";
    folder_.write(service + "service.wz", kDeclarations);
    folder_.write(service + "unknown.xml", "unknown");
    folder_.write(service + "accepted.xml", kTemplate);
    if (script) {
      folder_.write(service + "script.c", kScript);
    }
    const auto settings = vsd::make_script_build_settings(folder_.path(), "cc", "");
    const vsd::PreparedServices prepared = vsd::prepare_services(folder_.path(), settings);
    std::vector<vsd::Problem> problems = prepared.errors;
    image_.emplace(vsd::ServiceImage::build(prepared.services));
    states_.emplace(image_->size());
    runner_.emplace(*image_, vsd::load_scripts(prepared, problems), guard_, *states_);
    for (const vsd::Problem& problem : problems) {
      std::fprintf(stderr, "%s\n", to_string(problem).c_str());
      std::exit(1);
    }
  }

  wz::test::TemporaryFolder folder_;
  std::optional<vsd::ServiceImage> image_;
  vsd::WorkerSlot slot_{};
  vsd::ScriptGuard guard_{slot_};
  std::optional<vsd::ServiceStates> states_;
  std::optional<vsd::ServiceRunner> runner_;
};

// ---- the reference ----

std::string_view between(std::string_view text, std::string_view left, std::string_view right) {
  const void* found = memmem(text.data(), text.size(), left.data(), left.size());
  if (found == nullptr) {
    return {};
  }
  const char* begin = static_cast<const char*>(found) + left.size();
  const auto rest = static_cast<std::size_t>(text.data() + text.size() - begin);
  const void* end = memmem(begin, rest, right.data(), right.size());
  return end == nullptr
             ? std::string_view{}
             : std::string_view(begin,
                                static_cast<std::size_t>(static_cast<const char*>(end) - begin));
}

// The template's literal runs, found once.
const std::vector<std::string>& literals() {
  static const std::vector<std::string> runs = [] {
    std::vector<std::string> list;
    std::size_t begin = 0;
    for (std::size_t open = kTemplate.find('{'); open != std::string::npos;
         open = kTemplate.find('{', begin)) {
      list.push_back(kTemplate.substr(begin, open - begin));
      begin = kTemplate.find('}', open) + 1;
    }
    list.push_back(kTemplate.substr(begin));
    return list;
  }();
  return runs;
}

void handle_by_hand(const Request& request, Response& response) {
  response.clear();
  if (request.method != "POST" || !request.target.starts_with("/order?")) {
    response.status = 404;
    return;
  }
  const std::string_view order = between(request.body, "<orderId>", "</orderId>");
  const std::string_view trace = between(request.head, "\r\nX-Trace-Id:", "\r\n");
  std::string_view customer = request.target.substr(request.target.find("cust=") + 5);
  customer = customer.substr(0, customer.find('&'));
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char date[32];
  const std::size_t date_length = std::strftime(date, sizeof date, "%Y-%m-%d", &local);
  response.status = 200;
  response.headers.append("Content-Type: text/xml\r\nX-Order-Id: ").append(order).append("\r\n");
  const std::string_view values[] = {trace, {date, date_length}, order, customer, order};
  for (std::size_t i = 0; i < std::size(values); ++i) {
    response.body.append(literals()[i]).append(values[i]);
  }
  response.body.append(literals().back());
}

double cpu_nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <typename Handle>
double nanoseconds_per_call(Handle handle) {
  constexpr int kCalls = 10000;
  const double start = cpu_nanoseconds();
  for (int i = 0; i < kCalls; ++i) {
    handle();
  }
  return (cpu_nanoseconds() - start) / kCalls;
}

// The best of alternating rounds, so that other work on the machine disturbs both alike.
template <typename Ours, typename Reference>
double ratio(Ours ours, Reference reference) {
  constexpr int kRounds = 15;
  double best_ours = nanoseconds_per_call(ours);
  double best_reference = nanoseconds_per_call(reference);
  for (int round = 1; round < kRounds; ++round) {
    best_ours = std::min(best_ours, nanoseconds_per_call(ours));
    best_reference = std::min(best_reference, nanoseconds_per_call(reference));
  }
  return best_ours / best_reference;
}

void by_hand(benchmark::State& state) {
  const Request request = make_request();
  Response response;
  for (auto _ : state) {
    handle_by_hand(request, response);
    benchmark::DoNotOptimize(response.body.data());
  }
}
BENCHMARK(by_hand);

void run(benchmark::State& state, Bench& bench, bool compare) {
  const Request request = make_request();
  Response response;
  Response reference;
  bench.handle(request, response);
  handle_by_hand(request, reference);
  if (compare && response.body != reference.body) {
    state.SkipWithError("the answers differ");
  }
  for (auto _ : state) {
    bench.handle(request, response);
    benchmark::DoNotOptimize(response.body.data());
  }
  state.counters["ratio"] =
      ratio([&] { bench.handle(request, response); }, [&] { handle_by_hand(request, reference); });
}

void service_runner(benchmark::State& state) {
  run(state, Bench::with_script(), true);
}
BENCHMARK(service_runner);

// The share of the script: the same service without one.
void service_runner_without_script(benchmark::State& state) {
  run(state, Bench::without_script(), false);
}
BENCHMARK(service_runner_without_script);

}  // namespace
