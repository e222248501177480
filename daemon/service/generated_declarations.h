// Declarations of values that the daemon makes up: random numbers, random strings and fake data,
// unique numbers. The library's own readers take them.
#pragma once

#include <string>
#include <string_view>

#include "daemon/service/service_definition.h"

namespace vsd {

// Reads the declaration `line`, whose name is `api`, into `source`. Returns an empty text, or what
// is wrong.
[[nodiscard]] std::string read_generated_declaration(std::string_view api, std::string line,
                                                     int line_number, GeneratedSource& source);

}  // namespace vsd
