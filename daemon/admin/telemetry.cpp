#include "daemon/admin/telemetry.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace vsd {
namespace {

constexpr std::size_t kSpareRows = 256;

std::int64_t microseconds_now() noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * 1000000L + now.tv_nsec / 1000;
}

bool sends_status(http::Fault fault) noexcept {
  return fault != http::Fault::reset && fault != http::Fault::empty &&
         fault != http::Fault::garbage;
}

}  // namespace

ServiceKey key_of(const std::filesystem::path& folder, std::string name) {
  const std::filesystem::path subproject = folder.parent_path().parent_path();
  return {(subproject.parent_path().filename() / subproject.filename()).string(), std::move(name)};
}

ServiceRows::ServiceRows(std::size_t capacity)
    : capacity_(capacity), keys_(kOthers + 1), ids_(static_cast<int>(capacity)) {}

std::uint32_t ServiceRows::row_of(const ServiceKey& key) {
  const std::string name = key.project + '\n' + key.name;
  int id = ids_.find(name);
  if (id < 0) {
    if (keys_.size() >= capacity_) {
      return kOthers;
    }
    keys_.push_back(key);
    id = ids_.add(name);
  }
  return kOthers + 1 + static_cast<std::uint32_t>(id);
}

std::vector<std::uint32_t> ServiceRows::rows_of(const std::vector<ServiceDefinition>& services) {
  std::vector<std::uint32_t> rows;
  rows.reserve(services.size());
  for (const ServiceDefinition& service : services) {
    rows.push_back(row_of(key_of(service.folder, service.name)));
  }
  return rows;
}

Telemetry::Telemetry(const WorkerStatus& worker_status, std::size_t services,
                     std::size_t journal_bytes)
    : status(worker_status),
      rows(2 * services + kSpareRows),
      counters(worker_status.slots().size(), 2 * services + kSpareRows),
      journal(journal_bytes) {}

TrafficRecorder::TrafficRecorder(const Telemetry& telemetry, const WorkerSlot& slot,
                                 std::vector<std::uint32_t> rows)
    : telemetry_(telemetry),
      slot_(static_cast<std::size_t>(&slot - &telemetry.status.slots()[0])),
      worker_(static_cast<std::uint16_t>(slot.number.load(std::memory_order_relaxed))),
      process_(getpid()),
      rows_(std::move(rows)) {
  connections(0, 0);  // what the slot's former worker had is gone
}

void TrafficRecorder::answered(const http::Request& request, const http::Response& response,
                               Duration duration) noexcept {
  JournalFacts facts;
  facts.row = row_of(response.service);
  facts.status = static_cast<std::uint16_t>(sends_status(response.fault) ? response.status : 0);
  telemetry_.counters.count_answer(slot_, facts.row, facts.status);
  if (!response.is_held()) {
    telemetry_.counters.count_latency(slot_, facts.row, duration);
  }
  if (telemetry_.journal.capacity() == 0) {
    return;
  }
  facts.time = microseconds_now();
  facts.duration = static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(duration).count());
  facts.service_time = static_cast<std::uint32_t>(response.delay.count());
  facts.head_size = static_cast<std::uint32_t>(request.head.size());
  facts.body_size = static_cast<std::uint32_t>(std::min<std::size_t>(request.body.size(), ~0U));
  facts.worker = worker_;
  facts.process = process_;
  facts.fault = response.fault;
  telemetry_.journal.note(
      facts, {request.method, request.target, response.nearest, request.head, request.body});
}

void TrafficRecorder::released(std::uint32_t service, Duration duration) noexcept {
  telemetry_.counters.count_latency(slot_, row_of(service), duration);
}

void TrafficRecorder::connections(std::size_t count, std::size_t waiting) noexcept {
  WorkerGauges& gauges = telemetry_.counters.gauges(slot_);
  gauges.connections.store(count, std::memory_order_relaxed);
  gauges.waiting.store(waiting, std::memory_order_relaxed);
}

}  // namespace vsd
