// URL decoding: percent escapes and `+`. It never fails: what is no escape is copied as it stands.
#include <wz/wzlb_encode_decode.h>

#include "libwzcore/wzlb_encode_decode/hex_digits.h"

namespace wz {
namespace {

// Decodes the next byte of `source` and moves past it. Stops looking at the first byte that is no
// hex digit, so it never reads beyond the terminating NUL.
char decode_next(const char*& source) noexcept {
  if (*source == '%') {
    const int high = GetHex(source[1]);
    const int low = high < 0 ? -1 : GetHex(source[2]);
    if (low >= 0) {
      source += 3;
      return static_cast<char>(high * 16 + low);
    }
  }
  const char byte = *source++;
  return byte == '+' ? ' ' : byte;
}

// Writes at most `limit` decoded bytes and a NUL; a limit below 1 gives the empty string.
char* decode(char* destination, int limit, const char* source) noexcept {
  if (destination == nullptr) {
    return nullptr;
  }
  int written = 0;
  while (source != nullptr && written < limit && *source != '\0') {
    destination[written++] = decode_next(source);
  }
  destination[written] = '\0';
  return destination;
}

// How many decoded bytes fit a buffer of `capacity` bytes beside the NUL.
constexpr int text_room(int capacity) noexcept {
  return capacity > 0 ? capacity - 1 : 0;
}

}  // namespace
}  // namespace wz

char* wz_url_decoding(char* destination, int length, char* source) {
  return wz::decode(destination, wz::text_room(length), source);
}

char* wz_url_decoding_ex(char* destination, int max_out_length, int length, char* source) {
  const int room = wz::text_room(max_out_length);
  return wz::decode(destination, length < room ? length : room, source);
}
