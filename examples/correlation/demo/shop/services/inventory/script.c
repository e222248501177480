#include <stdlib.h>
#include <string.h>
#include <wz/wz_script.h>

/* Takes the goods first and looks then: what is left below zero was not there to be taken, and goes
 * back. Several workers that do so at once never hand out the same piece twice. */
static int reserve(char *sku, int quantity)
{
  if (wz_ids_decrement_field_value("stock", sku, "quantity", quantity) != 0)
    return -1;
  if (atoi(wz_ids_get_field_value("stock", sku, "quantity")) >= 0)
    return 0;
  wz_ids_increment_field_value("stock", sku, "quantity", quantity);
  return -1;
}

static int is_price(char *text)
{
  return text[0] != '\0' && strcmp(text, ".") != 0 && wz_is_float(text);
}

static void save_field(char *sku, char *column, const char *variable)
{
  char *value = wz_ids_get_field_value("stock", sku, column);

  wz_save_string(value ? value : "", variable);
}

void post_recv(void)
{
  char method[64], sku[4097], price[4097];
  int quantity = wz_get_int_val("quantity");

  wz_chk_strcpy(method, wz_eval_string("{http_method}"), sizeof method);
  wz_eval_string_buf("{sku}", sku);
  wz_eval_string_buf("{price}", price);
  if (wz_ids_get_field_value("stock", sku, "sku") == NULL) {
    wz_save_string("unknown", "outcome");
    return;
  }
  if (strcmp(method, "POST") == 0) {
    if (quantity < 1 || quantity > 1000)
      wz_save_string("refused", "outcome");
    else if (reserve(sku, quantity) != 0)
      wz_save_string("sold out", "outcome");
  } else if (strcmp(method, "PUT") == 0) {
    if (is_price(price))
      wz_save_string(price, "stock_price"); /* writes the row whose key is in {sku} */
    else
      wz_save_string("refused", "outcome");
  }
  save_field(sku, "name", "name");
  save_field(sku, "quantity", "left");
  save_field(sku, "price", "unit_price");
}
