// The one growable buffer that templates are expanded into. It grows in steps of 1024 bytes and is
// never given back, so that evaluation soon stops allocating; every evaluation overwrites the last.
#pragma once

namespace wz::script {

class OutputBuffer {
 public:
  static constexpr int kStep = 1024;

  [[nodiscard]] char* data() const noexcept { return data_; }

  // How many more bytes, with a NUL behind them, fit behind the `used` bytes already written; one
  // byte always stays unused. Below 0 when not even the NUL does.
  [[nodiscard]] long room(long used) const noexcept { return capacity_ - used - 2; }

  [[nodiscard]] bool fits(long used, long length) const noexcept { return length <= room(used); }

  // Makes them fit. Growth may move the buffer; false when it failed.
  [[nodiscard]] bool reserve(long used, long length) noexcept {
    return fits(used, length) || grow_beyond(used + length + 1);
  }

  // Grows by `steps` steps at once.
  [[nodiscard]] bool grow(long steps) noexcept;

  // Whether `pointer` points into the buffer.
  [[nodiscard]] bool holds(const char* pointer) const noexcept {
    return data_ != nullptr && pointer >= data_ && pointer < data_ + capacity_;
  }

 private:
  [[nodiscard]] bool grow_beyond(long needed) noexcept;

  char* data_ = nullptr;
  long capacity_ = 0;  // never above INT_MAX
};

// One per process: the script API serves one request at a time.
extern OutputBuffer output_buffer;

}  // namespace wz::script
