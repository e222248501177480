#include <cstdio>
#include <exception>

#include "daemon/cli.h"
#include "daemon/commands.h"
#include "daemon/faker_command.h"
#include "daemon/hessian_command.h"

namespace {

int execute(const vsd::CommandLine& line) {
  switch (line.command) {
    case vsd::Command::run:
      return vsd::run_command(line);
    case vsd::Command::reload:
      return vsd::reload_command(line);
    case vsd::Command::check:
      return vsd::check_command(line);
    case vsd::Command::create:
      return vsd::new_command(line);
    case vsd::Command::faker:
      return vsd::faker_command(line);
    case vsd::Command::hessian:
      return vsd::hessian_command(line);
  }
  return vsd::kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int exit_status = vsd::kExitOk;
    const auto line = vsd::parse_command_line(argc, argv, exit_status);
    return line ? execute(*line) : exit_status;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vsd: %s\n", error.what());
    return vsd::kExitFailed;
  }
}
