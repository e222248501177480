// `vsd hessian decode|encode`: Hessian messages as XML and back, for people who look at captures.
#pragma once

#include "daemon/cli.h"

namespace vsd {

// Reads the file of the command line, or standard input, and writes to standard output.
[[nodiscard]] int hessian_command(const CommandLine& line);

}  // namespace vsd
