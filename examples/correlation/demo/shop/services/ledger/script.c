#include <stdio.h>
#include <wz/wz_script.h>

static int bookings;

void post_recv(void) {
  char number[16];
  snprintf(number, sizeof number, "%d", ++bookings);
  wz_save_string(number, "booking");
}
