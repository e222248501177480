// Feeds bytes to a connection in one piece and cut at random places: the answers must be the same,
// and nobody may read or write out of bounds. The first byte chooses the cuts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tests/support/exchange_driver.h"

namespace {

using namespace vsd::http;

vsd::HttpLimits small_limits() {
  vsd::HttpLimits limits;
  limits.max_header_bytes = 512;
  limits.max_body_bytes = 1024;
  return limits;
}

// `cut` yields the size of the next piece.
template <typename Cut>
std::string answers(std::string_view bytes, Cut cut) {
  const vsd::HttpLimits limits = small_limits();
  EchoHandler handler;
  ExchangeDriver driver(limits, handler);
  while (!bytes.empty() && !driver.closed) {
    const auto piece = bytes.substr(0, cut());
    driver.feed(piece);
    bytes.remove_prefix(piece.size());
  }
  driver.end_input();
  return without_interim(driver.output);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  std::uint32_t random = data[0];
  const auto whole = answers(bytes, [&] { return bytes.size(); });
  const auto pieces = answers(bytes, [&] {
    random = random * 1664525 + 1013904223;
    return 1 + (random >> 24) % 16;
  });
  if (whole != pieces) {
    std::abort();
  }
  return 0;
}
