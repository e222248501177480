// Serves requests with the services of an image: finds the service, lets its script work, chooses
// the response and evaluates it. One per worker.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/message.h"
#include "daemon/process/script_guard.h"
#include "daemon/service/connection_state.h"
#include "daemon/service/match/service_matcher.h"
#include "daemon/service/response_template.h"
#include "daemon/service/script.h"
#include "daemon/service/service_image.h"
#include "daemon/service/service_time.h"

namespace vsd {

class ServiceRunner final : public http::RequestHandler {
 public:
  // `scripts` has one element per service, in the order of the image, which must outlive the
  // runner, as must the others; an element without hooks for a service without a script. Scripts
  // run under `guard`. A service that is out of service by `states` is not served.
  ServiceRunner(const ServiceImage& image, std::vector<Script> scripts, ScriptGuard& guard,
                const ServiceStates& states);

  // Whether the answer to a request that no service fits says which came nearest.
  void set_match_detail(bool on) { match_detail_ = on; }

  // Where our own services are reached, for those that forward to them: "http://127.0.0.1:8080".
  void set_own_origin(std::string origin) { own_origin_ = std::move(origin); }

  void handle(const http::Request& request, http::Response& response) override;

  // The name of the service with this number; empty for Response::kNoService.
  [[nodiscard]] std::string_view service_name(std::uint32_t number) const;

 private:
  void serve(const ServiceView& service, const http::Request& request, http::Response& response);
  void answer_no_match(const http::Request& request, http::Response& response);
  void forward(const ServiceView& service, const ResponseRow& row, const http::Request& request,
               http::Response& response);
  const ResponseRow* choose_response(const ServiceView& service);
  bool expansion_fits(const ServiceView& service, const ResponseRow& row);
  void log_refused();

  const ServiceImage& image_;
  std::vector<Script> scripts_;
  ScriptGuard& guard_;
  const ServiceStates& states_;
  bool match_detail_ = true;
  std::string own_origin_;
  ServiceMatcher matcher_;
  ConnectionState state_;
  TemplateEvaluator evaluator_;
  ServiceTimeSource service_times_;
  std::string condition_;  // reused from request to request, as the next one
  std::string refused_;
};

}  // namespace vsd
