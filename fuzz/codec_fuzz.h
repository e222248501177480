// What the fuzzers of the codecs share: buffers of exactly the stated size, so that the address
// sanitizer sees every access beyond it, and a check that survives release builds.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#define CHECK(condition)                                                   \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                        \
    }                                                                      \
  } while (0)

namespace codec_fuzz {

// A heap block without slack; never null, so that a size of 0 stands for "given".
template <typename Byte>
class Exact {
 public:
  explicit Exact(std::size_t size)
      : size_(size), data_(static_cast<Byte*>(std::malloc(size > 0 ? size : 1))) {}
  explicit Exact(std::string_view content) : Exact(content.size()) {
    content.copy(reinterpret_cast<char*>(data_), content.size());
  }
  ~Exact() { std::free(data_); }
  Exact(const Exact&) = delete;
  Exact& operator=(const Exact&) = delete;

  Byte* data() { return data_; }
  int size() const { return static_cast<int>(size_); }
  std::string text(std::size_t length) const {
    return {reinterpret_cast<const char*>(data_), length};
  }

 private:
  std::size_t size_;
  Byte* data_;
};

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Up to the first zero byte, which ends the text for the codecs of NUL-terminated text.
inline std::string up_to_zero(std::string_view text) {
  return std::string(text.substr(0, text.find('\0')));
}

inline bool is_hex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Frees a result of a codec and returns its text.
inline std::string take(char* heap_text) {
  std::string text = heap_text;
  std::free(heap_text);
  return text;
}

}  // namespace codec_fuzz
