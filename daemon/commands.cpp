#include "daemon/commands.h"

#include <wz/wzlb_faker.h>

#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "daemon/config.h"
#include "daemon/host_ops/host_ops.h"
#include "daemon/http/server.h"
#include "daemon/process/listener.h"
#include "daemon/process/privileges.h"
#include "daemon/process/supervisor.h"
#include "daemon/scaffold.h"
#include "daemon/service/check.h"
#include "daemon/service/request_runner.h"
#include "daemon/service/service_image.h"

namespace vsd {
namespace {

void print_problems(const std::vector<Problem>& problems, const char* kind) {
  for (const Problem& problem : problems) {
    std::fprintf(stderr, "%s: %s\n", kind, to_string(problem).c_str());
  }
}

// The settings of a work directory, applied to this process; every problem is printed.
struct Settings {
  Config config;
  bool is_good = false;
};

Settings load_settings(const CommandLine& line) {
  Settings settings;
  Config& config = settings.config;
  config.root = line.root;
  if (!std::filesystem::is_directory(line.root)) {
    std::fprintf(stderr, "vsd: %s is no work directory\n", line.root.c_str());
    return settings;
  }
  std::vector<Problem> problems = read_config(line.root / "vsd.conf", config);
  if (line.listen) {
    if (const std::string problem = parse_listen_address(*line.listen, config.listen);
        !problem.empty()) {
      problems.push_back({"--listen", 0, problem});
    }
  }
  config.workers = line.workers.value_or(config.workers);
  for (Problem& problem : apply_library_settings(config)) {
    problems.push_back(std::move(problem));
  }
  print_problems(problems, "error");
  settings.is_good = problems.empty();
  return settings;
}

void configure_host(const Config& config) {
  const auto logs = config.root / "logs";
  set_host_work_directory(config.root);
  set_host_trace_log(logs / "vsd_trace.log", config.trace_level);
  set_controller_name(config.controller_name);
  set_host_log_masks(config.debug_level, config.module_mask);
  if (!set_host_logs(logs / "vsd_debug.log", logs / "vsd_error.log")) {
    std::fprintf(stderr, "vsd: warning: %s cannot be written\n", (logs / "vsd_error.log").c_str());
  }
}

PreparedServices prepare(const Config& config) {
  return prepare_services(
      config.root, make_script_build_settings(config.root, config.compiler, config.script_flags));
}

std::vector<Listener> open_listeners(Config& config) {
  std::vector<Listener> listeners;
  listeners.push_back(open_listener(config.listen));
  config.listen.port = listeners.front().port;  // the others join the port that the first one got
  while (listeners.size() < static_cast<std::size_t>(config.workers)) {
    listeners.push_back(join_listener(config.listen));
  }
  return listeners;
}

// What service times depend on. Requests spread over the workers, and so does the full load.
void set_host_load(const Config& config, int worker) {
  set_full_load(static_cast<double>(config.full_load) / config.workers);
  seed_host_generators(config.random_seed.value_or(std::random_device{}()), worker,
                       static_cast<double>(config.service_time_mean));
  if (config.random_seed) {
    wzlb_faker_seed(*config.random_seed + static_cast<unsigned long>(worker));
  }
}

// What a worker process does from its start to its end.
int serve(const Config& config, const PreparedServices& prepared, const ServiceImage& image,
          std::vector<Listener>& listeners, const ServiceStates& states, WorkerSlot& slot,
          int worker, const std::function<void()>& ready) {
  set_host_process(worker, config.workers);
  set_host_load(config, worker);
  std::vector<Problem> problems;
  const auto index = static_cast<std::size_t>(worker);
  ServiceRunner runner(image, load_scripts(prepared, problems), slot, states);
  runner.set_match_detail(config.match_detail);
  print_problems(problems, "error");
  const int listen_fd = listeners[index].socket.release();
  listeners.clear();  // the other workers' sockets; they would keep connections from being served
  http::Server server(config.limits, runner, listen_fd);
  set_socket_release([&server](int socket) { server.abandon(socket); });
  ready();
  server.run();
  return kExitOk;
}

}  // namespace

int run_command(const CommandLine& line) {
  Settings settings = load_settings(line);
  if (!settings.is_good) {
    return kExitFailed;
  }
  Config& config = settings.config;
  std::vector<Listener> listeners = open_listeners(config);
  drop_privileges(config.user);
  configure_host(config);

  const PreparedServices prepared = prepare(config);
  print_problems(prepared.warnings, "warning");
  print_problems(prepared.errors, "error");
  const ServiceImage image = ServiceImage::build(prepared.services);

  const WorkerStatus status(static_cast<std::size_t>(config.workers));
  const ServiceStates states(image.size());
  SupervisorOptions options;
  options.script_timeout = config.script_timeout;
  options.on_ready = [&] {
    std::printf("vsd: ready on %s with %zu %s, %d %s\n", to_string(config.listen).c_str(),
                image.size(), image.size() == 1 ? "service" : "services", config.workers,
                config.workers == 1 ? "worker" : "workers");
    std::fflush(stdout);
  };
  return supervise(options, status, [&](int worker, const std::function<void()>& ready) {
    WorkerSlot& slot = status.slots()[static_cast<std::size_t>(worker)];
    return serve(config, prepared, image, listeners, states, slot, worker, ready);
  });
}

int check_command(const CommandLine& line) {
  const Settings settings = load_settings(line);
  if (!std::filesystem::is_directory(line.root)) {
    return kExitFailed;
  }
  const PreparedServices prepared = prepare(settings.config);
  print_problems(prepared.warnings, "warning");
  print_problems(prepared.errors, "error");
  if (!settings.is_good || !prepared.errors.empty()) {
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
