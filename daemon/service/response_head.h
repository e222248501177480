// Status and headers of an answer: what the script left, else what the service declares.
//
// Scripts put values cut from requests into headers, so their lines are checked before they go out:
// a line that is no header line is left out, and so is one that would change how the message is
// framed. A value that holds a whole CR LF and another header line cannot be told from two headers
// that the script meant.
#pragma once

#include <wz/vsd_host.h>

#include <string>
#include <string_view>

#include "daemon/http/message.h"

namespace vsd {

// What a wz_response declares.
struct DeclaredHead {
  int status = 200;
  std::string_view content_type_line;  // with CR LF
  std::string_view headers;            // further lines, each with CR LF
};

// Fills status, status line and headers of `response`. A script's status line stands above its
// status code, and that above the declared status; a content type of the script
// replaces the declared one, and one set on its own those among its header lines. What was refused
// is added to `refused`, a line each.
void merge_response_head(const DeclaredHead& declared, const UrlDynamicData* script,
                         http::Response& response, std::string& refused);

}  // namespace vsd
