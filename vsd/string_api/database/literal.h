// SQL literals for the caller's buffer.
#pragma once

namespace wz::script {

// Copies a literal and returns its length. A literal that does not fit is not cut: the rest of the
// text would be SQL. Then, and for a null one, `out` becomes empty and the result is -1.
int deliver_literal(const char* literal, char* out, int size) noexcept;

}  // namespace wz::script
