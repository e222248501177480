// Seed of the date formatter, so that the script API links: gives no date and steps back as soon as
// the real one is linked. Remove it then.
#include <wz/wzlb_date_var.h>

__attribute__((weak)) char* wzlb_get_formated_cur_date(int, char*, int, int, int, int,
                                                       Zel_uniq_date_time_data*, int,
                                                       int* total_len) {
  *total_len = 0;
  return nullptr;
}
