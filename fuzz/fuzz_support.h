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

// The parsers report bad input on standard error, once per input. Only the stream is replaced: the
// fuzzer's and the sanitizers' own reports must stay visible.
class QuietStream {
 public:
  QuietStream() {
    static FILE* const nowhere = std::fopen("/dev/null", "w");
    require(nowhere != nullptr);
    stderr = nowhere;
  }
  QuietStream(const QuietStream&) = delete;
  QuietStream& operator=(const QuietStream&) = delete;
  ~QuietStream() { stderr = before_; }

 private:
  FILE* before_ = stderr;
};

}  // namespace wz::fuzz
