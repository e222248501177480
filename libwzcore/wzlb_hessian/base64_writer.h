// Bytes that come in pieces of any size, as one base64 text.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "libwzcore/wzlb_encode_decode/base64_core.h"
#include "libwzcore/wzlb_hessian/xml_sink.h"

namespace wz::hessian {

class Base64Writer {
 public:
  explicit Base64Writer(XmlSink& sink) noexcept : sink_(sink) {}

  void put(std::string_view data) noexcept {
    while (waiting_ > 0 && !data.empty()) {
      group_[waiting_++] = static_cast<unsigned char>(data.front());
      data.remove_prefix(1);
      if (waiting_ == kGroup) {
        flush();
      }
    }
    for (std::size_t size = data.size() / kGroup * kGroup; size > 0;
         size = data.size() / kGroup * kGroup) {
      size = std::min(size, kBlock);
      encode(reinterpret_cast<const unsigned char*>(data.data()), size);
      data.remove_prefix(size);
    }
    for (const char byte : data) {
      group_[waiting_++] = static_cast<unsigned char>(byte);
    }
  }
  // After the last piece.
  void flush() noexcept {
    encode(group_.data(), waiting_);
    waiting_ = 0;
  }

 private:
  static constexpr std::size_t kGroup = 3;
  static constexpr std::size_t kBlock = 1024 * kGroup;  // no padding inside the text

  void encode(const unsigned char* data, std::size_t size) noexcept {
    const std::size_t length = base64::encoded_size(size);
    if (char* const target = sink_.reserve(length)) {
      base64::encode(data, size, reinterpret_cast<unsigned char*>(target));
      sink_.commit(length);
      return;
    }
    std::array<unsigned char, base64::encoded_size(kBlock)> text;
    base64::encode(data, size, text.data());
    sink_.append({reinterpret_cast<const char*>(text.data()), length});
  }

  XmlSink& sink_;
  std::array<unsigned char, kGroup> group_{};  // the bytes in front of the next whole group
  std::size_t waiting_ = 0;
};

}  // namespace wz::hessian
