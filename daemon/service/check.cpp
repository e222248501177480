#include "daemon/service/check.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "daemon/service/service_loader.h"

namespace vsd {
namespace {

void sort_by_place(std::vector<Problem>& problems) {
  std::stable_sort(problems.begin(), problems.end(), [](const Problem& a, const Problem& b) {
    return std::tie(a.file, a.line) < std::tie(b.file, b.line);
  });
}

void add(std::vector<Problem> found, std::vector<Problem>& problems) {
  std::move(found.begin(), found.end(), std::back_inserter(problems));
}

// The scripts of services whose declarations are wrong: they are not served, but their errors are
// wanted too.
std::set<std::filesystem::path> scripts_beside(const std::vector<Problem>& problems) {
  std::set<std::filesystem::path> scripts;
  for (const Problem& problem : problems) {
    std::filesystem::path script = problem.file.parent_path() / "script.c";
    if (std::error_code ignored; std::filesystem::exists(script, ignored)) {
      scripts.insert(std::move(script));
    }
  }
  return scripts;
}

}  // namespace

PreparedServices prepare_services(const std::filesystem::path& root, const ScriptBuilder& build) {
  LoadedServices loaded = load_services(root);
  PreparedServices prepared;
  const std::set<std::filesystem::path> refused = scripts_beside(loaded.problems);
  prepared.errors = std::move(loaded.problems);
  for (const std::filesystem::path& script : refused) {
    ScriptBuildResult built = build(script);
    add(std::move(built.errors), prepared.errors);
    add(std::move(built.warnings), prepared.warnings);
  }
  for (ServiceDefinition& service : loaded.services) {
    std::filesystem::path object;
    if (!service.script.empty()) {
      ScriptBuildResult built = build(service.script);
      add(std::move(built.errors), prepared.errors);
      add(std::move(built.warnings), prepared.warnings);
      if (built.object.empty()) {
        continue;
      }
      object = std::move(built.object);
    }
    prepared.services.push_back(std::move(service));
    prepared.objects.push_back(std::move(object));
  }
  sort_by_place(prepared.errors);
  sort_by_place(prepared.warnings);
  return prepared;
}

PreparedServices prepare_services(const std::filesystem::path& root,
                                  const ScriptBuildSettings& settings) {
  return prepare_services(root, [&settings](const std::filesystem::path& source) {
    return build_script(source, settings);
  });
}

void keep_former_versions(const PreparedServices& former, PreparedServices& fresh) {
  std::set<std::filesystem::path> served;
  for (const ServiceDefinition& service : fresh.services) {
    served.insert(service.file);
  }
  for (std::size_t i = 0; i < former.services.size(); ++i) {
    const ServiceDefinition& service = former.services[i];
    std::error_code ignored;
    if (served.count(service.file) == 0 && std::filesystem::exists(service.file, ignored)) {
      fresh.services.push_back(service);
      fresh.services.back().is_former_version = true;
      fresh.objects.push_back(former.objects[i]);
    }
  }
}

std::vector<Script> load_scripts(const PreparedServices& prepared, std::vector<Problem>& problems) {
  std::vector<Script> scripts(prepared.services.size());
  for (std::size_t i = 0; i < scripts.size(); ++i) {
    if (prepared.objects[i].empty()) {
      continue;
    }
    std::string error;
    if (auto script = Script::load(prepared.objects[i], error)) {
      scripts[i] = *std::move(script);
    } else {
      problems.push_back({prepared.services[i].script, 0, error});
    }
  }
  return scripts;
}

}  // namespace vsd
