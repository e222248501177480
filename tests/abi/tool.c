/*
 * A tool that is no host: it links libwz, sets nothing up and uses the core. The script API finds no
 * connection and says so by its results; it must not end the process.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wz/wz_script.h>
#include <wz/wzlb.h>

static int failures;

static void check(int condition, const char *what)
{
  if (!condition) {
    fprintf(stderr, "failed: %s\n", what);
    ++failures;
  }
}

static void use_core(void)
{
  static WZApi api;
  static char message[40000];
  char line[] = "Date(today, format=\"%Y\");";
  char text[] = "hello";
  char *fields[4];
  char list[] = "a b  c";
  int length = 0;
  char *block = WZLB_MALLOC(100, "tool");
  char *hex = wzlb_encode_text_to_hex(text, 5, &length);

  check(parse_api_ex(&api, line, "tool.c", message, 1, 1, 1) == 0 && api.num_tokens == 2,
        "parse a declaration");
  check(get_tokens(list, fields, " ", 4) == 3 && strcmp(fields[2], "c") == 0, "split tokens");
  check(hex != NULL && length == 10 && strcmp(hex, "68656c6c6f") == 0, "encode hex");
  check(wzlb_get_cur_time_in_ms() > 0, "read the clock");
  check(g_wz_wdir[0] != '\0', "work directory has a default");
  WZLB_FREE(hex, "tool", -1);
  free(block); /* a caller who does not know better */
}

static wz_bigbuf_t keep_text(char *text, int length, ...)
{
  (void)text;
  return (wz_bigbuf_t)length;
}

/* libwz finds libwzfaker by itself. */
static void use_fake_data(void)
{
  RandomStringTableEntry row = {0};
  char line[] = "String(id, Class=id.uuid);";
  char name[] = "tool";
  char *value = NULL;
  int length = 0;

  wzlb_init_parameter_module(2, keep_text, NULL, NULL);
  check(wzlb_input_randomString_data(&row, line, 1, 0, name, name, name) == 0, "declare a class");
  wzlb_fill_fake_data(&row, &value, &length);
  check(length == 36 && strlen(value) == 36, "fake a UUID");
  free(value);
}

static void use_script_api_without_host(void)
{
  char plain[] = "no {variable} here";
  char text[] = "a=<b>c</b>";
  char lb[] = "<b>";
  char rb[] = "</b>";
  char name[] = "variable";
  char out[32] = "";

  check(strcmp(wz_eval_string(plain), "no {variable} here") == 0, "template without a host");
  check(wz_save_string("x", "variable") == -1, "save without a host");
  check(wz_get_int_val(name) == 0, "read a number without a host");
  check(wz_get_url() == NULL, "URL without a host");
  check(wz_set_http_status_code(200) == -1, "status without a host");
  check(wz_get_http_hdr(name) == NULL, "header without a host");
  check(wz_save_searched_string(WZ_ARG_IS_BUF, text, WZ_ARG_IS_BUF, out, lb, rb, 1, 0, -1) == 1 &&
            strcmp(out, "c") == 0,
        "search a buffer without a host");
}

int main(void)
{
  use_core();
  use_fake_data();
  use_script_api_without_host();
  return failures == 0 ? 0 : 1;
}
