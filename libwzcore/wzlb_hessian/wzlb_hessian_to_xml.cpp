// Decoding into the process's own buffer, in the version that is set, with what went wrong behind
// the text.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_hessian.h>

#include <cstdio>
#include <span>

#include "libwzcore/wzlb_hessian/xml_sink.h"

constinit int hessian_version = 1;
constinit char* hessian_asc_ptr = nullptr;

namespace wz::hessian {
namespace {

constexpr int kBytesPerLine = 16;
constexpr std::string_view kDebugEnd = "</debug>\n";

void append_hex_dump(std::span<const unsigned char> input) noexcept {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::size_t index = 0;
  for (const unsigned char byte : input) {
    const bool starts_line = index % kBytesPerLine == 0;
    if (index != 0) {
      sink().append(starts_line ? '\n' : ' ');
    }
    sink().append(kDigits[byte >> 4]);
    sink().append(kDigits[byte & 0x0F]);
    ++index;
  }
}

// The line, and the dump, each only as a whole.
void append_failure(std::span<const unsigned char> input, int position) noexcept {
  char line[100];
  const int length = std::snprintf(line, sizeof line,
                                   "Hessian Hex to Asc failed at byte =%d (total=%d)\n<debug>\n",
                                   position, static_cast<int>(input.size()));
  if (sink().room() < static_cast<std::size_t>(length)) {
    return;
  }
  sink().append({line, static_cast<std::size_t>(length)});
  if (sink().room() >= input.size() * 3 + kDebugEnd.size()) {
    append_hex_dump(input);
    sink().append(kDebugEnd);
  }
  sink().terminate();
}

bool decode(char* in, int* length) noexcept {
  constexpr int kNoIndent = 0;
  switch (hessian_version) {
    case 1:
      return hessian_decode(WZLB_HESSIAN_BUFFER_SIZE, hessian_asc_ptr, kNoIndent, in, length) !=
             nullptr;
    case 2:
      return hessian2_decode(WZLB_HESSIAN_BUFFER_SIZE, hessian_asc_ptr, kNoIndent, in, length) !=
             nullptr;
    default:
      sink().select(WZLB_HESSIAN_BUFFER_SIZE, hessian_asc_ptr);
      return false;
  }
}

}  // namespace
}  // namespace wz::hessian

using namespace wz::hessian;

void hessian_set_version(int version) {
  hessian_version = version;
}

int wz_hessian_to_xml(char* in, int* length) {
  if (hessian_asc_ptr == nullptr) {
    hessian_asc_ptr =
        static_cast<char*>(WZLB_MALLOC(WZLB_HESSIAN_BUFFER_SIZE, "hessian_asc_ptr", -1));
  }
  int none = 0;
  int& position = in != nullptr && length != nullptr ? *length : none;
  const int total = position > 0 ? position : 0;
  if (!decode(in, &position)) {
    append_failure({reinterpret_cast<const unsigned char*>(in), static_cast<std::size_t>(total)},
                   position);
  }
  return static_cast<int>(sink().length());
}
