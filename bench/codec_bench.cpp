// Codecs beside their references: OpenSSL's one-shot base64 calls, and the usual loop over a
// 256-entry table for hexadecimal. The two sides take turns within one measurement, so that load of
// the machine meets both; `ratio` is ours / reference of the medians (below 1: ours is faster).
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_encode_decode.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/alternate.h"

namespace {

// Runs both sides in turn on `size` bytes of raw data, in rounds of about 64 KiB.
template <typename Ours, typename Reference>
void compare(benchmark::State& state, std::size_t size, Ours ours, Reference reference) {
  const std::size_t calls = std::max<std::size_t>(1, 65536 / size);
  const wz::bench::Medians medians = wz::bench::alternate(state, calls, ours, reference);
  state.counters["ours_MBps"] = static_cast<double>(size) / medians.ours / 1e6;
  state.counters["ref_MBps"] = static_cast<double>(size) / medians.reference / 1e6;
}

std::string random_bytes(std::size_t size) {
  std::mt19937 generator(7);
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(generator()); });
  return bytes;
}

struct Data {
  explicit Data(const benchmark::State& state)
      : size(static_cast<std::size_t>(state.range(0))),
        raw(random_bytes(size)),
        output(3 * size + 8) {}
  unsigned char* bytes() { return reinterpret_cast<unsigned char*>(raw.data()); }
  int length() const { return static_cast<int>(size); }
  int room() const { return static_cast<int>(output.size()); }

  std::size_t size;
  std::string raw;
  std::vector<unsigned char> output;
};

void EncodeBase64(benchmark::State& state) {
  Data data(state);
  compare(
      state, data.size,
      [&] { wzlb_encode_base64_ex(data.bytes(), data.length(), data.output.data(), data.room()); },
      [&] { EVP_EncodeBlock(data.output.data(), data.bytes(), data.length()); });
}

void DecodeBase64(benchmark::State& state) {
  Data data(state);
  std::vector<unsigned char> text(data.output.size());
  const int length = EVP_EncodeBlock(text.data(), data.bytes(), data.length());
  compare(
      state, data.size,
      [&] { wzlb_decode_base64_ex(text.data(), length, data.output.data(), data.room()); },
      [&] { EVP_DecodeBlock(data.output.data(), text.data(), length); });
}

// The reference of hexadecimal: one table entry for each byte.
constexpr auto kHexPairs = [] {
  std::array<std::array<char, 2>, 256> pairs{};
  for (std::size_t byte = 0; byte < pairs.size(); ++byte) {
    pairs[byte] = {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  }
  return pairs;
}();

constexpr auto kHexValues = [] {
  std::array<unsigned char, 256> values{};
  for (unsigned char digit = 0; digit < 16; ++digit) {
    values[static_cast<unsigned char>("0123456789abcdef"[digit])] = digit;
    values[static_cast<unsigned char>("0123456789ABCDEF"[digit])] = digit;
  }
  return values;
}();

void table_encode(const unsigned char* input, std::size_t size, char* output) {
  for (std::size_t i = 0; i < size; ++i) {
    std::memcpy(output + 2 * i, kHexPairs[input[i]].data(), 2);
  }
  output[2 * size] = '\0';
}

void table_decode(const char* input, std::size_t size, char* output) {
  for (std::size_t i = 0; i < size; ++i) {
    output[i] = static_cast<char>(kHexValues[static_cast<unsigned char>(input[2 * i])] << 4 |
                                  kHexValues[static_cast<unsigned char>(input[2 * i + 1])]);
  }
  output[size] = '\0';
}

// The converters hand out new tracked blocks, so the reference takes and frees one too.
char* new_block(std::size_t size) {
  return static_cast<char*>(WZLB_MALLOC(size, "bench"));
}

void release(char* block) {
  WZLB_FREE(block, "bench", -1);
}

void EncodeHex(benchmark::State& state) {
  Data data(state);
  int length = 0;
  compare(
      state, data.size,
      [&] { release(wzlb_encode_text_to_hex(data.raw.data(), data.length(), &length)); },
      [&] {
        char* block = new_block(2 * data.size + 1);
        table_encode(data.bytes(), data.size, block);
        release(block);
      });
}

void DecodeHex(benchmark::State& state) {
  Data data(state);
  std::string text(2 * data.size + 1, '\0');
  table_encode(data.bytes(), data.size, text.data());
  int length = 0;
  compare(
      state, data.size,
      [&] { release(wzlb_decode_hex_to_text(text.data(), 2 * data.length(), &length)); },
      [&] {
        char* block = new_block(data.size + 1);
        table_decode(text.data(), data.size, block);
        release(block);
      });
}

void Bin2Hex(benchmark::State& state) {
  Data data(state);
  auto* text = reinterpret_cast<char*>(data.output.data());
  compare(
      state, data.size, [&] { bin2hex(data.bytes(), data.length(), text); },
      [&] { table_encode(data.bytes(), data.size, text); });
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(64)->Arg(1024)->Arg(1 << 20)->MinTime(0.1);
}

BENCHMARK(EncodeBase64)->Apply(sizes);
BENCHMARK(DecodeBase64)->Apply(sizes);
BENCHMARK(EncodeHex)->Apply(sizes);
BENCHMARK(DecodeHex)->Apply(sizes);
BENCHMARK(Bin2Hex)->Apply(sizes);

}  // namespace
