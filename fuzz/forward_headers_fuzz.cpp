// The header lines of forwarded requests and of their answers. Input: a client's head up to the
// first NUL, then the lines of a script and of a backend's answer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "daemon/forward/forward_headers.h"
#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::require;

constexpr std::string_view kLineEnds("\r\n\0", 3);

void check_request(std::string_view head, std::string_view added) {
  std::string refused;
  const vsd::ForwardedHead forwarded = vsd::forwarded_head(head, added, 11, refused);
  require(!forwarded.lines.empty() && forwarded.hops >= 0);
  for (const std::string& line : forwarded.lines) {
    require(line.find(':') != std::string::npos && line.find(':') > 0 &&
            line.find_first_of(kLineEnds) == std::string::npos);
  }
}

// What is passed on says the same when it is read again.
void check_answer(std::string_view lines) {
  const auto head = vsd::answer_head(lines);
  if (!head) {
    return;
  }
  const auto again = vsd::answer_head(head->lines);
  require(again && again->lines == head->lines && again->length == head->length);
}

void check_target(std::string_view text) {
  std::string target;
  vsd::append_target(target, text);
  for (const char c : target) {
    require(c > ' ' && c < 0x7f && c != '#');
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view head = input.substr(0, input.find('\0'));
  const std::string_view rest = input.substr(std::min(head.size() + 1, size));
  check_request(head, rest);
  check_answer(rest);
  check_target(rest);
  return 0;
}
