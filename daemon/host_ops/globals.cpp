// The variables of the host contract and their setters.
#include <wz/vsd_host.h>

#include <algorithm>

#include "daemon/host_ops/host_ops.h"

connection* cur_cptr = nullptr;
char* cur_url = nullptr;
char* kpi_magic = nullptr;
unsigned long long g_req_count = 0;
char g_wdir[1024] = "";
FILE* g_err_log = nullptr;
VsdGlobalConfig vsd_global_config = {0, ~0ULL, 1.0};
vsdIndexDataSource* indexdatasource = nullptr;
int total_idxds_entries = 0;
int vsd_debug_trace_log_value = 0;

namespace vsd {

void set_host_log_masks(int level_mask, unsigned long long module_mask) {
  vsd_global_config.debug_level = level_mask;
  vsd_global_config.module_mask = module_mask;
}

void set_controller_name(const std::string& name) {
  g_vsd_controller_name = name.empty() ? nullptr : const_cast<char*>(name.c_str());
}

void set_full_load(double requests) {
  vsd_global_config.g_sys_max_load = requests;
}

void set_host_work_directory(const std::filesystem::path& directory) {
  const std::string text = directory.string();
  const std::size_t length = std::min(text.size(), sizeof g_wdir - 1);
  g_wdir[text.copy(g_wdir, length)] = '\0';
}

}  // namespace vsd
