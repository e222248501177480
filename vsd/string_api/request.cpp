// What a script reads of the request being served: its URL and the query parameters in it.
#include <wz/wz_script.h>

#include <cstring>
#include <optional>
#include <string_view>

#include "vsd/string_api/context.h"
#include "vsd/string_api/url_codec.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

char* current_url() noexcept {
  return &cur_url != nullptr ? cur_url : nullptr;
}

// Where `name=` directly follows `prefix` (any place for the prefix 0); the text behind the `=`.
const char* find_parameter(const char* url, std::string_view name, char prefix) noexcept {
  for (const char* at = url; (at = std::strstr(at, name.data())) != nullptr && *at != '\0'; ++at) {
    if (at[name.size()] == '=' && (prefix == '\0' || (at > url && at[-1] == prefix))) {
      return at + name.size() + 1;
    }
  }
  return nullptr;
}

// The raw value of a query parameter: up to the next `&`. As the last resort the name may also be
// the end of a longer one; services written against such URLs rely on it.
std::optional<std::string_view> query_value(const char* url, std::string_view name) noexcept {
  for (const char prefix : {'?', '&', '\0'}) {
    if (const char* value = find_parameter(url, name, prefix)) {
      return std::string_view(value, std::strcspn(value, "&"));
    }
  }
  return std::nullopt;
}

}  // namespace
}  // namespace wz::script

char* wz_get_url(void) {
  using namespace wz::script;
  if (char* url = current_url()) {
    return url;
  }
  VSD_ERROR(WZLB_LEVEL_2, "wz_get_url can be called from Post Recv Function only");
  return nullptr;
}

int wz_get_url_query_param_val(char* param_name, char* param_value, int flag) {
  return get_url_query_param_val(param_name, param_value, wz::script::current_url(), flag);
}

int get_url_query_param_val(char* param_name, char* param_value, char* url, int flag) {
  using namespace wz::script;
  if (param_name == nullptr || param_value == nullptr) {
    return -1;
  }
  // The buffer is the caller's and may hold anything yet, so nothing of it is printed.
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. param_value = %s, param_name = %s, flag = %d",
            "", param_name, flag);
  const auto value = url != nullptr ? query_value(url, param_name) : std::nullopt;
  if (!value) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Query variable '%s' not found in the URL", param_name);
    *param_value = '\0';
    return -1;
  }
  std::memmove(param_value, value->data(), value->size());
  param_value[value->size()] = '\0';
  int length = to_int(value->size());
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "param_value = %s, length = %d", param_value, length);
  if (is_coding_flag(flag)) {
    if (const UrlText coded = url_coded(param_value, length, flag)) {
      length = to_int(std::strlen(coded.get()));
      std::memcpy(param_value, coded.get(), static_cast<std::size_t>(length) + 1);
    }
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "param_value = %s, length = %d", param_value, length);
  }
  if (&kpi_magic != nullptr) {
    kpi_magic = param_value;
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "kpi_magic = %s", kpi_magic);
  }
  return 0;
}
