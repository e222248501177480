#include "daemon/http/chunk_decoder.h"

#include <algorithm>
#include <cstring>

#include "daemon/http/token.h"

namespace vsd::http {
namespace {

constexpr std::size_t kLongestSizeLine = 4096;  // with its extensions
constexpr int kSizeBits = 64;

int hex_value(char c) noexcept {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool is_text(char c) noexcept {
  return (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) || c == '\t';
}

}  // namespace

void ChunkDecoder::copy_data(Window& window) noexcept {
  const auto count =
      static_cast<std::size_t>(std::min<std::uint64_t>(chunk_left_, window.size - window.read));
  std::memmove(window.bytes + window.write, window.bytes + window.read, count);
  window.read += count;
  window.write += count;
  chunk_left_ -= count;
  if (chunk_left_ == 0) {
    state_ = State::data_return;
  }
}

ChunkDecoder::Result ChunkDecoder::expect(char byte, char expected, State next) noexcept {
  if (byte != expected) {
    return Result::malformed;
  }
  state_ = next;
  return Result::need_more;
}

// The size line: hexadecimal digits, then extensions, which are checked for control characters and
// otherwise ignored.
ChunkDecoder::Result ChunkDecoder::on_size_byte(char byte, std::uint64_t max_body) noexcept {
  if (++line_size_ > kLongestSizeLine) {
    return Result::malformed;
  }
  if (state_ == State::size_start || state_ == State::size) {
    if (const int digit = hex_value(byte); digit >= 0) {
      if (chunk_left_ >> (kSizeBits - 4) != 0) {
        return Result::malformed;
      }
      chunk_left_ = chunk_left_ * 16 + static_cast<unsigned>(digit);
      state_ = State::size;
      return Result::need_more;
    }
    if (state_ == State::size_start) {
      return Result::malformed;
    }
  }
  if (byte == '\r' && state_ != State::extension_blank) {
    if (chunk_left_ > max_body - body_size_) {
      return Result::body_too_large;
    }
    body_size_ += chunk_left_;
    last_chunk_ = chunk_left_ == 0;
    state_ = State::size_line_feed;
    return Result::need_more;
  }
  if (state_ == State::extension) {
    return is_text(byte) ? Result::need_more : Result::malformed;
  }
  if (byte == ';') {
    state_ = State::extension;
    return Result::need_more;
  }
  return byte == ' ' || byte == '\t' ? expect(byte, byte, State::extension_blank)
                                     : Result::malformed;
}

ChunkDecoder::Result ChunkDecoder::on_framing_byte(char byte) noexcept {
  switch (state_) {
    case State::size_line_feed:
      line_size_ = 0;
      return expect(byte, '\n', last_chunk_ ? State::trailer_start : State::data);
    case State::data_return:
      return expect(byte, '\r', State::data_line_feed);
    case State::data_line_feed:
      return expect(byte, '\n', State::size_start);
    case State::trailer_start:
      if (byte == '\r') {
        return expect(byte, '\r', State::last_line_feed);
      }
      return is_token_character(byte) ? expect(byte, byte, State::trailer_name) : Result::malformed;
    case State::trailer_name:
      if (byte == ':') {
        return expect(byte, ':', State::trailer_value);
      }
      return is_token_character(byte) ? Result::need_more : Result::malformed;
    case State::trailer_value:
      if (byte == '\r') {
        return expect(byte, '\r', State::trailer_line_feed);
      }
      return is_text(byte) ? Result::need_more : Result::malformed;
    case State::trailer_line_feed:
      return expect(byte, '\n', State::trailer_start);
    default:  // last_line_feed
      return byte == '\n' ? Result::complete : Result::malformed;
  }
}

ChunkDecoder::Result ChunkDecoder::decode(Window& window, std::uint64_t max_body,
                                          std::size_t max_trailer) noexcept {
  Result result = Result::need_more;
  while (result == Result::need_more && window.read < window.size) {
    if (state_ == State::data) {
      copy_data(window);
      continue;
    }
    const char byte = window.bytes[window.read++];
    if (state_ <= State::extension) {
      result = on_size_byte(byte, max_body);
    } else if (state_ >= State::trailer_start && ++trailer_size_ > max_trailer) {
      result = Result::trailer_too_large;
    } else {
      result = on_framing_byte(byte);
    }
  }
  return result;
}

}  // namespace vsd::http
