#include "daemon/service/service_matcher.h"

#include <algorithm>
#include <vector>

namespace vsd {
namespace {

std::optional<ServiceView> find_on_path(const ServiceImage& image, std::string_view path,
                                        std::string_view method) {
  auto service = image.first_on_path(path);
  while (service && !service->answers(method)) {
    service = image.next_on_path(*service);
  }
  return service;
}

}  // namespace

ServiceMatch match_service(const ServiceImage& image, std::string_view method,
                           std::string_view target) {
  const std::string_view path = path_of(target);
  ServiceMatch match;
  match.service = find_on_path(image, path, method);
  if (!match.service && method == "HEAD") {
    match.service = find_on_path(image, path, "GET");
  }
  if (match.service) {
    match.outcome = ServiceMatch::Outcome::found;
  } else if (image.first_on_path(path)) {
    match.outcome = ServiceMatch::Outcome::no_method;
  }
  return match;
}

std::string allowed_methods(const ServiceImage& image, std::string_view target) {
  std::vector<std::string_view> methods;
  const auto add = [&methods](std::string_view method) {
    if (std::find(methods.begin(), methods.end(), method) == methods.end()) {
      methods.push_back(method);
    }
  };
  for (auto service = image.first_on_path(path_of(target)); service;
       service = image.next_on_path(*service)) {
    for (const TextRef method : service->methods()) {
      add(service->text(method));
    }
  }
  if (std::find(methods.begin(), methods.end(), "GET") != methods.end()) {
    add("HEAD");
  }
  std::string list;
  for (const std::string_view method : methods) {
    list.append(list.empty() ? "" : ", ").append(method);
  }
  return list;
}

}  // namespace vsd
