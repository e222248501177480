// The metrics in Prometheus' text format, version 0.0.4.
#include <unistd.h>

#include <array>
#include <charconv>
#include <fstream>

#include "daemon/admin/admin_view.h"
#include "daemon/admin/status_label.h"

namespace vsd {
namespace {

using Labels = std::string;  // `a="b",c="d"`

class MetricsText {
 public:
  explicit MetricsText(std::string& out) : out_(out) {}

  // Begins a metric; its samples must follow.
  void metric(std::string_view name, std::string_view type, std::string_view help) {
    name_ = name;
    out_.append("# HELP vsd_").append(name).append(" ").append(help);
    out_.append("\n# TYPE vsd_").append(name).append(" ").append(type).append("\n");
  }
  template <typename Number>
  void sample(const Labels& labels, Number value, std::string_view suffix = "") {
    out_.append("vsd_").append(name_).append(suffix);
    if (!labels.empty()) {
      out_.append("{").append(labels).append("}");
    }
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    out_.append(" ").append(digits.data(), end).append("\n");
  }
  template <typename Number>
  void single(std::string_view name, std::string_view type, std::string_view help, Number value) {
    metric(name, type, help);
    sample({}, value);
  }

 private:
  std::string& out_;
  std::string_view name_;
};

// Folder names of projects may hold anything.
void append_label(Labels& labels, std::string_view name, std::string_view value) {
  labels.append(labels.empty() ? "" : ",").append(name).append("=\"");
  for (const char c : value) {
    if (c == '\n') {
      labels += "\\n";
    } else {
      labels.append(c == '"' || c == '\\' ? "\\" : "").push_back(c);
    }
  }
  labels += '"';
}

Labels labels_of(const ServiceKey& key) {
  Labels labels;
  if (!key.name.empty()) {
    append_label(labels, "project", key.project);
    append_label(labels, "service", key.name);
  }
  return labels;
}

Labels with(Labels labels, std::string_view name, std::string_view value) {
  append_label(labels, name, value);
  return labels;
}

std::string shortest(double value) {
  std::array<char, 32> digits{};
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                       std::chars_format::fixed)
                             .ptr};
}

void append_histogram(MetricsText& text, const Labels& labels, const ServiceTotals& totals) {
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < totals.latencies.size(); ++i) {
    count += totals.latencies[i];
    const std::string bound = i < kLatencyBounds.size() ? shortest(kLatencyBounds[i]) : "+Inf";
    text.sample(with(labels, "le", bound), count, "_bucket");
  }
  text.sample(labels, std::chrono::duration<double>(totals.latency_sum).count(), "_sum");
  text.sample(labels, count, "_count");
}

void append_traffic(MetricsText& text, const Telemetry& telemetry) {
  std::vector<std::pair<Labels, ServiceTotals>> rows;
  for (std::size_t row = 0; row < telemetry.rows.keys().size(); ++row) {
    ServiceTotals totals = telemetry.counters.totals(row);
    if (totals.requests() > 0) {  // thousands of services may never be asked
      Labels labels = labels_of(telemetry.rows.keys()[row]);
      if (row == ServiceRows::kOthers) {
        append_label(labels, "service", "(others)");
      }
      rows.emplace_back(std::move(labels), std::move(totals));
    }
  }
  text.metric("requests_total", "counter",
              "Requests answered; those without the label service reached none.");
  for (const auto& [labels, totals] : rows) {
    for (const ServiceTotals::Status& status : totals.statuses) {
      text.sample(with(labels, "status", status_label(status.status)), status.count);
    }
  }
  text.metric("request_duration_seconds", "histogram",
              "From the receipt of a request until its answer is let out, service time included.");
  for (const auto& [labels, totals] : rows) {
    append_histogram(text, labels, totals);
  }
}

// The memory of a process that is resident; 0 when it is gone.
std::uint64_t resident_bytes(int pid) {
  std::ifstream statm("/proc/" + std::to_string(pid) + "/statm");
  std::uint64_t size = 0;
  std::uint64_t resident = 0;
  statm >> size >> resident;
  return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

struct LiveWorker {
  Labels labels;
  int pid;
  const WorkerGauges* gauges;
};

std::vector<LiveWorker> live_workers(const Telemetry& telemetry) {
  std::vector<LiveWorker> workers;
  const auto slots = telemetry.status.slots().all();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    if (slots[i].state.load(std::memory_order_acquire) != WorkerState::none) {
      Labels labels;
      append_label(labels, "worker", std::to_string(slots[i].number.load()));
      append_label(labels, "generation", std::to_string(slots[i].generation.load()));
      // A worker that has been replaced may still be there for a moment beside its successor.
      append_label(labels, "pid", std::to_string(slots[i].pid.load()));
      workers.push_back({labels, slots[i].pid.load(), &telemetry.counters.gauges(i)});
    }
  }
  return workers;
}

void append_workers(MetricsText& text, const Telemetry& telemetry) {
  const std::vector<LiveWorker> workers = live_workers(telemetry);
  text.metric("pending_responses", "gauge", "Answers that wait for their service time.");
  for (const LiveWorker& worker : workers) {
    text.sample(worker.labels, worker.gauges->waiting.load(std::memory_order_relaxed));
  }
  text.metric("connections", "gauge", "Open connections.");
  for (const LiveWorker& worker : workers) {
    text.sample(worker.labels, worker.gauges->connections.load(std::memory_order_relaxed));
  }
  text.metric("resident_memory_bytes", "gauge", "Resident memory of each process.");
  text.sample(Labels("process=\"parent\""),
              resident_bytes(telemetry.status.daemon().parent.load()));
  text.sample(Labels("process=\"admin\""), resident_bytes(getpid()));
  for (const LiveWorker& worker : workers) {
    text.sample("process=\"worker\"," + worker.labels, resident_bytes(worker.pid));
  }
}

void append_daemon(MetricsText& text, const WorkerStatus& status) {
  const DaemonStatus& daemon = status.daemon();
  text.single("ready", "gauge", "1 while every worker serves.", status.all_serving() ? 1 : 0);
  text.single("workers", "gauge", "Workers wanted.", status.workers());
  text.single("workers_serving", "gauge", "Workers that serve.", status.serving());
  text.single("worker_restarts_total", "counter", "Workers replaced because they failed.",
              daemon.restarts.load());
  text.single("reloads_total", "counter", "Reloads that took effect.", daemon.reloads.load());
  text.single("failed_reloads_total", "counter", "Reloads that changed nothing.",
              daemon.failed_reloads.load());
}

void append_states(MetricsText& text, const AdminView& view) {
  text.metric("service_script_failures", "gauge",
              "Runs of a service's script that failed or took too long, since the last reload.");
  for (const AdminService& service : view.services) {
    if (service.is_served && view.states[service.number].crashes.load() > 0) {
      text.sample(labels_of(service.key), view.states[service.number].crashes.load());
    }
  }
  text.metric("service_out_of_service", "gauge", "1 for services that failed too often.");
  for (const AdminService& service : view.services) {
    if (service.is_served && view.states[service.number].out_of_service.load()) {
      text.sample(labels_of(service.key), 1);
    }
  }
}

}  // namespace

void append_metrics_page(const AdminView& view, std::string& out) {
  MetricsText text(out);
  append_daemon(text, view.telemetry.status);
  append_workers(text, view.telemetry);
  append_states(text, view);
  append_traffic(text, view.telemetry);
}

}  // namespace vsd
