// One version of the services with the settings that they are served by.
#pragma once

#include <string>
#include <vector>

#include "daemon/admin/telemetry.h"
#include "daemon/config.h"
#include "daemon/http/handover.h"
#include "daemon/process/generation.h"
#include "daemon/process/listener.h"
#include "daemon/service/check.h"
#include "daemon/service/service_image.h"

namespace vsd {

// Where the workers of a number get their connections from, whatever their generation. The parent
// keeps them, so that what waits in a listener's queue outlives a worker.
struct WorkerPort {
  Listener listener;
  http::HandoverChannel handover;
};

class ServiceGeneration final : public Generation {
 public:
  // `ports` must outlive the generation, and `telemetry` too; without it nothing is recorded.
  ServiceGeneration(Config config, PreparedServices prepared, std::vector<WorkerPort>& ports,
                    Telemetry* telemetry);

  [[nodiscard]] int serve(WorkerSeat seat) const override;
  [[nodiscard]] std::string service_name(std::uint32_t service) const override;
  [[nodiscard]] const ServiceStates& states() const override { return states_; }
  [[nodiscard]] const ScriptRules& rules() const override { return rules_; }

  [[nodiscard]] const Config& config() const noexcept { return config_; }
  [[nodiscard]] const PreparedServices& prepared() const noexcept { return prepared_; }
  // The services' rows of the counters.
  [[nodiscard]] const std::vector<std::uint32_t>& rows() const noexcept { return rows_; }

 private:
  Config config_;
  ScriptRules rules_;
  PreparedServices prepared_;
  ServiceImage image_;
  ServiceStates states_;
  std::vector<WorkerPort>& ports_;
  const Telemetry* telemetry_;
  std::vector<std::uint32_t> rows_;
};

}  // namespace vsd
