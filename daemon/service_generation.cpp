#include "daemon/service_generation.h"

#include <sys/socket.h>
#include <wz/wzlb_faker.h>
#include <wz/wzlb_sock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <utility>

#include "daemon/access_log.h"
#include "daemon/data_source/source_session.h"
#include "daemon/forward/curl_forwarder.h"
#include "daemon/host_ops/host_ops.h"
#include "daemon/http/server.h"
#include "daemon/process/script_guard.h"
#include "daemon/process/service_manager.h"
#include "daemon/service/request_runner.h"
#include "daemon/settings.h"

namespace vsd {

namespace {

// What service times depend on. Requests spread over the workers, and so does the full load.
void set_host_load(const Config& config, int worker) {
  set_full_load(static_cast<double>(config.full_load) / config.workers);
  seed_host_generators(config.random_seed.value_or(std::random_device{}()), worker,
                       static_cast<double>(config.service_time_mean));
  if (config.random_seed) {
    wzlb_faker_seed(*config.random_seed + static_cast<unsigned long>(worker));
  }
}

// Accepted connections have the settings of their listener.
void set_keep_alive(int listener, const KeepAlive& settings) {
  if (settings.idle == 0) {
    const int off = 0;
    setsockopt(listener, SOL_SOCKET, SO_KEEPALIVE, &off, sizeof off);
    return;
  }
  std::array<char, WZLB_SOCK_ERROR_SIZE> message{};
  if (wzlb_set_keepalive_params(listener, settings.idle, settings.interval, settings.count,
                                message.data()) != 0) {
    std::fprintf(stderr, "vsd: warning: %s\n", message.data());
  }
}

// Where this daemon's own services are reached from this machine.
std::string own_origin(ListenAddress address) {
  if (address.host.empty() || address.host == "0.0.0.0") {
    address.host = "127.0.0.1";
  } else if (address.host == "::") {
    address.host = "::1";
  }
  return "http://" + to_string(address);
}

std::vector<const DataSourceDefinition*> data_sources_of(
    const std::vector<ServiceDefinition>& services) {
  std::vector<const DataSourceDefinition*> sources;
  for (const ServiceDefinition& service : services) {
    for (const DataSourceDefinition& source : service.data_sources) {
      sources.push_back(&source);
    }
  }
  return sources;
}

}  // namespace

ServiceGeneration::ServiceGeneration(Config config, PreparedServices prepared, Ports& ports,
                                     std::vector<PortPtr> http_ports,
                                     std::vector<ServicePort> service_ports, DataStore& store,
                                     Telemetry* telemetry)
    : config_(std::move(config)),
      rules_{config_.script_timeout, config_.crash_limit, config_.crash_window},
      prepared_(std::move(prepared)),
      image_(ServiceImage::build(prepared_.services)),
      states_(image_.size()),
      ports_(ports),
      http_ports_(std::move(http_ports)),
      service_ports_(std::move(service_ports)),
      store_(store),
      tables_(store.tables_of(data_sources_of(prepared_.services))),
      telemetry_(telemetry) {
  if (telemetry != nullptr) {
    rows_ = telemetry->rows.rows_of(prepared_.services);
  }
}

std::string ServiceGeneration::service_name(std::uint32_t service) const {
  return std::string(image_.service(service).name());
}

// What the worker of this number serves. The others' sockets are closed here: they would keep
// connections from being served.
std::vector<ServiceGeneration::Taken> ServiceGeneration::take_ports(std::uint32_t number) const {
  std::vector<Taken> own;
  for (const PortPtr& port : http_ports_) {
    own.push_back({std::move(port->workers[number]), nullptr});
  }
  for (const ServicePort& service : service_ports_) {
    own.push_back({std::move(service.port->workers[number]), &service.endpoint});
  }
  ports_.close_all();
  for (const auto& [port, raw] : own) {
    if (raw == nullptr || raw->transport == Transport::tcp) {
      set_keep_alive(port.listener.socket.get(), config_.keep_alive);
    }
  }
  return own;
}

std::vector<http::Endpoint> ServiceGeneration::endpoints_of(std::vector<Taken>& ports) {
  std::vector<http::Endpoint> endpoints;
  endpoints.reserve(ports.size());
  for (auto& [port, raw] : ports) {
    endpoints.push_back({port.listener.socket.release(), &port.handover, raw});
  }
  return endpoints;
}

int ServiceGeneration::serve(WorkerSeat seat) const {
  const std::uint32_t number = seat.slot.number;
  set_host_process(static_cast<int>(number), ports_.workers());
  set_host_load(config_, static_cast<int>(number));
  std::vector<Problem> problems;
  SourceSession data_sources(store_, tables_);
  ScriptGuard guard(seat.slot);
  ServiceRunner runner(image_, load_scripts(prepared_, problems), guard, states_);
  runner.set_match_detail(config_.match_detail);
  print_problems(problems, "error");
  std::optional<AccessLog> access_log;
  if (!config_.access_log.empty()) {
    access_log.emplace(config_.access_log == "-" ? "-" : config_.root / config_.access_log, number,
                       runner);
  }
  http::RequestHandler* const handler =
      access_log ? static_cast<http::RequestHandler*>(&*access_log) : &runner;
  std::vector<Taken> own = take_ports(number);
  const ListenAddress& own_address = http_ports_.front()->address;
  set_host_port(own_address.port);
  runner.set_own_origin(own_origin(own_address));
  CurlForwarder forwarder;
  HttpLimits limits = config_.limits;
  limits.max_connections = std::min(limits.max_connections, most_connections());
  http::Server server(limits, *handler, endpoints_of(own));
  server.forward_with(forwarder);
  std::optional<TrafficRecorder> recorder;
  if (telemetry_ != nullptr) {
    server.observe(recorder.emplace(*telemetry_, seat.slot, rows_));
  }
  set_socket_release([&server](int socket) { server.abandon(socket); });
  server.on_signal(kRetireSignal, [&server] { server.retire(); });
  server.on_signal(kReopenSignal, [&access_log] {
    reopen_logs();
    if (access_log) {
      access_log->reopen();
    }
  });
  server.on_retired([&seat] { seat.report_retired(); });
  guard.catch_failures(seat.report_pipe);
  seat.report_ready();
  server.run();
  seat.ignore_signals();
  if (guard.has_left_script()) {
    std::_Exit(0);  // exit handlers could wait for a lock that the script held
  }
  return 0;
}

}  // namespace vsd
