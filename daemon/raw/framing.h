// How messages follow one another in a stream of bytes, and how answers do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vsd::raw {

struct Framing {
  enum class Kind : std::uint8_t {
    delimiter,  // a message ends where the delimiter begins
    length,     // every message has the same length
    prefix,     // a number in front of the message is its length
    to_end,     // the message is all that comes before the client ends its sending side
  };
  Kind kind = Kind::to_end;
  std::string delimiter;      // not empty for Kind::delimiter
  std::size_t length = 0;     // above 0 for Kind::length
  std::size_t prefix = 0;     // 1, 2, 4 or 8 bytes for Kind::prefix
  bool is_big_endian = true;  // the byte order of the prefix

  friend bool operator==(const Framing&, const Framing&) = default;
};

// A message in the bytes that have arrived: it begins at `begin`, and the next one at `end`.
struct Frame {
  std::size_t begin = 0;
  std::size_t size = 0;
  std::size_t end = 0;
};

// Finds the messages of one stream, one after the other. Does not read a byte twice, however the
// message was cut on its way.
class FrameScanner {
 public:
  enum class Result { need_more, complete, too_large };

  // `bytes` begins with the message that is looked for and grows from call to call; `has_ended`:
  // nothing more comes. A message has at most `most` bytes. After Result::complete the next message
  // is looked for.
  [[nodiscard]] Result scan(const Framing& framing, std::string_view bytes, bool has_ended,
                            std::size_t most, Frame& frame) noexcept;

 private:
  Result scan_delimiter(const Framing& framing, std::string_view bytes, std::size_t most,
                        Frame& frame) noexcept;

  std::size_t scanned_ = 0;  // bytes in which no delimiter begins
};

// Makes `body` an answer: appends to `out` what stands in front of it, and to `body` what stands
// behind it. A delimiter that is there already is not doubled, because text files end with a line
// end. False, and nothing is changed, when the prefix cannot hold the length.
[[nodiscard]] bool frame_answer(const Framing& framing, std::string& out, std::string& body);

}  // namespace vsd::raw
