// The command line: `vsd run | check | new | faker`.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace vsd {

enum class Command { run, check, create, faker };

// `vsd faker [CLASS]`.
struct FakerOptions {
  std::string class_text;  // with its arguments; empty: all classes
  int count = 1;
  std::optional<unsigned long long> seed;
};

struct CommandLine {
  Command command = Command::run;
  std::filesystem::path root;
  std::optional<std::string> listen;  // --listen, over LISTEN of vsd.conf
  std::optional<int> workers;         // --workers, over WORKERS
  std::string service_name;           // of `new`
  FakerOptions faker;
};

// Exit statuses of vsd.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

// Reads the arguments. Prints help or what is wrong and leaves the exit status in `exit_status`
// when there is nothing to run.
[[nodiscard]] std::optional<CommandLine> parse_command_line(int argc, char** argv,
                                                            int& exit_status);

}  // namespace vsd
