// What a script reads of the request being served.
#include <wz/wz_script.h>

#include "vsd/trace.h"

char* wz_get_url(void) {
  if (&cur_url == nullptr || cur_url == nullptr) {
    return nullptr;
  }
  return cur_url;
}
