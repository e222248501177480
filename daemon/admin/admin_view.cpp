#include "daemon/admin/admin_view.h"

#include <algorithm>

namespace vsd {
namespace {

// <folder>/service.wz, or a file below the service's folder; empty for any other file.
std::filesystem::path service_folder_of(const std::filesystem::path& file) {
  for (auto folder = file.parent_path(); folder.has_relative_path();
       folder = folder.parent_path()) {
    if (folder.parent_path().filename() == "services") {
      return folder;
    }
  }
  return {};
}

}  // namespace

AdminView::AdminView(const Telemetry& recorded, const PreparedServices& prepared,
                     const std::vector<std::uint32_t>& rows, const ServiceStates& service_states)
    : telemetry(recorded), states(service_states) {
  std::vector<std::filesystem::path> folders;
  for (const ServiceDefinition& definition : prepared.services) {
    AdminService& service = services.emplace_back();
    service.key = key_of(definition.folder, definition.name);
    service.number = services.size() - 1;
    service.row = rows[service.number];
    service.is_served = true;
    service.is_former_version = definition.is_former_version;
    service.methods = definition.methods;
    service.url = definition.url;
    folders.push_back(definition.folder);
  }
  for (const Problem& problem : prepared.errors) {
    const std::filesystem::path folder = service_folder_of(problem.file);
    if (folder.empty()) {
      errors.push_back(to_string(problem));
      continue;
    }
    auto at = static_cast<std::size_t>(std::find(folders.begin(), folders.end(), folder) -
                                       folders.begin());
    if (at == folders.size()) {
      services.emplace_back().key = key_of(folder, folder.filename());
      folders.push_back(folder);
    }
    services[at].errors.push_back(to_string(problem));
  }
}

}  // namespace vsd
