#include "daemon/commands.h"

#include <cstdio>
#include <iterator>
#include <utility>
#include <vector>

#include "daemon/scaffold.h"
#include "daemon/service/script_cache.h"
#include "daemon/service_source.h"
#include "daemon/settings.h"

namespace vsd {

int check_command(const CommandLine& line) {
  std::vector<Problem> problems;
  const Config config = read_settings(line, problems);
  if (std::filesystem::is_directory(line.root)) {
    std::vector<Problem> found = apply_library_settings(config);
    std::move(found.begin(), found.end(), std::back_inserter(problems));
  }
  print_problems(problems, "error");
  if (!std::filesystem::is_directory(line.root)) {
    return kExitFailed;
  }
  const ScriptCache script_cache(script_cache_folder(config.root));
  const PreparedServices prepared = prepare_and_report(config);
  if (!problems.empty() || !prepared.errors.empty()) {
    return kExitFailed;
  }
  const std::size_t count = prepared.services.size();
  std::printf("vsd: %zu %s good\n", count, count == 1 ? "service is" : "services are");
  return kExitOk;
}

int new_command(const CommandLine& line) {
  const std::filesystem::path folder = create_service(line.root, line.service_name);
  std::printf(
      "Created %s.\n"
      "  vsd run --root %s\n"
      "  curl 'http://127.0.0.1:8080/%s?who=you'\n",
      folder.c_str(), line.root.c_str(), line.service_name.c_str());
  return kExitOk;
}

}  // namespace vsd
