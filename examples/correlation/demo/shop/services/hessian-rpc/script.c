#include <stdlib.h>
#include <string.h>
#include <wz/wz_script.h>
#include <wz/wzlb_hessian.h>

#define PRICE "<hessian><reply_2.0><double>12.5</double></reply_2.0></hessian>"
#define STOCK                                                            \
  "<hessian><reply_2.0><map><string>sku</string><string>{sku}</string>" \
  "<string>stock</string><int>7</int></map></reply_2.0></hessian>"
#define NO_METHOD                                                                              \
  "<hessian><fault><string>code</string><string>NoSuchMethodException</string>"                \
  "<string>message</string><string>no method {method}</string></fault></hessian>"

/* The request in one piece; its body begins at *body. Free the result. */
static char *whole_request(int *size, char **body)
{
  RequestBuffer *block = wz_get_request_buf(size);
  char *request = malloc((size_t)*size + 1);
  int at;

  for (at = 0; block != NULL && at < *size; block = block->next) {
    int part = *size - at < VSD_REQUEST_BLOCK_SIZE ? *size - at : VSD_REQUEST_BLOCK_SIZE;
    memcpy(request + at, block->buffer, (size_t)part);
    at += part;
  }
  request[*size] = '\0';
  *body = strstr(request, "\r\n\r\n");
  *body = *body != NULL ? *body + 4 : request + *size;
  return request;
}

/* Expands the document, which must not change while it is encoded, and keeps the bytes. */
static void answer(const char *template)
{
  char *document = strdup(wz_eval_string((char *)template));
  int length = (int)strlen(document);
  char *bytes = malloc((size_t)length * 2 + 16);

  if (hessian_encode(1, document, length, bytes, &length) != NULL)
    wz_save_binary_val(bytes, "reply", length);
  free(bytes);
  free(document);
}

void post_recv(void)
{
  char *request, *body;
  int size;

  request = whole_request(&size, &body);
  size -= (int)(body - request);
  hessian_set_version(2);
  wz_hessian_to_xml(body, &size);
  free(request);
  wz_save_string(hessian_asc_ptr, "call");

  if (strcmp(wz_eval_string("{method}"), "price") == 0)
    answer(PRICE);
  else if (strcmp(wz_eval_string("{method}"), "stock") == 0)
    answer(STOCK);
  else
    answer(NO_METHOD);
}
