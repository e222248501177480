// What a script sets of the response: extra header lines, the content type, the status.
#include <strings.h>
#include <wz/wz_script.h>
#include <wz/wzlb_alloc.h>

#include <cstring>
#include <string_view>

#include "vsd/http_hdr_api/header_lines.h"
#include "vsd/string_api/context.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kContentType = "Content-Type:";

// Puts `line`, CR LF and a NUL at `out`.
void put_line(char* out, std::string_view line) noexcept {
  std::memcpy(out, line.data(), line.size());
  std::memcpy(out + line.size(), kLineEnd.data(), kLineEnd.size() + 1);
}

// Bytes that put_line writes.
constexpr std::size_t line_space(std::string_view line) noexcept {
  return line.size() + kLineEnd.size() + 1;
}

// The streams of HTTP/2 and HTTP/3 find their response through a link of their own.
void link_to_stream(HttpStreamState* state, UrlDynamicData* url_data) noexcept {
  if (state != nullptr && state->cur_stream != nullptr) {
    state->cur_stream->url_data = url_data;
  }
}

ContentType* make_content_type(std::string_view line) noexcept {
  auto* type = static_cast<ContentType*>(
      WZLB_MALLOC(sizeof(ContentType), "cur_cptr->url_data->content_type"));
  auto* header = static_cast<char*>(
      WZLB_MALLOC(line_space(line), "cur_cptr->url_data->content_type->content_type_hdr"));
  put_line(header, line);
  *type = {.extension = nullptr,
           .content_type_hdr = header,
           .content_type_hdr_len = to_int(line.size() + kLineEnd.size())};
  return type;
}

}  // namespace

UrlDynamicData* response_data() noexcept {
  connection* cptr = current_connection();
  if (cptr == nullptr) {
    return nullptr;
  }
  if (cptr->url_data == nullptr) {
    cptr->url_data =
        static_cast<UrlDynamicData*>(WZLB_MALLOC(sizeof(UrlDynamicData), "cur_cptr->url_data"));
    *cptr->url_data = {};
    link_to_stream(cptr->http2, cptr->url_data);
    link_to_stream(cptr->h3_server_ptr, cptr->url_data);
  }
  return cptr->url_data;
}

void append_header_line(char*& text, long& length, const char* line, const char* label) noexcept {
  const std::string_view added(line);
  if (text == nullptr) {
    length = 0;
    text = static_cast<char*>(WZLB_MALLOC(line_space(added), label));
  } else {
    text = static_cast<char*>(
        WZLB_REALLOC(text, length + static_cast<long>(line_space(added)), label, -1));
  }
  put_line(text + length, added);
  length += static_cast<long>(added.size() + kLineEnd.size());
}

}  // namespace wz::script

int check_alloc_url_data(void) {
  return wz::script::response_data() != nullptr ? 0 : -1;
}

void wz_set_http_hdr(char* hdr) {
  using namespace wz::script;
  UrlDynamicData* data = hdr != nullptr ? response_data() : nullptr;
  if (data == nullptr) {
    return;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. Header '%s'", hdr);
  append_header_line(data->http_hdrs, data->http_hdrs_len, hdr, "cur_cptr->url_data->http_hdrs");
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Header is '%s' and header length is %d", data->http_hdrs,
            static_cast<int>(data->http_hdrs_len));
}

void wz_set_content_type_hdr(char* hdr) {
  using namespace wz::script;
  UrlDynamicData* data = hdr != nullptr ? response_data() : nullptr;
  if (data == nullptr) {
    return;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. Header '%s'", hdr);
  if (data->content_type != nullptr) {
    VSD_ERROR(WZLB_LEVEL_3, "Duplicate Content-Type header found, Ignored... Header = %s", hdr);
    return;
  }
  if (strncasecmp(hdr, kContentType.data(), kContentType.size()) != 0) {
    VSD_ERROR(WZLB_LEVEL_3,
              "Content type header is not in correct format. It should be Content-Type: Header = "
              "%s",
              hdr);
    return;
  }
  data->content_type = make_content_type(hdr);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi,
            "Content type header is '%s' and length of content type header is %d",
            data->content_type->content_type_hdr, data->content_type->content_type_hdr_len);
}

int wz_set_http_status_code(int code) {
  UrlDynamicData* data = wz::script::response_data();
  if (data == nullptr) {
    return -1;
  }
  data->http_status_code = static_cast<short>(code);
  return 0;
}

int wz_http_set_response_line(char* response_line) {
  UrlDynamicData* data = wz::script::response_data();
  if (data == nullptr) {
    return -1;
  }
  data->http_status_line = response_line;
  return 0;
}
