#include "vsd/string_api/database/row_text.h"

#include <algorithm>

namespace wz::script {

void RowText::add(Field field) noexcept {
  const std::string_view text = field.value_or(kNullField);
  const std::size_t line_feed = is_behind_row_ ? 1 : 0;
  if (is_full_ || used_ + line_feed + text.size() + 1 > buffer_.size()) {
    is_full_ = true;
    return;
  }
  if (is_behind_row_) {
    buffer_[used_++] = '\n';
    is_behind_row_ = false;
  }
  used_ += text.copy(buffer_.data() + used_, text.size());
  buffer_[used_++] = ',';
  // In a buffer that ends here the NUL takes the comma's place at once.
  buffer_[std::min(used_, buffer_.size() - 1)] = '\0';
}

void RowText::end_row() noexcept {
  if (!is_full_ && used_ > 0) {
    buffer_[--used_] = '\0';
    is_behind_row_ = true;
  }
}

}  // namespace wz::script
