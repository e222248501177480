#include "vsd/string_api/database/services_folder.h"

#include <wz/wzlb_wdir.h>

#include <cstdlib>
#include <string_view>

#include "vsd/string_api/context.h"

namespace wz::script {
namespace {

// VSD_ROOT as it was at the first use; a host that has not set it has a work directory anyway.
const std::string& root_folder() {
  static const std::string root = [] {
    const char* variable = std::getenv("VSD_ROOT");
    return std::string(variable != nullptr ? variable : g_wz_wdir);
  }();
  return root;
}

// The folder of all services of a project and subproject, put together once for each of them in
// turn: a process mostly serves one.
const std::string& services_folder(std::string_view project, std::string_view subproject) {
  static std::string folder;
  static std::string built_for;
  std::string wanted(project);
  wanted.append("/").append(subproject);
  if (folder.empty() || built_for != wanted) {
    folder = root_folder() + "/correlation/" + wanted + "/services";
    built_for = std::move(wanted);
  }
  return folder;
}

}  // namespace

std::string service_file(const char* file) {
  const Context context = Context::current();
  if (context.cptr() == nullptr || context.cptr()->scptr == nullptr) {
    return {};
  }
  const scontents& service = *context.cptr()->scptr;
  return services_folder(context.pool_text(service.project),
                         context.pool_text(service.subproject)) +
         "/" + context.pool_text(service.folder) + "/" + file;
}

}  // namespace wz::script
