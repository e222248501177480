// Seed of the search engine: weak, so that the engine itself replaces it when it lands.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_search_vars.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#define WZ_SEED __attribute__((weak))

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
