// Declared searches, run by the library's engine.
#pragma once

#include <regex.h>
#include <wz/wzlb_user_var.h>

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "daemon/service/service_image.h"

namespace vsd {

// The searches of one service. Holds their compiled regular expressions, which consist of pointers
// and therefore belong to one process.
class SearchRunner {
 public:
  explicit SearchRunner(const ServiceView& service) : SearchRunner(service, service.searches()) {}
  // Other searches of the service than its variables'.
  SearchRunner(const ServiceView& service, std::span<const SearchRow> searches);

  // Searches `text`, NULs included, and replaces what `entry` holds by what was found.
  void run(const SearchRow& search, std::string_view text, UserVarEntry& entry);

 private:
  struct Free {
    void operator()(regex_t* regex) const noexcept;
  };
  using Regex = std::unique_ptr<regex_t, Free>;
  struct Boundaries {
    Regex left;
    Regex right;
  };
  Regex compile(TextRef pattern, bool ignore_case) const;

  ServiceView service_;
  std::span<const SearchRow> searches_;
  std::vector<Boundaries> regexes_;  // by position in searches_
};

}  // namespace vsd
