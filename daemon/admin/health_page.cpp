// Whether the daemon serves, and the list of its services.
#include "daemon/admin/admin_view.h"
#include "daemon/admin/json_writer.h"
#include "daemon/admin/status_label.h"

namespace vsd {
namespace {

std::string_view state_of(const AdminView& view, const AdminService& service) {
  if (!service.is_served) {
    return "refused";
  }
  const ServiceState& state = view.states[service.number];
  if (state.out_of_service.load(std::memory_order_relaxed)) {
    return "out of service";
  }
  return service.is_former_version ? "serving a former version" : "serving";
}

void append_texts(JsonWriter& json, std::string_view key, const std::vector<std::string>& texts) {
  json.key(key).open('[');
  for (const std::string& text : texts) {
    json.text(text);
  }
  json.close(']');
}

void append_counts(JsonWriter& json, const ServiceTotals& totals) {
  json.key("requests").number(totals.requests());
  json.key("statuses").open('{');
  for (const ServiceTotals::Status& status : totals.statuses) {
    json.key(status_label(status.status)).number(status.count);
  }
  json.close('}');
}

}  // namespace

void append_health_page(const AdminView& view, std::string& out) {
  const WorkerStatus& status = view.telemetry.status;
  const DaemonStatus& daemon = status.daemon();
  JsonWriter json(out);
  json.open('{').key("status").text(status.all_serving() ? "ready" : "not ready");
  json.key("workers").open('{');
  json.key("configured").number(status.workers());
  json.key("serving").number(status.serving());
  json.key("restarts").number(daemon.restarts.load(std::memory_order_relaxed));
  json.close('}');
  json.key("generation").number(daemon.generation.load(std::memory_order_relaxed));
  json.key("reloads").number(daemon.reloads.load(std::memory_order_relaxed));
  json.key("failed_reloads").number(daemon.failed_reloads.load(std::memory_order_relaxed));
  json.close('}');
  out += '\n';
}

void append_services_page(const AdminView& view, std::string& out) {
  JsonWriter json(out);
  json.open('{').key("services").open('[');
  for (const AdminService& service : view.services) {
    json.open('{');
    json.key("project").text(service.key.project);
    json.key("name").text(service.key.name);
    json.key("state").text(state_of(view, service));
    append_texts(json, "methods", service.methods);
    json.key("url").text(service.url);
    append_texts(json, "errors", service.errors);
    if (service.is_served) {
      json.key("crashes").number(
          view.states[service.number].crashes.load(std::memory_order_relaxed));
      append_counts(json, view.telemetry.counters.totals(service.row));
    }
    json.close('}');
  }
  json.close(']');
  json.key("no_service").open('{');
  append_counts(json, view.telemetry.counters.totals(ServiceRows::kNoService));
  json.close('}');
  append_texts(json, "errors", view.errors);
  json.close('}');
  out += '\n';
}

}  // namespace vsd
