#include "daemon/service/request_runner.h"

#include <wz/wzlb_log.h>

#include <algorithm>
#include <utility>

#include "daemon/forward/forward_headers.h"
#include "daemon/service/response_head.h"

namespace vsd {
namespace {

constexpr std::string_view kScriptFailed = "The script of this service failed.\n";
constexpr std::string_view kOutOfService =
    "This service is out of service until the next reload, because its script failed too often.\n";

constexpr std::string_view kHttpOnly = "Only HTTP requests can be forwarded.\n";
constexpr std::string_view kLoop = "This request has come back to where it was forwarded.\n";

// Backends wait for the length of such a request's body even if there is none.
bool announces_body(std::string_view method) {
  return method == "POST" || method == "PUT" || method == "PATCH";
}

void answer_with_text(int status, std::string_view text, http::Response& response) {
  response.status = status;
  response.is_refusal = true;
  response.headers.append("Content-Type: text/plain\r\n");
  response.body.assign(text);
}

// Ends the current request whatever happens.
class CurrentRequest {
 public:
  CurrentRequest(ConnectionState& state, const ServiceView& service, const http::Request& request,
                 bool with_blocks)
      : state_(state) {
    state_.begin(service, request, with_blocks);
  }
  CurrentRequest(const CurrentRequest&) = delete;
  CurrentRequest& operator=(const CurrentRequest&) = delete;
  ~CurrentRequest() { state_.end(); }

