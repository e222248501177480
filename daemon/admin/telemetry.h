// Everything that the daemon records about its traffic, made by the parent before it starts any
// worker, and the worker's side of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "daemon/admin/journal.h"
#include "daemon/admin/traffic_counters.h"
#include "daemon/http/traffic_observer.h"
#include "daemon/name_ids.h"
#include "daemon/process/worker_status.h"
#include "daemon/service/service_definition.h"

namespace vsd {

// A service as the operator knows it; the same after a reload.
struct ServiceKey {
  std::string project;  // "demo/shop"
  std::string name;
};

// The key of a service by its folder, <project>/<subproject>/services/<service>.
[[nodiscard]] ServiceKey key_of(const std::filesystem::path& folder, std::string name);

// Gives each service a row of the counters, which it keeps over reloads. Used by the parent alone;
// the processes that it forks see the rows that there were.
class ServiceRows {
 public:
  static constexpr std::uint32_t kNoService = 0;  // requests that reached no service
  static constexpr std::uint32_t kOthers = 1;     // of services that found no row any more

  explicit ServiceRows(std::size_t capacity);

  [[nodiscard]] std::uint32_t row_of(const ServiceKey& key);
  // One per service, in their order.
  [[nodiscard]] std::vector<std::uint32_t> rows_of(const std::vector<ServiceDefinition>& services);
  // By row; those of the first two are empty.
  [[nodiscard]] const std::vector<ServiceKey>& keys() const noexcept { return keys_; }

 private:
  std::size_t capacity_;
  std::vector<ServiceKey> keys_;
  NameIds ids_;  // of the keys behind the first two
};

struct Telemetry {
  // Room for the services that reloads add as well. Throws std::system_error.
  Telemetry(const WorkerStatus& worker_status, std::size_t services, std::size_t journal_bytes);

  const WorkerStatus& status;
  ServiceRows rows;
  TrafficCounters counters;
  Journal journal;
};

// Records what one worker serves.
class TrafficRecorder final : public http::TrafficObserver {
 public:
  // `rows` by the number of the service in the worker's image.
  TrafficRecorder(const Telemetry& telemetry, const WorkerSlot& slot,
                  std::vector<std::uint32_t> rows);

  void answered(const http::Request& request, const http::Response& response,
                Duration duration) noexcept override;
  void released(std::uint32_t service, Duration duration) noexcept override;
  void connections(std::size_t count, std::size_t waiting) noexcept override;

 private:
  [[nodiscard]] std::uint32_t row_of(std::uint32_t service) const noexcept {
    return service < rows_.size() ? rows_[service] : ServiceRows::kNoService;
  }

  const Telemetry& telemetry_;
  std::size_t slot_;
  std::uint16_t worker_;
  std::int32_t process_;
  std::vector<std::uint32_t> rows_;
};

}  // namespace vsd
