#include <wz/wz_script.h>

void post_recv(void)
{
  char *trace_id = wz_get_http_hdr("X-Trace-Id");

  wz_save_string(trace_id ? wzlb_ltrim(trace_id) : "none", "trace_id");
}
