#include "daemon/settings.h"

#include <wz/wz_database.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "daemon/host_ops/host_ops.h"

namespace vsd {
namespace {

// What the database functions of scripts read of their process: the server, and the work directory
// that files are written below.
void set_databases(const Config& config) {
  const std::string_view text = config.db_connection.empty()
                                    ? WZ_DB_DEFAULT_CONNECTION
                                    : std::string_view(config.db_connection);
  connString[text.copy(connString, sizeof connString - 1)] = '\0';
  setenv("VSD_ROOT", config.root.c_str(), 1);
}

}  // namespace

Config read_settings(const CommandLine& line, std::vector<Problem>& problems) {
  Config config;
  config.root = line.root;
  if (!std::filesystem::is_directory(line.root)) {
    problems.push_back({line.root, 0, "is no work directory"});
    return config;
  }
  problems = read_config(line.root / "vsd.conf", config);
  std::vector<Problem> found = read_environment(config);
  std::move(found.begin(), found.end(), std::back_inserter(problems));
  if (!line.listen.empty()) {
    config.listen.clear();
  }
  for (const std::string& text : line.listen) {
    if (std::string problem = parse_listen_address(text, config.listen.emplace_back());
        !problem.empty()) {
      problems.push_back({"--listen", 0, std::move(problem)});
    }
  }
  if (config.listen.empty()) {
    config.listen.push_back(kDefaultListen);
  }
  config.workers = line.workers.value_or(config.workers);
  if (line.pid_file) {
    config.pid_file = *line.pid_file;
    config.has_pid_file = true;
  }
  return config;
}

std::vector<Problem> apply_settings(const Config& config) {
  std::vector<Problem> problems = apply_library_settings(config);
  const auto logs = config.root / "logs";
  set_host_work_directory(config.root);
  set_host_trace_log(logs / "vsd_trace.log", config.trace_level);
  set_controller_name(config.controller_name);
  set_databases(config);
  set_host_log_masks(config.debug_level, config.module_mask);
  if (!set_host_logs(logs / "vsd_debug.log", logs / "vsd_error.log")) {
    std::fprintf(stderr, "vsd: warning: %s cannot be written\n", (logs / "vsd_error.log").c_str());
  }
  return problems;
}

void print_problems(const std::vector<Problem>& problems, const char* kind) {
  for (const Problem& problem : problems) {
    std::fprintf(stderr, "%s: %s\n", kind, to_string(problem).c_str());
  }
}

}  // namespace vsd
