// Serves requests with the services of an image: finds the service, lets its script work, chooses
// the response and evaluates it. One per worker.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/message.h"
#include "daemon/process/script_counts.h"
#include "daemon/service/connection_state.h"
#include "daemon/service/response_template.h"
#include "daemon/service/script.h"
#include "daemon/service/service_image.h"

namespace vsd {

class ServiceRunner final : public http::RequestHandler {
 public:
  // `scripts` has one element per service, in the order of the image, which must outlive the
  // runner; an element without hooks for a service without a script. The runs of scripts are
  // counted in `count`, when there is one.
  ServiceRunner(const ServiceImage& image, std::vector<Script> scripts,
                ScriptCount* count = nullptr);

  void handle(const http::Request& request, http::Response& response) override;

 private:
  void serve(const ServiceView& service, const http::Request& request, http::Response& response);
  const ResponseRow* choose_response(const ServiceView& service);
  void log_refused();

  const ServiceImage& image_;
  std::vector<Script> scripts_;
  ScriptCount own_count_{0};
  ScriptCount& count_;
  ConnectionState state_;
  TemplateEvaluator evaluator_;
  std::string condition_;  // reused from request to request, as the next one
  std::string refused_;
};

}  // namespace vsd
