// Lines that a script writes into the host's trace log, when the response, the service or the host
// asks for them.
#include <wz/wz_script.h>

#include "vsd/string_api/context.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr short kNoTraceLog = 3;  // scontents.service_type

// The first level that is set, the most special one first; below 0 for none.
int trace_level(const connection& current) noexcept {
  scontents* service = current.scptr;
  if (service == nullptr) {
    return -1;
  }
  if (service->cr_resp_file_idx != 0 && current.template_id_used >= 0) {
    const auto* responses = at_distance<Cr_file_seg>(service, service->cr_resp_file_idx);
    if (const int level = responses[current.template_id_used].trace_log; level >= 0) {
      return level;
    }
  }
  return service->trace_log_per_url;
}

bool writes_trace(const connection& current) noexcept {
  if (&vsd_debug_tracelog == nullptr ||
      (current.scptr != nullptr && current.scptr->service_type == kNoTraceLog)) {
    return false;
  }
  const int level = trace_level(current);
  if (level >= 0) {
    return level >= 1;
  }
  return &vsd_debug_trace_log_value != nullptr && vsd_debug_trace_log_value > 0;
}

}  // namespace
}  // namespace wz::script

void wz_trace_log(char* name, char* value) {
  using namespace wz::script;
  connection* cptr = current_connection();
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, " method called name = %s value = %s cptr - %p ",
            name != nullptr ? name : "(null)", value != nullptr ? value : "(null)",
            static_cast<void*>(cptr));
  if (cptr == nullptr || name == nullptr || !writes_trace(*cptr)) {
    return;
  }
  const char* text = wz_eval_string(value);
  vsd_debug_tracelog(cptr, const_cast<char*>(__FILE_NAME__), __LINE__, const_cast<char*>(__func__),
                     const_cast<char*>("Msg|%s|%s|%s"), get_cur_date_time(), name, text);
}
