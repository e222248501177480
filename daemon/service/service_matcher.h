// Finds the service for a method and a path.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "daemon/service/service_image.h"

namespace vsd {

// The part of a request target that is matched: everything before the query, as sent, without
// resolving escapes.
[[nodiscard]] inline std::string_view path_of(std::string_view target) noexcept {
  return target.substr(0, target.find('?'));
}

struct ServiceMatch {
  enum class Outcome : std::uint8_t { no_path, no_method, found };
  Outcome outcome = Outcome::no_path;
  std::optional<ServiceView> service;  // when found
};

// HEAD is served by the services for GET. Costs one hash lookup, however many services there are.
// Whole paths only; patterns would be tried here once the lookup has found nothing.
[[nodiscard]] ServiceMatch match_service(const ServiceImage& image, std::string_view method,
                                         std::string_view target);

// The methods that some service answers at the path of `target`, as the value of an Allow header.
[[nodiscard]] std::string allowed_methods(const ServiceImage& image, std::string_view target);

}  // namespace vsd
