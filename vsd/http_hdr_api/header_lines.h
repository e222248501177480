// Header lines that scripts collect in the current request's response record.
#pragma once

#include <wz/vsd_host.h>

namespace wz::script {

// The response record of the current request, made on first use; null when nothing is served.
UrlDynamicData* response_data() noexcept;

// Appends `line`, CR LF and a NUL to `text`, a tracked block of `length` bytes that `label` names
// in messages, null at first.
void append_header_line(char*& text, long& length, const char* line, const char* label) noexcept;

}  // namespace wz::script
