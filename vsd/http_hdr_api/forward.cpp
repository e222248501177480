// Headers of messages that leave the service elsewhere than to the client: requests that the host
// forwards, JMS messages.
#include <wz/wz_script.h>
#include <wz/wzlb_alloc.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "vsd/http_hdr_api/header_lines.h"
#include "vsd/string_api/context.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

// Types of JMS values; 16 has no form in which it could be stored, deliberately.
enum JmsType {
  kBoolean = 11,
  kByte = 12,
  kDouble = 13,
  kFloat = 14,
  kInt32 = 15,
  kInt16 = 17,
  kInt64 = 18,
};

// What a boolean property is stored as.
constexpr signed char kTrue = 1;
constexpr signed char kFalse = 2;

// Reads the one argument of the type's width; false for an unknown type.
bool read_value(JMS_HeaderValue& value, int type, va_list arguments) {
  value.int64 = 0;
  switch (type) {
    case kBoolean:
      value.byte = va_arg(arguments, int) != 0 ? kTrue : kFalse;
      return true;
    case kByte:
      value.byte = static_cast<signed char>(va_arg(arguments, int));
      return true;
    case kDouble:
      value.real = va_arg(arguments, double);
      return true;
    case kFloat:
      value.single = static_cast<float>(va_arg(arguments, double));
      return true;
    case kInt32:
      value.int32 = va_arg(arguments, int);
      return true;
    case kInt16:
      value.int16 = static_cast<short>(va_arg(arguments, int));
      return true;
    case kInt64:
      value.int64 = va_arg(arguments, long long);
      return true;
    default:
      return false;
  }
}

// The service's array with room for one more record.
JMS_Header* grown_headers(cr_scontents& block) {
  constexpr const char* kLabel = "cr_scptr->jms_header";
  const long size = static_cast<long>(sizeof(JMS_Header)) * (block.num_jms_headers + 1);
  return static_cast<JMS_Header*>(block.jms_header == nullptr
                                      ? WZLB_MALLOC(size, kLabel)
                                      : WZLB_REALLOC(block.jms_header, size, kLabel, -1));
}

}  // namespace
}  // namespace wz::script

void wz_set_forward_request_hdr(char* hdr) {
  using namespace wz::script;
  if (hdr == nullptr) {
    return;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. Header '%s'", hdr);
  UrlDynamicData* const data = response_data();
  if (data == nullptr) {
    return;
  }
  append_header_line(data->forward_req_header, data->forward_req_header_len, hdr,
                     "cur_cptr->url_data->forward_req_header");
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Forward req eader is '%s' and header length is %d",
            data->forward_req_header, static_cast<int>(data->forward_req_header_len));
}

void wz_set_tibco_hdr(char* hdr, int value_type, ...) {
  using namespace wz::script;
  connection* cptr = current_connection();
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called.");
  if (hdr == nullptr || cptr == nullptr || cptr->scptr == nullptr ||
      cptr->scptr->cr_scptr_idx == 0) {
    return;
  }
  auto& block = *at_distance<cr_scontents>(cptr->scptr, cptr->scptr->cr_scptr_idx);
  block.jms_header = grown_headers(block);
  JMS_Header& record = block.jms_header[block.num_jms_headers];
  const std::string_view name(hdr);
  record.jms_header[name.copy(record.jms_header, sizeof record.jms_header - 1)] = '\0';
  va_list arguments;
  va_start(arguments, value_type);
  const bool is_known = read_value(record.value, value_type, arguments);
  va_end(arguments);
  if (!is_known) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Invalid Header.");
    return;  // the record is not counted: the next call uses its place
  }
  record.type = value_type;
  ++block.num_jms_headers;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Header is '%s'.", record.jms_header);
}
