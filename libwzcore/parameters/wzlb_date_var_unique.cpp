// Slices of a day's seconds, one per worker process, so that no two processes hand out the same
// second.
#include <wz/wzlb_date_var.h>

#include "libwzcore/internal/trace.h"

namespace wz {
namespace {

constexpr int kSecondsPerDay = 86400;
constexpr u_wz_ts_t kUnset = ~0ULL;

int slice_width = 0;  // seconds; set when the slices are filled, used when they move

// A process that hands out values for long enough comes to the end of int; seconds go on from its
// lowest value then.
int later(int second, long long step) {
  return static_cast<int>(second + step);
}

}  // namespace
}  // namespace wz

void wzlb_fill_uniq_date_time(Zel_uniq_date_time_data* date_time_data, int num_proc) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER, "Method called. num_proc = %d", num_proc);
  if (date_time_data == nullptr || num_proc < 1) {
    return;
  }
  wz::slice_width = wz::kSecondsPerDay / num_proc;
  int start = 0;
  for (int i = 0; i < num_proc; ++i) {
    date_time_data[i] = {start, start + wz::slice_width, wz::kUnset};
    start += wz::slice_width + 1;
  }
}

void wzlb_update_uniq_date_time_date(Zel_uniq_date_time_data* date_time_data, int num_process) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER, "Method called. num_process = %d", num_process);
  if (date_time_data == nullptr) {
    return;
  }
  const long long step = static_cast<long long>(wz::slice_width) * num_process;
  date_time_data->cur_sec = wz::later(date_time_data->cur_sec, step);
  date_time_data->end_sec = wz::later(date_time_data->end_sec, step);
}
