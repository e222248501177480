// One version of the services with the settings that they are served by.
#pragma once

#include <string>
#include <vector>

#include "daemon/admin/telemetry.h"
#include "daemon/config.h"
#include "daemon/data_source/data_store.h"
#include "daemon/http/server.h"
#include "daemon/process/generation.h"
#include "daemon/service/check.h"
#include "daemon/service/service_image.h"
#include "daemon/service_ports.h"

namespace vsd {

class ServiceGeneration final : public Generation {
 public:
  // Serves at `http_ports` and `service_ports`, which are among `ports`. `ports` and `store` must
  // outlive the generation, and `telemetry` too; without it nothing is recorded. Throws
  // std::runtime_error when the tables of a data source cannot be made.
  ServiceGeneration(Config config, PreparedServices prepared, Ports& ports,
                    std::vector<PortPtr> http_ports, std::vector<ServicePort> service_ports,
                    DataStore& store, Telemetry* telemetry);

  [[nodiscard]] int serve(WorkerSeat seat) const override;
  [[nodiscard]] std::string service_name(std::uint32_t service) const override;
  [[nodiscard]] const ServiceStates& states() const override { return states_; }
  [[nodiscard]] const ScriptRules& rules() const override { return rules_; }

  [[nodiscard]] const Config& config() const noexcept { return config_; }
  [[nodiscard]] const PreparedServices& prepared() const noexcept { return prepared_; }
  [[nodiscard]] const std::vector<PortPtr>& http_ports() const noexcept { return http_ports_; }
  [[nodiscard]] const std::vector<ServicePort>& service_ports() const noexcept {
    return service_ports_;
  }
  // The services' rows of the counters.
  [[nodiscard]] const std::vector<std::uint32_t>& rows() const noexcept { return rows_; }

 private:
  // A port as one worker has it.
  struct Taken {
    WorkerPort port;
    const raw::Endpoint* raw = nullptr;
  };
  [[nodiscard]] std::vector<Taken> take_ports(std::uint32_t number) const;
  [[nodiscard]] static std::vector<http::Endpoint> endpoints_of(std::vector<Taken>& ports);

  Config config_;
  ScriptRules rules_;
  PreparedServices prepared_;
  ServiceImage image_;
  ServiceStates states_;
  Ports& ports_;
  std::vector<PortPtr> http_ports_;
  std::vector<ServicePort> service_ports_;
  const DataStore& store_;
  std::vector<DataTablePtr> tables_;  // in the order of the services
  const Telemetry* telemetry_;
  std::vector<std::uint32_t> rows_;
};

}  // namespace vsd
