#include "daemon/admin/admin_handler.h"

namespace vsd {
namespace {

constexpr std::string_view kIndex =
    "GET  /health    ready (200) or not (503), as JSON\n"
    "GET  /metrics   for Prometheus\n"
    "GET  /services  every service with its state, errors and counts, as JSON\n"
    "GET  /requests  the last requests, as JSON; ?service=NAME&status=404&unmatched=1&limit=20\n"
    "POST /reload    load the services anew\n";

void set_type(std::string_view type, http::Response& response) {
  response.headers.append("Content-Type: ").append(type).append("\r\n");
  response.headers.append("Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n");
}

void answer_with_text(int status, std::string_view text, http::Response& response) {
  response.status = status;
  set_type("text/plain", response);
  response.body.append(text);
}

void get_index(const AdminView&, std::string_view, http::Response& response) {
  answer_with_text(200, kIndex, response);
}

void get_health(const AdminView& view, std::string_view, http::Response& response) {
  response.status = view.telemetry.status.all_serving() ? 200 : 503;
  set_type("application/json", response);
  append_health_page(view, response.body);
}

void get_metrics(const AdminView& view, std::string_view, http::Response& response) {
  set_type("text/plain; version=0.0.4; charset=utf-8", response);
  append_metrics_page(view, response.body);
}

void get_services(const AdminView& view, std::string_view, http::Response& response) {
  set_type("application/json", response);
  append_services_page(view, response.body);
}

void get_requests(const AdminView& view, std::string_view target, http::Response& response) {
  if (const std::string problem = append_requests_page(view, target, response.body);
      !problem.empty()) {
    answer_with_text(400, problem + "\n", response);
    return;
  }
  set_type("application/json", response);
}

void post_reload(const AdminView& view, std::string_view, http::Response& response) {
  if (view.telemetry.status.request_reload()) {
    answer_with_text(202, "The reload has begun; /health counts the reloads.\n", response);
  } else {
    answer_with_text(503, "The parent process cannot be told.\n", response);
  }
}

struct Page {
  std::string_view path;
  std::string_view method;
  void (*answer)(const AdminView& view, std::string_view target, http::Response& response);
};

constexpr Page kPages[] = {
    {"/", "GET", get_index},
    {"/health", "GET", get_health},
    {"/metrics", "GET", get_metrics},
    {"/services", "GET", get_services},
    {"/requests", "GET", get_requests},
    {"/reload", "POST", post_reload},
};

}  // namespace

void AdminHandler::handle(const http::Request& request, http::Response& response) {
  const std::string_view path = request.target.substr(0, request.target.find('?'));
  for (const Page& page : kPages) {
    if (page.path != path) {
      continue;
    }
    if (request.method == page.method || (request.method == "HEAD" && page.method == "GET")) {
      page.answer(view_, request.target, response);
    } else {
      response.headers.append("Allow: ").append(page.method).append("\r\n");
      answer_with_text(405, "This page has another method.\n", response);
    }
    return;
  }
  answer_with_text(404, "There is no such page. There are:\n\n" + std::string(kIndex), response);
}

}  // namespace vsd
