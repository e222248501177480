#include "daemon/service_source.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>

#include "daemon/service/script_builds.h"
#include "daemon/settings.h"

namespace vsd {
namespace {

ScriptBuildSettings build_settings(const Config& config) {
  return make_script_build_settings(config.root, config.compiler, config.script_flags);
}

void print_problems(const PreparedServices& prepared) {
  print_problems(prepared.warnings, "warning");
  print_problems(prepared.errors, "error");
}

// Builds every script and writes what came of it to `out`. A process of its own: its end is read as
// the end of the results.
[[noreturn]] void run_builds(const Config& config, int out) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  ScriptBuilds builds;
  try {
    const ScriptBuildSettings settings = build_settings(config);
    const auto ignored = prepare_services(config.root, [&](const std::filesystem::path& source) {
      ScriptBuildResult built = build_script(source, settings);
      builds.add(source, built);
      return built;
    });
    static_cast<void>(ignored);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vsd: building the scripts: %s\n", error.what());
    std::_Exit(EXIT_FAILURE);
  }
  const std::string text = builds.encode();
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t count = write(out, text.data() + at, text.size() - at);
    if (count < 0 && errno != EINTR) {
      std::_Exit(EXIT_FAILURE);
    }
    at += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  std::_Exit(EXIT_SUCCESS);
}

// Whether the wanted addresses are those that are bound; any port will do for port 0.
bool same_listen(const std::vector<ListenAddress>& wanted,
                 const std::vector<ListenAddress>& bound) {
  return std::equal(wanted.begin(), wanted.end(), bound.begin(), bound.end(),
                    [](const ListenAddress& a, const ListenAddress& b) {
                      return a.host == b.host && (a.port == 0 || a.port == b.port);
                    });
}

std::string lines_of(const std::vector<Problem>& problems) {
  std::string text;
  for (const Problem& problem : problems) {
    text += "error: " + to_string(problem) + "\n";
  }
  return text;
}

}  // namespace

PreparedServices prepare_and_report(const Config& config) {
  PreparedServices prepared = prepare_services(config.root, build_settings(config));
  print_problems(prepared);
  return prepared;
}

PreparedServices prepare_and_report(const Config& config, Ports& ports,
                                    std::vector<ServicePort>& service_ports) {
  PreparedServices prepared = prepare_services(config.root, build_settings(config));
  service_ports = open_service_ports(ports, prepared, config.free_service_ports);
  print_problems(prepared);
  return prepared;
}

ServiceSource::ServiceSource(const CommandLine& line,
                             std::shared_ptr<const ServiceGeneration> first, Ports& ports,
                             DataStore& store, Telemetry* telemetry)
    : line_(line), ports_(ports), store_(store), telemetry_(telemetry), latest_(std::move(first)) {}

ServiceSource::~ServiceSource() {
  cancel();
}

// What cannot change while the daemon runs stays as it was.
void ServiceSource::read_config_anew(std::string& problem) {
  const Config& former = latest_->config();
  std::vector<Problem> problems;
  config_ = read_settings(line_, problems);
  if (!problems.empty()) {
    print_problems(problems, "error");
    problem += lines_of(problems);
    config_ = former;
    return;
  }
  const bool needs_restart = !same_listen(config_.listen, former.listen) ||
                             config_.workers != former.workers || config_.user != former.user ||
                             config_.pid_file != former.pid_file || config_.admin != former.admin ||
                             config_.journal_bytes != former.journal_bytes;
  if (needs_restart) {
    std::fprintf(
        stderr,
        "vsd: LISTEN, WORKERS, USER, PID_FILE, ADMIN and JOURNAL_SIZE stay as they were until "
        "a restart\n");
  }
  config_.listen = former.listen;
  config_.workers = former.workers;
  config_.user = former.user;
  config_.pid_file = former.pid_file;
  config_.admin = former.admin;
  config_.journal_bytes = former.journal_bytes;
}

bool ServiceSource::begin(std::string& problem) {
  read_config_anew(problem);
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    problem += std::string("cannot make a pipe: ") + std::strerror(errno) + "\n";
    return false;
  }
  FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  std::fflush(nullptr);
  child_ = fork();
  if (child_ < 0) {
    problem += std::string("cannot start a process: ") + std::strerror(errno) + "\n";
    return false;
  }
  if (child_ == 0) {
    run_builds(config_, writing.get());
  }
  fcntl(reading.get(), F_SETFL, O_NONBLOCK);
  results_ = std::move(reading);
  received_.clear();
  return true;
}

bool ServiceSource::advance() {
  std::array<char, 65536> block{};
  for (;;) {
    const ssize_t count = read(results_.get(), block.data(), block.size());
    if (count > 0) {
      received_.append(block.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
      results_.reset();
      child_ = -1;  // the parent's loop waits for it
      return true;
    } else if (errno == EAGAIN) {
      return false;
    }
  }
}

GenerationPtr ServiceSource::finish(std::string& problem) {
  const auto builds = ScriptBuilds::decode(received_);
  received_.clear();
  if (!builds) {
    problem += "the scripts could not be built\n";
    return nullptr;
  }
  try {
    const ScriptBuildSettings settings = build_settings(config_);
    const std::vector<Problem> problems = apply_settings(config_);
    print_problems(problems, "error");
    problem += lines_of(problems);
    PreparedServices prepared =
        prepare_services(config_.root, [&](const std::filesystem::path& source) {
          const ScriptBuildResult* const built = builds->find(source);
          return built != nullptr ? *built : build_script(source, settings);
        });
    const bool free_ports = config_.free_service_ports;
    std::vector<ServicePort> service_ports = open_service_ports(ports_, prepared, free_ports);
    print_problems(prepared);
    problem += lines_of(prepared.errors);
    keep_former_versions(latest_->prepared(), prepared);
    service_ports = open_service_ports(ports_, prepared, free_ports);  // theirs are open still
    latest_ = std::make_shared<const ServiceGeneration>(
        config_, std::move(prepared), ports_, latest_->http_ports(), std::move(service_ports),
        store_, telemetry_);
    return latest_;
  } catch (const std::exception& error) {
    problem += std::string(error.what()) + "\n";
    return nullptr;
  }
}

void ServiceSource::cancel() noexcept {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    child_ = -1;
  }
  results_.reset();
}

}  // namespace vsd
