// Where the folders of services lie.
#pragma once

#include <string>

namespace wz::script {

// The path of `file` in the folder of the service that is being served; empty when none is.
std::string service_file(const char* file);

}  // namespace wz::script
