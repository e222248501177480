// Tracing and error lines of the script API, through the host's logs. The host's masks are tested
// before the arguments are evaluated; a process without host logging traces nothing.
#pragma once

#include <wz/vsd_host.h>
#include <wz/wzlb_log.h>

namespace wz::script {

// Module bits of the host's log that the script API traces under.
inline constexpr unsigned long long kModuleApi = 512;
inline constexpr unsigned long long kModuleIndexVar = 8;
inline constexpr unsigned long long kModuleForward = 2048;

// A host without a configuration record, or with no mask in it, filters inside vsd_debug_log_ex.
inline bool tracing(int level, unsigned long long module) noexcept {
  const VsdGlobalConfig* config = &vsd_global_config;
  if (config != nullptr &&
      ((level & config->debug_level) == 0 || (module & config->module_mask) == 0) &&
      (config->debug_level != 0 || config->module_mask != 0)) {
    return false;
  }
  return &vsd_debug_log_ex != nullptr;
}

// Without an open error log the error lines of scripts go nowhere.
inline bool error_log_is_open() noexcept {
  return &vsd_error_log_ex != nullptr && &g_err_log != nullptr && g_err_log != nullptr;
}

// A text for a message, whatever it is.
inline const char* shown(const char* text) noexcept {
  return text != nullptr ? text : "(null)";
}

}  // namespace wz::script

// VSD_TRACE(level, module, format, ...): a debug line of the script API for the current connection.
#define VSD_TRACE(level, module, format, ...) \
  VSD_TRACE_AS(__func__, level, module, format __VA_OPT__(, ) __VA_ARGS__)

// The same in the name of another function: the exported one that a helper works for.
#define VSD_TRACE_AS(function, level, module, format, ...)                                     \
  do {                                                                                         \
    if (wz::script::tracing((level), (module))) [[unlikely]] {                                 \
      vsd_debug_log_ex((level), (module), const_cast<char*>(__FILE_NAME__), __LINE__,          \
                       const_cast<char*>(function), &cur_cptr != nullptr ? cur_cptr : nullptr, \
                       const_cast<char*>(format) __VA_OPT__(, ) __VA_ARGS__);                  \
    }                                                                                          \
  } while (0)

// VSD_ERROR(severity, format, ...): a line of the host's error log, when one is open.
#define VSD_ERROR(severity, format, ...) \
  VSD_ERROR_AS(__func__, severity, format __VA_OPT__(, ) __VA_ARGS__)

// The same in the name of another function.
#define VSD_ERROR_AS(function, severity, format, ...)                                          \
  do {                                                                                         \
    if (wz::script::error_log_is_open()) {                                                     \
      vsd_error_log_ex((severity), const_cast<char*>(__FILE_NAME__), __LINE__,                 \
                       const_cast<char*>(function), &cur_cptr != nullptr ? cur_cptr : nullptr, \
                       const_cast<char*>(""), const_cast<char*>(""),                           \
                       const_cast<char*>(format) __VA_OPT__(, ) __VA_ARGS__);                  \
    }                                                                                          \
  } while (0)
