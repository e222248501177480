// How a status is named in the pages.
#pragma once

#include <string>

#include "daemon/admin/traffic_counters.h"

namespace vsd {

// "200"; "none" for answers that sent no status on purpose.
[[nodiscard]] inline std::string status_label(unsigned status) {
  if (status == 0) {
    return "none";
  }
  return status == kOtherStatus ? "other" : std::to_string(status);
}

}  // namespace vsd
