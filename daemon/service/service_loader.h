// Finds and reads the declaration files of all services.
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

#include "daemon/service/service_definition.h"

namespace vsd {

struct LoadedServices {
  std::vector<ServiceDefinition> services;  // without error, ordered by folder
  std::vector<Problem> problems;            // every error of every other service
};

// Reads correlation/<project>/<subproject>/services/<service>/service.wz below `root`. A service
// with any error is left out whole; so is the second of two that answer the same method and URL.
// Not for use by several threads at once: the library's declaration parsers share state.
[[nodiscard]] LoadedServices load_services(const std::filesystem::path& root);

// Reads one service from the text of its service.wz. Files that it names are looked up in
// `service.folder`. Adds what is wrong to `problems` and returns whether nothing was.
bool read_service(std::string_view text, ServiceDefinition& service,
                  std::vector<Problem>& problems);

}  // namespace vsd
