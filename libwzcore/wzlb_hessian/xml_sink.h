// Where decoded text goes: a bounded buffer or an open file. There is one sink a process, the last
// one that a decoding chose.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "libwzcore/wzlb_hessian/element_name.h"

namespace wz::hessian {

class XmlSink {
 public:
  // `capacity` 0 means that `out` is an open FILE.
  void select(int capacity, void* out) noexcept;

  // Memory: what fits in front of the last byte is kept, the rest dropped.
  void append(std::string_view text) noexcept {
    if (char* const target = reserve(text.size())) {
      std::memcpy(target, text.data(), text.size());
      length_ += text.size();
    } else {
      append_or_drop(text);
    }
  }
  void append(char c) noexcept { append(std::string_view(&c, 1)); }

  // Where `size` bytes may be written, of which `commit` keeps the first ones; null in a file and
  // where memory has less room, which append takes care of.
  [[nodiscard]] char* reserve(std::size_t size) noexcept {
    return room() >= size && text_ != nullptr ? text_ + length_ : nullptr;
  }
  void commit(std::size_t size) noexcept { length_ += size; }

  // After the last piece: puts the NUL behind a text in memory.
  void terminate() noexcept {
    if (text_ != nullptr) {
      text_[length_] = '\0';
    }
  }

  // Bytes that a memory sink still takes.
  [[nodiscard]] std::size_t room() const noexcept { return limit_ - length_; }
  [[nodiscard]] std::size_t length() const noexcept { return length_; }

  // "<name>", "</name>\n" and, for containers, with a line of their own.
  void open_inline(const ElementName& name) noexcept { tag(name.inline_start()); }
  void close_inline(const ElementName& name) noexcept { tag(name.inline_end()); }
  void open_container(const ElementName& name) noexcept { tag(name.container_start()); }
  void close_container(const ElementName& name) noexcept { tag(name.container_end()); }

  void scalar(const ElementName& name, std::string_view value) noexcept {
    open_inline(name);
    append(value);
    close_inline(name);
  }
  void integer(const ElementName& name, std::int64_t value) noexcept {
    constexpr std::size_t kDigits = 20;
    if (char* const start = reserve(ElementName::kTagRoom * 2 + kDigits)) {
      char* const number = put_tag(start, name.inline_start());
      char* const end = std::to_chars(number, number + kDigits, value).ptr;
      commit(static_cast<std::size_t>(put_tag(end, name.inline_end()) - start));
      return;
    }
    char number[kDigits];
    const auto end = std::to_chars(number, number + kDigits, value);
    scalar(name, {number, static_cast<std::size_t>(end.ptr - number)});
  }

 private:
  void tag(std::string_view text) noexcept {
    if (char* const target = reserve(ElementName::kTagRoom)) {
      put_tag(target, text);
      commit(text.size());
    } else {
      append_or_drop(text);
    }
  }
  void append_or_drop(std::string_view text) noexcept;

  std::FILE* file_ = nullptr;
  char* text_ = nullptr;
  std::size_t limit_ = 0;  // most bytes of text: one less than the capacity
  std::size_t length_ = 0;
};

XmlSink& sink() noexcept;

constexpr std::string_view kDocumentStart = "<hessian>";
constexpr std::string_view kDocumentEnd = "\n</hessian>";

// Room for "2038-01-19 03:14:07.000" in any year that a date can have.
constexpr std::size_t kDateTextSize = 40;

// Local time of `milliseconds` since 1970 as "%Y-%m-%d %H:%M:%S" and ".%3.3d"; the length, 0 when
// the time has no such text.
std::size_t convert_date(long long milliseconds, char (&text)[kDateTextSize]) noexcept;

}  // namespace wz::hessian
