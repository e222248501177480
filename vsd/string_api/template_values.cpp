#include "vsd/string_api/template_values.h"

#include <wz/wzlb_date_var.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "vsd/trace.h"

namespace wz::script {
namespace {

// In whose name this file traces.
constexpr const char* kFunction = "wz_eval_string_ex";

// The host writes a date format of up to 4096 characters.
constexpr std::size_t kDateFormatSize = 4096 + 1;

Value text_value(const char* text) noexcept {
  return text != nullptr ? Value{.text = text, .length = std::strlen(text)} : Value{};
}

// The host recognises which date variable this is by the name lookup just before this call.
Value date_value(char* after_name, ValueStorage& storage) noexcept {
  if (&parse_zel_cur_date_format_and_day_offset == nullptr) {
    return {};
  }
  std::array<char, kDateFormatSize> format;
  format[0] = '\0';
  int day_offset = 0;
  parse_zel_cur_date_format_and_day_offset(after_name, format.data(), &day_offset, 0);
  int length = 0;
  storage.date.reset(wzlb_get_formated_cur_date(to_int(std::strlen(format.data())), format.data(),
                                                day_offset, 0, 0, 0, nullptr, 0, &length));
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "format = %s, day_offset_val = %d, date = %s",
               format.data(), day_offset, storage.date != nullptr ? storage.date.get() : "(null)");
  return {.text = storage.date.get(), .length = static_cast<std::size_t>(std::max(length, 0))};
}

Value index_value(const Context& context, const VarTransTableEntry& variable) noexcept {
  if (&get_index_var_idx == nullptr) {
    return {};
  }
  auto* descriptors =
      at_distance<VarTableEntry>(context.block(), context.block()->indexvar_start_idx);
  VarTableEntry* descriptor = &descriptors[variable.table_idx];
  const int row = get_index_var_idx(descriptor, context.cptr(), -1, context.block());
  if (row < 0) {
    return {};
  }
  const long position =
      at_distance<PointerTableEntry>(descriptor, descriptor->value_start_ptr)[row].var_buf_pointer;
  return position >= 0 ? text_value(context.pool_text(position)) : Value{};
}

Value method_value(const Context& context) noexcept {
  const HttpMethodInfo* method =
      &get_http_method != nullptr ? get_http_method(context.cptr()) : nullptr;
  if (method == nullptr) {
    return {};
  }
  constexpr int kMaxLength = sizeof(method->http_method);
  const int length = std::clamp(method->http_method_len, 0, kMaxLength);
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi,
               "Inside SYS_VAR_HTTP_METHOD_TYPE, method len = %d, HTTP_METHOD_NAME = [%s]",
               method->http_method_len,
               NameText({method->http_method, static_cast<std::size_t>(length)}).text);
  return {.text = method->http_method, .length = static_cast<std::size_t>(length)};
}

// The connection that the current request is being forwarded on, if it is.
connection* forward_connection(const Context& context) noexcept {
  auto* forward = static_cast<connection*>(context.cptr()->conn_link);
  return forward != nullptr && (forward->flag & VSD_FLAG_FORWARDED) != 0 ? forward : nullptr;
}

// The response template chosen on a forward connection, or null.
Cr_file_seg* forward_template(const connection& forward) noexcept {
  if (forward.scptr == nullptr || forward.template_id_used < 0) {
    return nullptr;
  }
  return at_distance<Cr_file_seg>(forward.scptr, forward.scptr->cr_resp_file_idx) +
         forward.template_id_used;
}

Value forward_host(const connection& forward) noexcept {
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleForward, "Inside SYS_VAR_FWD_HOSTNAME");
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleForward, "fcptr->template_id_used = %d",
               forward.template_id_used);
  const Cr_file_seg* chosen = forward_template(forward);
  if (chosen == nullptr) {
    return {};
  }
  return text_value(at_distance<char>(forward.scptr, forward.scptr->string_big_buf_idx) +
                    chosen->backend_host_name);
}

Value forward_port(const Context& context, const connection& forward,
                   ValueStorage& storage) noexcept {
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "Inside SYS_VAR_FWD_PORT");
  if (&get_dynamic_fwd_port == nullptr) {
    return {};
  }
  const unsigned short port = get_dynamic_fwd_port(context.cptr(), forward_template(forward));
  char* const begin = storage.port.data();
  char* const end = std::to_chars(begin, begin + storage.port.size() - 1, port).ptr;
  *end = '\0';
  return {.text = begin, .length = static_cast<std::size_t>(end - begin)};
}

Value forward_protocol(const connection& forward) noexcept {
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "Inside SYS_VAR_FWD_PROTOCOL");
  return &get_proto_type != nullptr ? text_value(get_proto_type(forward.proto_type)) : Value{};
}

Value forward_value(const Context& context, int kind, ValueStorage& storage) noexcept {
  const connection* forward = forward_connection(context);
  if (forward == nullptr) {
    return {};
  }
  switch (kind) {
    case SYS_VAR_FWD_HOSTNAME:
      return forward_host(*forward);
    case SYS_VAR_FWD_PORT:
      return forward_port(context, *forward, storage);
    default:
      return forward_protocol(*forward);
  }
}

}  // namespace

Value computed_value(const Context& context, const VarTransTableEntry& variable, char* after_name,
                     ValueStorage& storage) noexcept {
  const int kind = variable.var_type;
  switch (kind) {
    case VSD_DATE_VAR:
      return date_value(after_name, storage);
    case VSD_INDEX_VAR:
      return index_value(context, variable);
    case SYS_VAR_HTTP_METHOD_TYPE:
      return method_value(context);
    case SYS_VAR_FWD_HOSTNAME:
    case SYS_VAR_FWD_PORT:
    case SYS_VAR_FWD_PROTOCOL:
      return forward_value(context, kind, storage);
    default:
      VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "wz_eval_string; Unknown Variable type %s",
                   after_name);
      return {};
  }
}

}  // namespace wz::script
