#include <stdio.h>
#include <wz/wz_script.h>

/* What a client sends never becomes a part of the program: it comes in as a number. */
void post_recv(void)
{
  char program[256], problem[128];
  int quantity = wz_get_int_val("quantity");

  if (quantity < 1)
    return;
  snprintf(program, sizeof program,
           "(function (price, count) {"
           "  var total = price * count * (count >= 10 ? 0.9 : 1);"
           "  return (total / 100).toFixed(2);"
           "})(%d, %d)",
           wz_get_int_val("unit_price"), quantity);
  if (wz_exec_js(WZ_JS_TEXT, program, WZ_JS_PARAM, "total", 0, problem, sizeof problem) != 0)
    wz_trace_log("quote", problem);
}
