// Hessian 2 both ways in MB/s of the message, beside memcpy of what comes out, which is the floor.
// bench/hessian/compare runs an independent implementation on the same messages.
#include <benchmark/benchmark.h>
#include <wz/wzlb_hessian.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr std::size_t kLargeMessage = 1 << 20;

std::string encode(std::string document) {
  hessian_set_version(2);
  std::string message(document.size() * 2 + 16, '\0');
  int length = 0;
  if (hessian_encode(1, document.data(), static_cast<int>(document.size()), message.data(),
                     &length) == nullptr) {
    std::abort();
  }
  message.resize(static_cast<std::size_t>(length));
  return message;
}

std::string decode(std::string message) {
  hessian_set_version(2);
  int length = static_cast<int>(message.size());
  const int size = wz_hessian_to_xml(message.data(), &length);
  return {hessian_asc_ptr, static_cast<std::size_t>(size)};
}

// An order with one of every kind of value.
std::string order(int number) {
  const std::string n = std::to_string(number);
  return "<obj_instance><obj_ref>0</obj_ref><int>" + n + "</int><long>" + n + "4294967296</long>" +
         "<string>Straße " + n + ", 漢字, a longer line of plain text for the customer</string>" +
         "<double>" + n + ".25</double><date ms=\"8946210" + n + "00\"></date><null></null>" +
         "<map><string>colour</string><string>red</string><string>size</string><int>42</int></"
         "map>" +
         "<fixed_typed_list><Type>[int</Type><int>1</int><int>200</int><int>70000</int>" +
         "</fixed_typed_list><base64>" + std::string(64, 'Q') + "</base64></obj_instance>";
}

std::string large_message() {
  std::string body =
      "<obj_defn><obj_defn_type>shop.Order</obj_defn_type><string>id</string><string>key</string>"
      "<string>address</string><string>price</string><string>due</string><string>note</string>"
      "<string>item</string><string>sizes</string><string>label</string></obj_defn>";
  constexpr std::size_t kOrderBytes = 230;
  for (int i = 0; i < static_cast<int>(kLargeMessage / kOrderBytes); ++i) {
    body += order(i);
  }
  return encode("<hessian><reply_2.0><fixed_untyped_list>" + body +
                "</fixed_untyped_list></reply_2.0></hessian>");
}

std::string small_message() {
  return encode(
      "<hessian><call_2.0><method>price</method><string>A-4711</string><int>3</int>"
      "<boolean>1</boolean></call_2.0></hessian>");
}

const std::string& message(bool large) {
  static const std::string messages[] = {small_message(), large_message()};
  static const bool written = [] {
    if (const char* folder = std::getenv("HESSIAN_BENCH_MESSAGES")) {
      const std::filesystem::path path(folder);
      std::ofstream(path / "small", std::ios::binary) << messages[0];
      std::ofstream(path / "large", std::ios::binary) << messages[1];
    }
    return true;
  }();
  benchmark::DoNotOptimize(written);
  return messages[large ? 1 : 0];
}

void report(benchmark::State& state, std::size_t message_size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * message_size));
}

void decode_message(benchmark::State& state) {
  std::string bytes = message(state.range(0) != 0);
  hessian_set_version(2);
  for (auto _ : state) {
    int length = static_cast<int>(bytes.size());
    benchmark::DoNotOptimize(wz_hessian_to_xml(bytes.data(), &length));
  }
  report(state, bytes.size());
}
BENCHMARK(decode_message)->ArgName("large")->Arg(0)->Arg(1);

void encode_message(benchmark::State& state) {
  std::string document = decode(message(state.range(0) != 0));
  std::string out(document.size() * 2 + 16, '\0');
  for (auto _ : state) {
    int length = 0;
    benchmark::DoNotOptimize(
        hessian_encode(1, document.data(), static_cast<int>(document.size()), out.data(), &length));
  }
  report(state, message(state.range(0) != 0).size());
}
BENCHMARK(encode_message)->ArgName("large")->Arg(0)->Arg(1);

// Copying the document, counted in bytes of the message as above.
void reference_memcpy(benchmark::State& state) {
  const std::string document = decode(message(state.range(0) != 0));
  std::string out(document.size(), '\0');
  for (auto _ : state) {
    std::memcpy(out.data(), document.data(), document.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  report(state, message(state.range(0) != 0).size());
}
BENCHMARK(reference_memcpy)->ArgName("large")->Arg(0)->Arg(1);

}  // namespace
