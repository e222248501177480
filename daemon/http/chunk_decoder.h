// Removes the chunked transfer coding in place. A byte-wise state machine: it keeps nothing of the
// input but its state, so the outcome is the same however the bytes are cut, and the raw bytes
// behind the decoded ones never pile up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vsd::http {

class ChunkDecoder {
 public:
  enum class Result { need_more, complete, malformed, body_too_large, trailer_too_large };

  // What one call reads and writes: bytes[read, size) are raw input, decoded data goes to
  // bytes[write...), write <= read. Both advance.
  struct Window {
    char* bytes;
    std::size_t size;
    std::size_t read;
    std::size_t write;
  };

  // Reads up to the end of the window or of the body. `max_trailer` bounds the trailer section.
  Result decode(Window& window, std::uint64_t max_body, std::size_t max_trailer) noexcept;

 private:
  enum class State {
    size_start,
    size,
    extension_blank,
    extension,
    size_line_feed,
    data,
    data_return,
    data_line_feed,
    trailer_start,
    trailer_name,
    trailer_value,
    trailer_line_feed,
    last_line_feed,
  };

  void copy_data(Window& window) noexcept;
  Result on_size_byte(char byte, std::uint64_t max_body) noexcept;
  Result on_framing_byte(char byte) noexcept;
  Result expect(char byte, char expected, State next) noexcept;

  State state_ = State::size_start;
  std::uint64_t chunk_left_ = 0;
  std::uint64_t body_size_ = 0;  // of the chunks announced so far
  std::size_t line_size_ = 0;    // of the current chunk's size line
  std::size_t trailer_size_ = 0;
  bool last_chunk_ = false;
};

}  // namespace vsd::http
