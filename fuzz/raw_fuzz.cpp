// A framing rule and a stream of messages: in one piece and cut at random places the answers must
// be the same, and nobody may read or write out of bounds. The first two bytes choose rule and
// cuts.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tests/support/exchange_driver.h"

namespace {

using vsd::raw::Framing;

Framing framing_of(std::uint8_t choice) {
  constexpr std::array<std::size_t, 4> kPrefixes = {1, 2, 4, 8};
  constexpr std::array<const char*, 3> kDelimiters = {"\n", "\r\n", "aab"};
  Framing framing;
  framing.kind = static_cast<Framing::Kind>(choice % 4);
  framing.delimiter = kDelimiters[choice / 4 % kDelimiters.size()];
  framing.length = 1 + choice / 4;
  framing.prefix = kPrefixes[choice / 4 % kPrefixes.size()];
  framing.is_big_endian = choice < 128;
  return framing;
}

// `cut` yields the size of the next piece.
template <typename Cut>
std::string answers(const vsd::raw::Endpoint& endpoint, std::string_view bytes, Cut cut) {
  vsd::HttpLimits limits;
  limits.max_body_bytes = 64;
  vsd::http::EchoHandler handler;
  vsd::http::ExchangeDriver driver(limits, handler, &endpoint);
  while (!bytes.empty() && !driver.closed) {
    const auto piece = bytes.substr(0, cut());
    driver.feed(piece);
    bytes.remove_prefix(piece.size());
  }
  driver.end_input();
  return driver.output;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const vsd::raw::Endpoint endpoint{vsd::Transport::tcp, framing_of(data[0]), "/tcp *:1",
                                    "tcp://*:1"};
  const std::string_view bytes(reinterpret_cast<const char*>(data + 2), size - 2);
  std::uint32_t random = data[1];
  const auto whole = answers(endpoint, bytes, [&] { return bytes.size(); });
  const auto pieces = answers(endpoint, bytes, [&] {
    random = random * 1664525 + 1013904223;
    return 1 + (random >> 24) % 8;
  });
  if (whole != pieces) {
    std::abort();
  }
  return 0;
}
