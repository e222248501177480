// `vsd faker`: what fake data there is, and samples of it.
#pragma once

#include "daemon/cli.h"

namespace vsd {

// Lists the classes with an example each, or prints values of the class that the line names.
[[nodiscard]] int faker_command(const CommandLine& line);

}  // namespace vsd
