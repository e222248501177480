// The bytes of Hessian 1 values, at a position of the caller's buffer.
#include <wz/wzlb_hessian.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t kLengthSize = 2;
constexpr std::size_t kMaxTextLength = 0xFFFF;

void write_big_endian(char* target, std::uint64_t value, std::size_t size) noexcept {
  for (std::size_t i = size; i-- > 0; value >>= 8) {
    target[i] = static_cast<char>(value & 0xFF);
  }
}

// `value` behind `tag`, or alone.
int write_number(char* target, char tag, bool tagged, std::uint64_t value,
                 std::size_t size) noexcept {
  if (tagged) {
    *target++ = tag;
  }
  write_big_endian(target, value, size);
  return static_cast<int>(size) + (tagged ? 1 : 0);
}

int write_text(char* target, char tag, bool tagged, const char* text) noexcept {
  const std::size_t length =
      text != nullptr ? std::min(std::strlen(text), kMaxTextLength) : std::size_t{0};
  const int head = write_number(target, tag, tagged, length, kLengthSize);
  if (length > 0) {
    std::memcpy(target + head, text, length);
  }
  return head + static_cast<int>(length);
}

}  // namespace

int write_integer(char* call, int value, int flag) {
  return write_number(call, 'I', flag == 0, static_cast<std::uint32_t>(value), sizeof value);
}

int write_long64(char* call, int64_t value, int flag) {
  return write_number(call, 'L', flag == 0, static_cast<std::uint64_t>(value), sizeof value);
}

int write_double(char* call, double value) {
  return write_number(call, 'D', true, std::bit_cast<std::uint64_t>(value), sizeof value);
}

int write_date(char* call, int64_t value) {
  return write_number(call, 'd', true, static_cast<std::uint64_t>(value), sizeof value);
}

int write_string(char* call, const char* value, int flag) {
  return write_text(call, 'S', flag == 0, value);
}

void hessian_make_call(char* call) {
  *call = 'c';
}

void hessian_make_reply(char* reply) {
  *reply = 'r';
}

int hessian_make_ver(int major, int minor, char* buf) {
  buf[0] = static_cast<char>(major);
  buf[1] = static_cast<char>(minor);
  return 2;
}

int hessian_make_method(const char* method, char* buff) {
  return write_text(buff, 'm', true, method);
}

int hessian_complete(char* call) {
  *call = 'z';
  return 1;
}
