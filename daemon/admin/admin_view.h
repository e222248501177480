// What the admin listener shows: the services of one generation, and what is recorded of all.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "daemon/admin/telemetry.h"
#include "daemon/service/check.h"

namespace vsd {

struct AdminService {
  ServiceKey key;
  std::uint32_t row = ServiceRows::kNoService;
  bool is_served = false;
  bool is_former_version = false;  // what is in the folder now has errors
  std::size_t number = 0;          // in the generation, if it is served
  std::vector<std::string> methods;
  std::string url;
  std::vector<std::string> errors;  // of the declarations and the script as they are now
};

struct AdminView {
  // `states` must outlive the view.
  AdminView(const Telemetry& recorded, const PreparedServices& prepared,
            const std::vector<std::uint32_t>& rows, const ServiceStates& service_states);

  const Telemetry& telemetry;
  const ServiceStates& states;
  std::vector<AdminService> services;
  std::vector<std::string> errors;  // of the work directory, about no service in particular
};

// The pages, each appended to `out`. `query` is the request's target.
void append_health_page(const AdminView& view, std::string& out);
void append_metrics_page(const AdminView& view, std::string& out);
void append_services_page(const AdminView& view, std::string& out);
// Returns what is wrong with the query, and appends nothing then; else an empty text.
[[nodiscard]] std::string append_requests_page(const AdminView& view, std::string_view target,
                                               std::string& out);

}  // namespace vsd
