// Values that stay the same as long as a client's connection.
#pragma once

#include <wz/wzlb_date_var.h>

#include <ctime>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "daemon/http/message.h"
#include "daemon/service/service_records.h"

namespace vsd {

// What a connection has got of a date variable.
struct SessionDate {
  std::time_t base = 0;                      // when it was first used; 0: not yet
  int day = 0;                               // drawn then
  Zel_uniq_date_time_data slice{};           // as it was then, to print its second again
  std::map<std::string, std::string> texts;  // by format and day offset
};

// Kept by the HTTP layer with each connection that has used such a value. Everything is found by
// the address of its record, which is the same as long as the image.
struct SessionValues final : http::Session {
  std::unordered_map<const void*, std::string> texts;  // of generated variables, of references
  std::unordered_map<const DateRow*, SessionDate> dates;
};

}  // namespace vsd
