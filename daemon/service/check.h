// Everything that can be found wrong with the services of a work directory, and what is left to
// serve: `vsd check` prints the problems, `vsd run` serves the rest.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "daemon/problem.h"
#include "daemon/service/script.h"
#include "daemon/service/script_build.h"
#include "daemon/service/service_definition.h"

namespace vsd {

struct PreparedServices {
  std::vector<ServiceDefinition> services;     // without error
  std::vector<std::filesystem::path> objects;  // the compiled script of each; empty: it has none
  std::vector<Problem> errors;                 // by file and line
  std::vector<Problem> warnings;               // of the C compiler; by file and line
};

using ScriptBuilder = std::function<ScriptBuildResult(const std::filesystem::path& source)>;

// Reads every service below `root` and has its script built. A service with any error is left out.
[[nodiscard]] PreparedServices prepare_services(const std::filesystem::path& root,
                                                const ScriptBuilder& build);
[[nodiscard]] PreparedServices prepare_services(const std::filesystem::path& root,
                                                const ScriptBuildSettings& settings);

// Adds to `fresh` the services of `former` that still have their declarations, but with errors, and
// marks them as former versions. The errors stay.
void keep_former_versions(const PreparedServices& former, PreparedServices& fresh);

// Loads the scripts of prepared services into this process; one element per service. What cannot
// be loaded is added to `problems` and left without hooks.
[[nodiscard]] std::vector<Script> load_scripts(const PreparedServices& prepared,
                                               std::vector<Problem>& problems);

}  // namespace vsd
