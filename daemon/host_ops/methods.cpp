// Names of request methods and protocols, and where forwarded requests go.
#include <wz/vsd_host.h>

#include <algorithm>
#include <string_view>

#include "daemon/host_ops/host_ops.h"

namespace {

unsigned short own_port = 0;

}  // namespace

// Read from the request line, so that it is right for every method there is. The record is
// overwritten by the next call.
HttpMethodInfo* get_http_method(connection* cptr) {
  static HttpMethodInfo info;
  info = {};
  if (cptr != nullptr && cptr->request_hdr.hdr_buffer != nullptr) {
    const std::string_view line = cptr->request_hdr.hdr_buffer + cptr->request_hdr.hdr_start_idx;
    const std::size_t length =
        std::min(line.find_first_of(" \t\r\n"), std::min(line.size(), sizeof info.http_method));
    info.http_method_len = static_cast<int>(line.copy(info.http_method, length));
  }
  return &info;
}

char* get_proto_type(int proto) {
  static char http[] = "http";
  static char https[] = "https";
  static char tcp[] = "tcp";
  static char udp[] = "udp";
  static char unknown[] = "";
  switch (proto) {
    case VSD_PROTO_HTTP:
      return http;
    case VSD_PROTO_HTTPS:
      return https;
    case VSD_PROTO_TCP:
      return tcp;
    case VSD_PROTO_UDP:
      return udp;
    default:
      return unknown;
  }
}

// A template without a port of its own forwards to our own listener.
unsigned short get_dynamic_fwd_port(connection*, Cr_file_seg* resp_template) {
  if (resp_template == nullptr) {
    return 0;
  }
  return resp_template->backend_port != 0 ? resp_template->backend_port : own_port;
}

void vsd::set_host_port(unsigned short port) {
  own_port = port;
}
