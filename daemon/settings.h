// The settings of a command: what vsd.conf, the environment and the command line say, in the order
// of their weight.
#pragma once

#include <vector>

#include "daemon/cli.h"
#include "daemon/config.h"
#include "daemon/problem.h"

namespace vsd {

// Reads the settings without applying any. `problems` is empty when all is well.
[[nodiscard]] Config read_settings(const CommandLine& line, std::vector<Problem>& problems);

// Gives this process the settings of the library and of the host's logs. Returns what is wrong with
// the library's keyword lines.
[[nodiscard]] std::vector<Problem> apply_settings(const Config& config);

// Prints each problem in a line on standard error.
void print_problems(const std::vector<Problem>& problems, const char* kind);

}  // namespace vsd
