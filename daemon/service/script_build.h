// Turns a service's script.c into a shared object with the system's C compiler. Results are kept
// below the work directory, named by everything they were made from, so that a start with unchanged
// scripts compiles nothing.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/problem.h"

namespace vsd {

struct ScriptBuildSettings {
  std::string compiler = "cc";        // a program name or path, run without a shell
  std::string flags;                  // further arguments, parted by blanks
  std::filesystem::path include_dir;  // holds wz/wz_script.h
  std::filesystem::path library;      // libwz.so, which scripts are linked against
  std::filesystem::path cache_dir;    // made when missing
};

// The settings of this process: headers beside the running program (<dir>/../include), the libwz.so
// that it has loaded, the cache below `root`.
ScriptBuildSettings make_script_build_settings(const std::filesystem::path& root,
                                               std::string compiler, std::string flags);

struct ScriptBuildResult {
  std::filesystem::path object;   // the shared object; empty when the build failed
  std::vector<Problem> errors;    // never empty when the build failed
  std::vector<Problem> warnings;  // of this build or, for a cached object, of the one that made it
  std::string diagnostics;        // the compiler's own words, whole
  bool from_cache = false;
};

// Safe to run at the same time from several processes on one cache: objects appear by rename, whole
// or not at all.
ScriptBuildResult build_script(const std::filesystem::path& source,
                               const ScriptBuildSettings& settings);

// Splits the output of a C compiler and linker into errors and warnings; other lines are context.
void parse_diagnostics(std::string_view output, std::vector<Problem>& errors,
                       std::vector<Problem>& warnings);

}  // namespace vsd