 private:
  ConnectionState& state_;
};

}  // namespace

ServiceRunner::ServiceRunner(const ServiceImage& image, std::vector<Script> scripts,
                             ScriptGuard& guard, const ServiceStates& states)
    : image_(image),
      scripts_(std::move(scripts)),
      guard_(guard),
      states_(states),
      matcher_(image),
      state_(image) {
  scripts_.resize(image.size());
}

void ServiceRunner::handle(const http::Request& request, http::Response& response) {
  const ServiceMatch match = matcher_.match(request);
  switch (match.outcome) {
    case ServiceMatch::Outcome::found:
      serve(*match.service, request, response);
      break;
    case ServiceMatch::Outcome::nothing:
      answer_no_match(request, response);
      break;
    case ServiceMatch::Outcome::no_method:
      response.headers.append("Allow: ").append(matcher_.allowed_methods()).append("\r\n");
      answer_with_text(405, "No service answers this method at this path.\n", response);
      break;
  }
  matcher_.end();
}

void ServiceRunner::answer_no_match(const http::Request& request, http::Response& response) {
  if (!match_detail_) {
    answer_with_text(404, "No service fits this request.\n", response);
    return;
  }
  const NearMisses misses = matcher_.near_misses();
  for (std::size_t i = 0; i < misses.count; ++i) {
    const NearMiss& miss = misses.items[i];
    response.nearest.append(miss.service).append(": ").append(miss.failed).append("\n");
  }
  response.headers.append("X-Content-Type-Options: nosniff\r\n");  // it quotes the request
  answer_with_text(404, no_match_text(request.method, path_of(request.target), misses), response);
}

void ServiceRunner::serve(const ServiceView& service, const http::Request& request,
                          http::Response& response) {
  const std::size_t number = image_.index_of(service);
  response.service = static_cast<std::uint32_t>(number);
  if (states_[number].out_of_service.load(std::memory_order_relaxed)) {
    answer_with_text(503, kOutOfService, response);
    return;
  }
  guard_.slot().count_served();
  const Script& script = scripts_[number];
  const CurrentRequest current(state_, service, request, script.reads_request());
  cur_url = state_.url();
  if (!guard_.run(script.post_recv(), static_cast<std::uint32_t>(number), Hook::post_recv)) {
    answer_with_text(500, kScriptFailed, response);
    return;
  }
  cur_url = nullptr;  // scripts get the URL after the receipt only
  if (state_.is_reset()) {
    return;  // nobody waits for an answer
  }

  const ResponseRow* chosen = choose_response(service);
  if (chosen == nullptr) {
    answer_with_text(500, "No response of the service fits this request.\n", response);
    return;
  }
  state_.record().template_id_used = static_cast<int>(chosen - service.responses().data());
  if (chosen->forward.is_set) {
    state_.link_forward(chosen->forward.is_tls ? VSD_PROTO_HTTPS : VSD_PROTO_HTTP);
  }
  if (!guard_.run(script.pre_send(), static_cast<std::uint32_t>(number), Hook::pre_send)) {
    answer_with_text(500, kScriptFailed, response);
    return;
  }
  if (chosen->forward.is_set && (!chosen->forward.on_request || state_.wants_forward())) {
    forward(service, *chosen, request, response);
    return;
  }
  evaluator_.append(service.text(chosen->body), service.body_pieces(*chosen), state_.record(),
                    response.body);
  const DeclaredHead declared{chosen->status, service.text(chosen->content_type_line),
                              service.text(chosen->headers)};
  merge_response_head(declared, state_.record().url_data, response, refused_);
  response.delay = service_times_.draw(service.record().service_time);
  response.fault = chosen->fault;
  response.bytes_per_second = chosen->bytes_per_second;
  response.keep_alive = std::chrono::seconds(std::max(state_.record().keep_alive_timeout, 0));
  if (!refused_.empty()) {
    log_refused();
  }
}

// Leaves the request to the backend. What the service and its script set of the answer goes with
// it, to be added to the backend's.
void ServiceRunner::forward(const ServiceView& service, const ResponseRow& row,
                            const http::Request& request, http::Response& response) {
  const UrlDynamicData* const script = state_.record().url_data;
  const std::string_view added =
      script != nullptr && script->forward_req_header != nullptr
          ? std::string_view(script->forward_req_header,
                             static_cast<std::size_t>(script->forward_req_header_len))
          : "";
  ForwardedHead head = forwarded_head(request.head, added, request.version, refused_);
  if (!request.can_be_forwarded) {
    answer_with_text(502, kHttpOnly, response);
    return;
  }
  if (head.hops >= kMostHops) {
    answer_with_text(508, kLoop, response);
    return;
  }
  // Declared for no status of its own: the backend's stays unless the script sets one.
  merge_response_head({0, "", service.text(row.headers)}, script, response, refused_);
  auto forward = std::make_unique<http::ForwardRequest>();
  forward->origin = row.forward.origin.length > 0 ? service.text(row.forward.origin) : own_origin_;
  if (row.forward.target.length > 0) {
    condition_.clear();
    evaluator_.append(service.text(row.forward.target), service.target_pieces(row.forward),
                      state_.record(), condition_);
    append_target(forward->target, condition_);
  } else {
    forward->target = request.target;
  }
  forward->method = request.method;
  forward->headers = std::move(head.lines);
  forward->has_body = !request.body.empty() || announces_body(request.method);
  forward->verify_peer = row.forward.verifies_peer;
  forward->connect_timeout = std::chrono::milliseconds(row.forward.connect_timeout);
  forward->read_timeout = std::chrono::milliseconds(row.forward.read_timeout);
  forward->status = std::exchange(response.status, 200);
  forward->status_line.swap(response.status_line);
  forward->answer_headers.swap(response.headers);
  forward->keep_alive = std::chrono::seconds(std::max(state_.record().keep_alive_timeout, 0));
  response.forward = std::move(forward);
  if (!refused_.empty()) {
    log_refused();
  }
}

std::string_view ServiceRunner::service_name(std::uint32_t number) const {
  return number < image_.size() ? image_.service(number).name() : std::string_view();
}

// The first response in the order declared whose condition holds; one without a condition always
// fits.
const ResponseRow* ServiceRunner::choose_response(const ServiceView& service) {
  for (const ResponseRow& row : service.responses()) {
    if (expansion_fits(service, row) && matcher_.holds(service, row)) {
      return &row;
    }
  }
  return nullptr;
}

bool ServiceRunner::expansion_fits(const ServiceView& service, const ResponseRow& row) {
  if (!row.has_when) {
    return true;
  }
  condition_.clear();
  evaluator_.append(service.text(row.when), service.when_pieces(row), state_.record(), condition_);
  return condition_ == service.text(row.equals);
}

void ServiceRunner::log_refused() {
  std::string_view lines = refused_;
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    vsd_error_log_ex(WZLB_LEVEL_3, const_cast<char*>(__FILE_NAME__), __LINE__,
                     const_cast<char*>(__func__), &state_.record(), const_cast<char*>(""),
                     const_cast<char*>(""), const_cast<char*>("left out of the answer: %.*s"),
                     static_cast<int>(line.size()), line.data());
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
  }
  refused_.clear();
}

}  // namespace vsd
