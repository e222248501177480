// Seed of date declarations and the search engine: weak, so that the modules themselves replace it
// function by function as they land.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_date_var.h>
#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#define WZ_SEED __attribute__((weak))

extern "C" {
WZ_SEED int flag_to_read_file = 1;
WZ_SEED int total_holiday_entries = 0;
WZ_SEED wzlb_copy_to_bigbuf_cb_t* wzlb_copy_to_bigbuf_cb = nullptr;
}

WZ_SEED void wzlb_init_parameter_module(int, wzlb_copy_to_bigbuf_cb_t* copy,
                                        wzlb_log_script_parse_error_cb_t*,
                                        wzlb_copy_to_tmpbuf_cb_t*) {
  wzlb_copy_to_bigbuf_cb = copy;
}

WZ_SEED int wzlb_input_datevar_data(DateVarTableEntry* row, char* line, int line_number, int, char*,
                                    char*, char*) {
  static WZApi parsed;
  char message[256];
  if (parse_api_ex(&parsed, line, line, message, line_number, 1, 1) != 0) {
    return -1;
  }
  *row = {};
  row->format = WZ_BIGBUF_UNSET;
  row->refresh = 1;
  for (int i = 1; i < parsed.num_tokens; ++i) {
    WZApiFields& field = parsed.api_fields[i];
    if (std::strcmp(field.keyword, "format") == 0) {
      row->format = wzlb_copy_to_bigbuf_cb(field.value, 0);
    } else if (std::strcmp(field.keyword, "offset") == 0) {
      row->day_offset = std::atoi(field.value);
    }
  }
  return row->format == WZ_BIGBUF_UNSET ? -1 : 0;
}

WZ_SEED void wzlb_fill_uniq_date_time(Zel_uniq_date_time_data* slices, int count) {
  for (int i = 0; i < count; ++i) {
    slices[i] = {i * (86400 / count + 1), i * (86400 / count + 1) + 86400 / count, ~0ULL};
  }
}

WZ_SEED int wzlb_get_search_var_value(char*, char* lb, char* rb, int offset, int var_length,
                                      char* buf_ptr, char* end_ptr, int*, int req_ord, char, int,
                                      UserVarEntry* entry, int, char*, int, char, regex_t*,
                                      regex_t*, char, int, int) {
  std::string_view text(buf_ptr, static_cast<std::size_t>(end_ptr - buf_ptr));
  std::size_t found = 0;
  for (int ord = 0; ord < req_ord; ++ord) {
    found = text.find(lb, found);
    if (found == std::string_view::npos) {
      return 0;
    }
    found += std::strlen(lb);
  }
  const std::size_t end = text.find(rb, found);
  if (end == std::string_view::npos || req_ord < 1) {
    return 0;
  }
  std::string_view value = text.substr(found, end - found);
  value.remove_prefix(std::min(value.size(), static_cast<std::size_t>(offset)));
  value = var_length < 0 ? value : value.substr(0, static_cast<std::size_t>(var_length));
  entry->value.value = static_cast<char*>(WZLB_MALLOC(value.size() + 1, "seed"));
  value.copy(entry->value.value, value.size());
  entry->value.value[value.size()] = '\0';
  entry->length = static_cast<unsigned int>(value.size());
  return 1;
}
