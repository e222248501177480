// What several fuzz targets need.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace wz::fuzz {

// A check that survives release builds.
inline void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// The parsers report bad input on standard error or output, once per input. Only the stream is
// replaced: the fuzzer's and the sanitizers' own reports must stay visible.
class QuietStream {
 public:
  explicit QuietStream(FILE*& stream = stderr) : stream_(stream), before_(stream) {
    static FILE* const nowhere = std::fopen("/dev/null", "w");
    require(nowhere != nullptr);
    stream_ = nowhere;
  }
  QuietStream(const QuietStream&) = delete;
  QuietStream& operator=(const QuietStream&) = delete;
  ~QuietStream() { stream_ = before_; }

 private:
  FILE*& stream_;
  FILE* before_;
};

}  // namespace wz::fuzz
