// `vsd run`: everything that is set up once, and what the parent tells of while it runs.
#include <sys/stat.h>
#include <time.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "daemon/admin/admin_process.h"
#include "daemon/commands.h"
#include "daemon/host_ops/host_ops.h"
#include "daemon/process/file_watch.h"
#include "daemon/process/pid_file.h"
#include "daemon/process/privileges.h"
#include "daemon/process/service_manager.h"
#include "daemon/process/supervisor.h"
#include "daemon/service/script_cache.h"
#include "daemon/service_source.h"
#include "daemon/settings.h"

namespace vsd {
namespace {

std::vector<PortPtr> open_ports(Ports& ports, Config& config) {
  std::vector<PortPtr> opened;
  for (ListenAddress& address : config.listen) {
    const std::string key = "http " + std::to_string(opened.size());
    opened.push_back(ports.open(key, address, Transport::tcp));
    address = opened.back()->address;
  }
  return opened;
}

// Without PID_FILE a file that cannot be had is no reason not to serve.
std::unique_ptr<PidFile> open_pid_file(const Config& config) {
  try {
    return std::make_unique<PidFile>(config.root / config.pid_file);
  } catch (const std::runtime_error& error) {
    if (config.has_pid_file) {
      throw;
    }
    std::fprintf(stderr, "vsd: warning: %s; vsd reload will not find this process\n", error.what());
    return nullptr;
  }
}

void check_descriptor_limit(const Config& config) {
  const std::size_t limit = raise_descriptor_limit();
  if (config.has_max_connections && config.limits.max_connections > most_connections()) {
    std::fprintf(stderr,
                 "vsd: warning: the limit of %zu open descriptors is too low for MAX_CONNECTIONS "
                 "%zu\n",
                 limit, config.limits.max_connections);
  }
}

class RunEvents final : public SupervisorEvents {
 public:
  RunEvents(const ServiceSource& source, Ports& ports, const PidFile* pid_file,
            std::optional<FileWatch> watch, const Telemetry* telemetry, AdminProcess* admin)
      : source_(source),
        ports_(ports),
        pid_file_(pid_file),
        watch_(std::move(watch)),
        telemetry_(telemetry),
        admin_(admin) {
    start_admin();
  }

  void ready() override {
    std::printf("vsd: ready on %s with %s, %d %s%s%s\n",
                list_of(source_.latest().config().listen).c_str(), services().c_str(),
                ports_.workers(), ports_.workers() == 1 ? "worker" : "workers",
                list_of(source_.latest().service_ports()).c_str(),
                admin_ != nullptr ? (", admin on " + admin_->address()).c_str() : "");
    std::fflush(stdout);
    tell_ready();
  }

  void reloading() override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long microseconds = now.tv_sec * 1000000LL + now.tv_nsec / 1000;
    notify_service_manager("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
  }

  void reloaded(bool is_good, const std::string& problem) override {
    if (is_good) {
      std::fprintf(stderr, "vsd: reloaded, %s%s\n", services().c_str(),
                   list_of(source_.latest().service_ports()).c_str());
    } else {
      std::fprintf(stderr, "vsd: reloaded with errors; what has errors stays as it was\n");
    }
    if (pid_file_ != nullptr) {
      ++reload_.count;
      reload_.is_good = is_good;
      reload_.problem = problem;
      pid_file_->record(reload_);
    }
    tell_ready();
    start_admin();
  }

  void child_ended(pid_t pid) override {
    if (admin_ != nullptr && !is_stopping_) {
      admin_->on_child_end(pid);
    }
  }

  void reopen_logs() override { vsd::reopen_logs(); }

  void stopping() override {
    notify_service_manager("STOPPING=1");
    is_stopping_ = true;
    ports_.close_all();  // from here on only the workers hold the listeners, and close them
  }

  [[nodiscard]] int watch_descriptor() const noexcept override {
    return watch_ ? watch_->descriptor() : -1;
  }
  [[nodiscard]] bool files_changed() override { return watch_->changed(); }

 private:
  [[nodiscard]] std::string services() const {
    const std::size_t count = source_.latest().states().size();
    return std::to_string(count) + (count == 1 ? " service" : " services");
  }
  void tell_ready() const { notify_service_manager("READY=1\nSTATUS=serving " + services()); }

  // One process per set of services: it sees them as they are when it starts.
  void start_admin() {
    if (admin_ == nullptr) {
      return;
    }
    admin_->start([this] {
      ports_.close_all();  // its own descriptors of them; connections are the workers'
      const ServiceGeneration& generation = source_.latest();
      return AdminView(*telemetry_, generation.prepared(), generation.rows(), generation.states());
    });
  }

  const ServiceSource& source_;
  Ports& ports_;
  const PidFile* pid_file_;
  std::optional<FileWatch> watch_;
  const Telemetry* telemetry_;
  AdminProcess* admin_;
  bool is_stopping_ = false;
  ReloadRecord reload_;
};

}  // namespace

int run_command(const CommandLine& line) {
  std::vector<Problem> problems;
  Config config = read_settings(line, problems);
  print_problems(problems, "error");
  if (!problems.empty()) {
    return kExitFailed;
  }
  check_descriptor_limit(config);
  Ports ports(config.workers);
  std::vector<PortPtr> http_ports = open_ports(ports, config);
  std::optional<AdminProcess> admin;
  if (config.admin) {
    admin.emplace(*config.admin);
  }
  const std::unique_ptr<PidFile> pid_file = open_pid_file(config);
  drop_privileges(config.user);
  problems = apply_settings(config);
  print_problems(problems, "error");
  if (!problems.empty()) {
    return kExitFailed;
  }
  const ScriptCache script_cache(script_cache_folder(config.root));
  std::optional<FileWatch> watch;
  if (line.watch) {
    watch.emplace(config.root);  // before the services are read, so that no change is missed
  }
  const WorkerStatus status(static_cast<std::size_t>(config.workers));
  DataStore store(config.root);
  std::vector<ServicePort> service_ports;
  PreparedServices prepared = prepare_and_report(config, ports, service_ports);
  if (prepared.errors.empty()) {
    script_cache.remove_all_but(prepared.objects);
  }
  std::optional<Telemetry> recorded;
  if (admin) {
    recorded.emplace(status, prepared.services.size(), config.journal_bytes);
  }
  Telemetry* const telemetry = recorded ? &*recorded : nullptr;
  auto first = std::make_shared<const ServiceGeneration>(
      config, std::move(prepared), ports, std::move(http_ports), std::move(service_ports), store,
      telemetry);
  ServiceSource source(line, first, ports, store, telemetry);
  RunEvents events(source, ports, pid_file.get(), std::move(watch), telemetry,
                   admin ? &*admin : nullptr);
  return supervise(status, std::move(first), source, events);
}

}  // namespace vsd
