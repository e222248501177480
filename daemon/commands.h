// What the commands of vsd do. Each prints for the operator and returns the exit status.
#pragma once

#include "daemon/cli.h"

namespace vsd {

[[nodiscard]] int run_command(const CommandLine& line);
[[nodiscard]] int reload_command(const CommandLine& line);
[[nodiscard]] int check_command(const CommandLine& line);
[[nodiscard]] int new_command(const CommandLine& line);

}  // namespace vsd
