#include <wz/wz_script.h>

/* The response is chosen, and with it the backend. */
void pre_send(void)
{
  wz_set_forward_request_hdr(
      wz_eval_string("X-Forwarded-To: {fwd_protocol}://{fwd_hostname}:{fwd_port}"));
}
