// The outcome of building many scripts, passed from the process that runs the compilers to the one
// that goes on with the objects.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "daemon/service/script_build.h"

namespace vsd {

class ScriptBuilds {
 public:
  void add(const std::filesystem::path& source, const ScriptBuildResult& built) {
    builds_[source] = built;
  }
  // Null when the script was not among those built.
  [[nodiscard]] const ScriptBuildResult* find(const std::filesystem::path& source) const;

  // All but the compilers' own words.
  [[nodiscard]] std::string encode() const;
  // Nothing when `text` is cut short or no result of encode().
  [[nodiscard]] static std::optional<ScriptBuilds> decode(std::string_view text);

 private:
  std::map<std::filesystem::path, ScriptBuildResult> builds_;
};

}  // namespace vsd
