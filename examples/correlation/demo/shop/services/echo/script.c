#include <wz/wz_script.h>

/* Keeps a request header; the value is the library's until the next lookup, so it is saved at once. */
static void keep_header(char *header, const char *variable)
{
  char *value = wz_get_http_hdr(header);

  wz_save_string(value ? wzlb_ltrim(value) : "", variable);
}

void post_recv(void)
{
  wz_save_string(wz_get_url(), "url");
  keep_header("Host", "host");
  keep_header("User-Agent", "agent");
}
