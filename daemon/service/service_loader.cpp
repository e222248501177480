#include "daemon/service/service_loader.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <tuple>

#include "daemon/service/date_declaration.h"
#include "daemon/service/match/condition_declaration.h"

namespace vsd {
namespace {

namespace fs = std::filesystem;

// The folders in `folder`, by name. A folder that is not there has none.
std::vector<fs::path> folders_in(const fs::path& folder) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (entry->is_directory(ignored)) {
      found.push_back(entry->path());
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

// Every folder below correlation/<project>/<subproject>/services is a service.
std::vector<fs::path> service_folders(const fs::path& root) {
  std::vector<fs::path> found;
  for (const fs::path& project : folders_in(root / "correlation")) {
    for (const fs::path& subproject : folders_in(project)) {
      const std::vector<fs::path> services = folders_in(subproject / "services");
      found.insert(found.end(), services.begin(), services.end());
    }
  }
  return found;
}

bool load_service(const fs::path& root, const fs::path& folder, ServiceDefinition& service,
                  std::vector<Problem>& problems) {
  service.folder = folder;
  service.kept_rows = kept_rows_folder(root);
  service.file = folder / "service.wz";
  std::ifstream file(service.file, std::ios::binary);
  if (!file) {
    problems.push_back({service.file, 0, "the file is missing or cannot be read"});
    return false;
  }
  std::error_code ignored;
  if (fs::exists(folder / "script.c", ignored)) {
    service.script = folder / "script.c";
  }
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  return read_service(text, service, problems);
}

// Which service answers a method and URL with the same priority and under the same conditions.
class Addresses {
 public:
  // Takes the addresses of `service`, or reports the first one that another service has.
  bool claim(const ServiceDefinition& service, std::vector<Problem>& problems) {
    if (service.raw) {
      const auto [known, is_new] =
          framings_.insert({service.url, {service.raw->framing, service.name}});
      if (!is_new && known->second.first != service.raw->framing) {
        problems.push_back({service.file, service.line,
                            "service '" + service.name + "' separates messages in another way " +
                                "than service '" + known->second.second + "' at the same address"});
        return false;
      }
    }
    const Key key{service.url, service.url_is_regex, service.priority, conditions_of(service)};
    for (const std::string& method : service.methods) {
      const auto found = owners_.find({method, key});
      if (found != owners_.end()) {
        problems.push_back({service.file, service.line,
                            "service '" + service.name + "' answers " + method + " " + service.url +
                                " like service '" + found->second.name + "' in " +
                                found->second.file.string()});
        return false;
      }
    }
    for (const std::string& method : service.methods) {
      owners_.insert({{method, key}, {service.name, service.file}});
    }
    return true;
  }

 private:
  using Key = std::tuple<std::string, bool, int, std::set<std::string>>;
  struct Owner {
    std::string name;
    fs::path file;
  };

  static std::set<std::string> conditions_of(const ServiceDefinition& service) {
    std::set<std::string> texts;
    for (const ConditionDefinition& condition : service.conditions) {
      texts.insert(to_string(condition));
    }
    return texts;
  }

  std::map<std::pair<std::string, Key>, Owner> owners_;
  std::map<std::string, std::pair<raw::Framing, std::string>> framings_;  // by path
};

// Scripts of every service may use every data source, so their names are the names of one service.
class SourceNames {
 public:
  bool claim(const ServiceDefinition& service, std::vector<Problem>& problems) {
    for (const DataSourceDefinition& source : service.data_sources) {
      const auto [owner, is_new] = owners_.insert({source.name, service.file});
      if (!is_new) {
        problems.push_back({service.file, source.line,
                            "wz_index_datasource: there is a data source '" + source.name +
                                "' in " + owner->second.string()});
        return false;
      }
    }
    return true;
  }

 private:
  std::map<std::string, fs::path> owners_;
};

}  // namespace

LoadedServices load_services(const fs::path& root) {
  forget_holidays();
  LoadedServices loaded;
  Addresses addresses;
  SourceNames sources;
  for (const fs::path& folder : service_folders(root)) {
    ServiceDefinition service;
    if (load_service(root, folder, service, loaded.problems) &&
        addresses.claim(service, loaded.problems) && sources.claim(service, loaded.problems)) {
      loaded.services.push_back(std::move(service));
    }
  }
  return loaded;
}

}  // namespace vsd
