#include "libwzcore/parameters/wzlb_vars_common.h"

#include <strings.h>

int g_wzlb_module = wz::kModeTagged;
wzlb_copy_to_bigbuf_cb_t* wzlb_copy_to_bigbuf_cb = nullptr;
wzlb_log_script_parse_error_cb_t* wzlb_log_script_parse_error_cb = nullptr;
wzlb_copy_to_tmpbuf_cb_t* wzlb_copy_to_tmpbuf_cb = nullptr;

void wzlb_init_parameter_module(int mode, wzlb_copy_to_bigbuf_cb_t* copy_to_bigbuf_cb,
                                wzlb_log_script_parse_error_cb_t* log_script_error_cb,
                                wzlb_copy_to_tmpbuf_cb_t* copy_to_tmpbuf_cb) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER, "Method called. mode = %d", mode);
  g_wzlb_module = mode;
  wzlb_copy_to_bigbuf_cb = copy_to_bigbuf_cb;
  wzlb_log_script_parse_error_cb = log_script_error_cb;
  wzlb_copy_to_tmpbuf_cb = copy_to_tmpbuf_cb != nullptr ? copy_to_tmpbuf_cb : copy_to_bigbuf_cb;
}

namespace wz {

bool has_keyword(std::string_view keyword, std::string_view name) {
  return keyword.size() >= name.size() &&
         strncasecmp(keyword.data(), name.data(), name.size()) == 0;
}

}  // namespace wz
