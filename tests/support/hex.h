// Bytes as hexadecimal digits and back.
#pragma once

#include <string>
#include <string_view>

namespace wz::test {

inline std::string bytes_of(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

inline std::string hex_of(std::string_view bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string hex;
  for (const char byte : bytes) {
    hex += kDigits[static_cast<unsigned char>(byte) >> 4];
    hex += kDigits[byte & 0xF];
  }
  return hex;
}

}  // namespace wz::test
