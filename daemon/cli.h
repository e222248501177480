// The command line: `vsd run | reload | check | new | faker | hessian`.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vsd {

enum class Command { run, reload, check, create, faker, hessian };

// `vsd faker [CLASS]`.
struct FakerOptions {
  std::string class_text;  // with its arguments; empty: all classes
  int count = 1;
  std::optional<unsigned long long> seed;
};

// `vsd hessian decode|encode [FILE]`.
struct HessianOptions {
  bool encode = false;
  std::string file;  // empty: standard input
  int version = 2;
};

struct CommandLine {
  Command command = Command::run;
  std::filesystem::path root;
  std::vector<std::string> listen;      // --listen, over LISTEN of vsd.conf
  std::optional<int> workers;           // --workers, over WORKERS
  std::optional<std::string> pid_file;  // --pid-file, over PID_FILE
  bool watch = false;                   // --watch
  std::string service_name;             // of `new`
  FakerOptions faker;
  HessianOptions hessian;
};

// Exit statuses of vsd.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;  // what was asked for did not come about; a message says why
inline constexpr int kExitUsage = 2;   // wrong command line

// Reads the arguments. Prints help or what is wrong and leaves the exit status in `exit_status`
// when there is nothing to run.
[[nodiscard]] std::optional<CommandLine> parse_command_line(int argc, char** argv,
                                                            int& exit_status);

}  // namespace vsd
