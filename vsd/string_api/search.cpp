// Search on behalf of a script: from a buffer or a variable into a buffer or a variable.
#include <wz/wz_script.h>
#include <wz/wzlb_alloc.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "libwzcore/wzlb_search_vars/saved_search.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr int kRefused = -3;
constexpr int kNothingSaved = -1;

// The value of the variable `name`, in the shared evaluation buffer. Names are cut to the room that
// the reference leaves in its buffer.
char* value_of(const char* name) {
  std::array<char, 128> reference{};
  constexpr int kMaxName = static_cast<int>(reference.size()) - 3;
  std::snprintf(reference.data(), reference.size(), "{%.*s}", kMaxName, name);
  return wz_eval_string(reference.data());
}

bool is_argument_kind(int kind) {
  return kind == WZ_ARG_IS_BUF || kind == WZ_ARG_IS_PARAM;
}

// An unknown kind is reported, and the search counts all the same.
void deliver(const char* result, int out_type, char* out) {
  if (out_type == WZ_ARG_IS_BUF) {
    // The caller's buffer has room for the longest value it expects.
    std::memcpy(out, result, std::strlen(result) + 1);
  } else if (out_type == WZ_ARG_IS_PARAM) {
    wz_save_string(result, out);
  } else {
    std::fputs(
        "Error: wz_save_searched_string(): Output type must be either WZ_ARG_IS_BUF or "
        "WZ_ARG_IS_PARAM.",
        stderr);
  }
}

// The usual search, for one occurrence into a buffer, which takes no block for the value. False
// when it is another one.
bool search_to_buffer(const char* text, int out_type, char* out, const char* lb, const char* rb,
                      int ord, int start_offset, int save_len, int& save_count) {
  if (out_type != WZ_ARG_IS_BUF) {
    return false;
  }
  const auto found = find_searched_value(text, lb, rb, ord, start_offset, save_len);
  if (!found) {
    return false;
  }
  std::memmove(out, found->text.data(),
               found->text.size());  // scripts cut a text down in its place
  out[found->text.size()] = '\0';
  VSD_TRACE_AS("wz_save_searched_string", WZLB_LEVEL_3, kModuleApi, "out_buf_ptr = [%s]", out);
  save_count = found->count;
  return true;
}

}  // namespace
}  // namespace wz::script

int wz_save_searched_string(int in_type, char* in, int out_type, char* out, char* lb, char* rb,
                            int ord, int start_offset, int save_len) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called");
  if (!is_argument_kind(in_type)) {
    std::fputs(
        "Error: wz_save_searched_string(): Input type must be either WZ_ARG_IS_BUF or "
        "WZ_ARG_IS_PARAM.",
        stderr);
    return kRefused;
  }
  char* text = in_type == WZ_ARG_IS_PARAM && in != nullptr ? value_of(in) : in;
  if (text == nullptr) {
    std::fputs(
        "Error: wz_save_searched_string(): Input buffer is empty. Input buffer should not be "
        "empty.\n",
        stderr);
    return kRefused;
  }
  if (out == nullptr && is_argument_kind(out_type)) {
    return kRefused;
  }
  int save_count = 0;
  if (!search_to_buffer(text, out_type, out, lb, rb, ord, start_offset, save_len, save_count)) {
    char* result =
        wzlb_save_searched_string(text, lb, rb, ord, start_offset, save_len, &save_count);
    if (result == nullptr) {
      return kRefused;
    }
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "out_buf_ptr = [%s]", result);
    deliver(result, out_type, out);
    WZLB_FREE(result, "out_buf_ptr", -1);
  }
  if (save_count == 0) {
    return kNothingSaved;
  }
  // `out` is examined whatever its kind: a variable's name is as good as a text, deliberately.
  return out == nullptr || out[0] != '\0' ? save_count : 0;
}
