// `vsd new`: a work directory and a service in it that run as they are.
#pragma once

#include <filesystem>
#include <string>

namespace vsd {

// Creates the service `name` below `root`, and what the work directory itself still lacks. Returns
// the service's folder. Throws std::runtime_error when the name is no variable name or is taken.
std::filesystem::path create_service(const std::filesystem::path& root, const std::string& name);

}  // namespace vsd
