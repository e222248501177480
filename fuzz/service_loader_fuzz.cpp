// The text of a service.wz: whatever it holds, it is read to its end, every problem is one line,
// and a service without any can be laid out.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "daemon/service/service_image.h"
#include "daemon/service/service_loader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vsd::ServiceDefinition service;
  service.folder = "no/such/folder";
  service.file = "service.wz";
  std::vector<vsd::Problem> problems;
  const bool good =
      vsd::read_service({reinterpret_cast<const char*>(data), size}, service, problems);
  for (const vsd::Problem& problem : problems) {
    if (problem.text.empty() || problem.text.find('\n') != std::string::npos || problem.line < 0) {
      std::abort();
    }
  }
  if (good != problems.empty()) {
    std::abort();
  }
  // Files are never found here, so lay out what does not need any.
  service.responses.clear();
  for (vsd::VariableDefinition& variable : service.variables) {
    if (problems.size() > 1 || std::holds_alternative<vsd::IndexSource>(variable.source) ||
        std::holds_alternative<vsd::GlobalIndexSource>(variable.source)) {
      return 0;
    }
  }
  const vsd::ServiceImage image = vsd::ServiceImage::build({&service, 1});
  for (const vsd::VariableDefinition& variable : service.variables) {
    if (image.service(0).find_variable(variable.name) < 0) {
      std::abort();
    }
  }
  return 0;
}
