// Documents to messages, at a position that has room for everything.
#pragma once

#include "libwzcore/wzlb_hessian/document.h"

namespace wz::hessian {

// The byte behind the message.
char* encode_version_1(const Document& document, char* target);
// The same; null when the elements do not make a message. `depth` is that of the outermost nodes.
char* encode_version_2(const Document& document, char* target, int depth);

}  // namespace wz::hessian
