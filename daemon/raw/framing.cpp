#include "daemon/raw/framing.h"

#include <algorithm>

namespace vsd::raw {
namespace {

using Result = FrameScanner::Result;

std::uint64_t number_in(std::string_view bytes, bool is_big_endian) noexcept {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char byte = bytes[is_big_endian ? i : bytes.size() - 1 - i];
    number = number << 8U | static_cast<unsigned char>(byte);
  }
  return number;
}

void append_number(std::uint64_t number, const Framing& framing, std::string& out) {
  for (std::size_t i = 0; i < framing.prefix; ++i) {
    const std::size_t place = framing.is_big_endian ? framing.prefix - 1 - i : i;
    out += static_cast<char>(number >> (8 * place));
  }
}

// A message of `size` bytes at `begin`.
Result take(std::string_view bytes, std::size_t begin, std::uint64_t size, std::size_t most,
            Frame& frame) noexcept {
  if (size > most) {
    return Result::too_large;
  }
  if (bytes.size() - begin < size) {
    return Result::need_more;
  }
  frame = {begin, static_cast<std::size_t>(size), begin + static_cast<std::size_t>(size)};
  return Result::complete;
}

}  // namespace

Result FrameScanner::scan_delimiter(const Framing& framing, std::string_view bytes,
                                    std::size_t most, Frame& frame) noexcept {
  const std::size_t found = bytes.find(framing.delimiter, scanned_);
  if (found == std::string_view::npos) {
    const std::size_t overlap = framing.delimiter.size() - 1;
    scanned_ = bytes.size() > overlap ? bytes.size() - overlap : 0;
    return scanned_ > most ? Result::too_large : Result::need_more;
  }
  if (found > most) {
    return Result::too_large;
  }
  scanned_ = 0;
  frame = {0, found, found + framing.delimiter.size()};
  return Result::complete;
}

Result FrameScanner::scan(const Framing& framing, std::string_view bytes, bool has_ended,
                          std::size_t most, Frame& frame) noexcept {
  if (bytes.empty()) {
    return Result::need_more;
  }
  switch (framing.kind) {
    case Framing::Kind::delimiter:
      return scan_delimiter(framing, bytes, most, frame);
    case Framing::Kind::length:
      return take(bytes, 0, framing.length, most, frame);
    case Framing::Kind::prefix:
      if (bytes.size() < framing.prefix) {
        return Result::need_more;
      }
      return take(bytes, framing.prefix,
                  number_in(bytes.substr(0, framing.prefix), framing.is_big_endian), most, frame);
    case Framing::Kind::to_end:
      break;
  }
  const Result whole = take(bytes, 0, bytes.size(), most, frame);
  return whole == Result::complete && !has_ended ? Result::need_more : whole;
}

bool frame_answer(const Framing& framing, std::string& out, std::string& body) {
  if (framing.kind == Framing::Kind::delimiter && !body.ends_with(framing.delimiter)) {
    body += framing.delimiter;
  }
  if (framing.kind == Framing::Kind::prefix) {
    if (framing.prefix < sizeof(std::uint64_t) && body.size() >> (8 * framing.prefix) != 0) {
      return false;
    }
    append_number(body.size(), framing, out);
  }
  return true;
}

}  // namespace vsd::raw
