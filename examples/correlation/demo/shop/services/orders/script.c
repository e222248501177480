#include <wz/wz_script.h>

/* The request has been read and the declared variables are filled. */
void post_recv(void)
{
  char *trace_id = wz_get_http_hdr("X-Trace-Id");

  wz_save_string(trace_id ? wzlb_ltrim(trace_id) : "none", "trace_id");
}

/* The response has been chosen; its body is evaluated after this. */
void pre_send(void)
{
  wz_set_http_hdr(wz_eval_string("X-Order-Id: {order_id}"));
  if (wz_get_int_val("order_id") == 999)
    wz_set_http_status_code(202); /* accepted, to be looked at by a person */
}
