// A value cut out of a body of 1 KiB, from buffer to buffer as a script does it, against two memmem
// calls and a copy on lengths known beforehand.
#include <benchmark/benchmark.h>
#include <wz/wz_script.h>

#include <cstring>
#include <string>
#include <string_view>

#include "bench/side_by_side.h"

namespace {

constexpr std::size_t kBodySize = 1024;
constexpr std::size_t kLeftAt = 400;
constexpr std::string_view kValue = "4711-0815-2342";

struct Boundaries {
  std::string left;
  std::string right;
};

const Boundaries kBoundaries[] = {{"<orderId>", "</orderId>"}, {"\"order\":\"", "\""}, {"#", "#"}};

std::string make_body(const Boundaries& boundaries) {
  constexpr std::string_view kFiller = "<item><sku>A-100</sku><quantity>12</quantity></item>\n";
  std::string body;
  while (body.size() < kLeftAt) {
    body += kFiller.substr(0, kLeftAt - body.size());
  }
  body.append(boundaries.left).append(kValue).append(boundaries.right);
  while (body.size() < kBodySize) {
    body += kFiller.substr(0, kBodySize - body.size());
  }
  return body;
}

std::size_t cut_by_hand(std::string_view body, const Boundaries& boundaries, char* out) {
  const auto find = [](std::string_view text, std::string_view boundary) {
    const void* found = memmem(text.data(), text.size(), boundary.data(), boundary.size());
    return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
  };
  body.remove_prefix(find(body, boundaries.left) + boundaries.left.size());
  const std::size_t length = find(body, boundaries.right);
  std::memcpy(out, body.data(), length);
  out[length] = '\0';
  return length;
}

void search_to_buffer(benchmark::State& state) {
  Boundaries boundaries = kBoundaries[state.range(0)];
  std::string body = make_body(boundaries);
  char out[128];
  const auto search = [&] {
    benchmark::DoNotOptimize(wz_save_searched_string(
        WZ_ARG_IS_BUF, body.data(), WZ_ARG_IS_BUF, out, boundaries.left.data(),
        boundaries.right.data(), 1, 0, sizeof out - 1));
  };
  search();
  if (out != kValue) {
    state.SkipWithError("the value is not the one between the boundaries");
  }
  bench::compare(state, 200, search,
                 [&] { benchmark::DoNotOptimize(cut_by_hand(body, boundaries, out)); });
  state.SetLabel(boundaries.left + ".." + boundaries.right);
}
BENCHMARK(search_to_buffer)->DenseRange(0, std::ssize(kBoundaries) - 1);

}  // namespace
