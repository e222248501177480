// wz_date_var, which the library's own declaration reader takes.
#pragma once

#include <string>

#include "daemon/service/service_definition.h"

namespace vsd {

// Reads the declaration `line` into `date`. Returns an empty text, or what is wrong.
// Uses the library's process-wide parameter module, whose callbacks it sets on the first call.
[[nodiscard]] std::string read_date_declaration(std::string line, int line_number,
                                                DateSource& date);

// From here on the holiday file is read afresh, once, by the first declaration that needs it.
void forget_holidays();

}  // namespace vsd
