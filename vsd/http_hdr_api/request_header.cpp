// Headers and validators of the request being served. The header text is the host's, as the client
// sent it; names are compared byte for byte.
#include <wz/wz_script.h>

#include <array>
#include <cstring>
#include <string_view>

#include "vsd/string_api/context.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

// In whose name this file traces.
constexpr const char* kFunction = "wz_get_http_hdr";

// Longer names are cut: a line end, the name and a NUL take up to 512 bytes.
constexpr std::size_t kMaxHeaderName = 512 - 3;
constexpr std::size_t kMaxValueLength = 1023;

const char* stream_header_text(const HttpStreamState* state) noexcept {
  return state != nullptr && state->header_block != nullptr
             ? state->header_block + VSD_HEADER_BLOCK_TEXT_OFFSET
             : nullptr;
}

const char* http1_header_text(const connection& cptr) noexcept {
  const RequestHeader& header = cptr.request_hdr;
  if (header.hdr_buffer == nullptr) {
    VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "hdr_buffer in case of http1 is NULL ");
    return nullptr;
  }
  return header.hdr_buffer + (header.hdr_start_idx > 0 ? header.hdr_start_idx : 0);
}

const char* header_text(const connection& cptr) noexcept {
  if (cptr.conn_state == VSD_STATE_HTTP2) {
    const char* text = stream_header_text(cptr.http2);
    if (text == nullptr) {
      VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "hdr_buffer in case of http2 is NULL ");
    } else {
      VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "hdr_buffer in case of http2 [%s]", text);
    }
    return text;
  }
  if (cptr.conn_state == VSD_STATE_HTTP3) {
    const char* text = stream_header_text(cptr.h3_server_ptr);
    if (text == nullptr) {
      VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "hdr_buffer in case of http3 is NULL ");
    } else {
      VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "hdr_buffer in case of http3 [%s]", text);
    }
    return text;
  }
  return http1_header_text(cptr);
}

constexpr bool ends_name(char c) noexcept {
  return c == ':' || c == ' ' || c == '\t';
}

// The text behind the first colon that follows the named header; null when there is none. A header
// is looked for behind a line end, so the first line of the text is never one.
const char* find_header(const char* text, const char* name) noexcept {
  const std::size_t length = strnlen(name, kMaxHeaderName);
  while ((text = std::strchr(text, '\r')) != nullptr) {
    if (text[1] != '\n' || std::strncmp(text + 2, name, length) != 0) {
      ++text;
      continue;
    }
    text += 2 + length;
    if (ends_name(*text)) {
      const char* colon = std::strchr(text, ':');
      return colon != nullptr ? colon + 1 : nullptr;
    }
  }
  return nullptr;
}

bool request_has(int flag) noexcept {
  const connection* cptr = current_connection();
  return cptr != nullptr && (cptr->flag & flag) != 0;
}

}  // namespace
}  // namespace wz::script

char* wz_get_http_hdr(char* header_name) {
  using namespace wz::script;
  const connection* cptr = current_connection();
  if (cptr == nullptr || header_name == nullptr) {
    return nullptr;
  }
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, "Method called conn_state is :[%d] ",
               cptr->conn_state);
  const char* text = header_text(*cptr);
  const char* found = text != nullptr ? find_header(text, header_name) : nullptr;
  if (found == nullptr) {
    return nullptr;
  }
  static std::array<char, kMaxValueLength + 1> value;
  std::size_t length = 0;
  // Leading blanks deliberately stay: scripts compare values with the blank they see on the wire.
  while (length < kMaxValueLength && found[length] != '\0' && found[length] != '\r' &&
         found[length] != '\n') {
    value[length] = found[length];
    ++length;
  }
  value[length] = '\0';
  VSD_TRACE_AS(kFunction, WZLB_LEVEL_3, kModuleApi, " Header Name = %s Header value = %s ",
               header_name, value.data());
  return value.data();
}

int wz_http_req_has_validator_ims(void) {
  return wz::script::request_has(VSD_FLAG_IF_MODIFIED_SINCE) ? 1 : 0;
}

int wz_http_req_has_validator_if_none_match(void) {
  return wz::script::request_has(VSD_FLAG_IF_NONE_MATCH) ? 1 : 0;
}
