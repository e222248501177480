// Runs the C compiler as a child process, without a shell, and collects what it prints.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vsd {

struct CompilerRun {
  bool succeeded = false;
  std::string failure;  // why not, in a few words
  std::string output;   // standard output and error, in the order written
};

// `arguments[0]` is the program, looked up in PATH. The child speaks English, whatever the
// locale of the daemon is, so that its diagnostics can be read.
CompilerRun run_compiler(const std::vector<std::string>& arguments);

// The executable that `name` means: a path, or a name looked up in PATH.
std::optional<std::filesystem::path> find_program(const std::string& name);

}  // namespace vsd
